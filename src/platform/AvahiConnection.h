#pragma once

#include <memory>
#include <optional>
#include <thread>

struct AvahiClient;

namespace ovelo {

/// What is kept alive at the Avahi daemon: an announcement, or a search.
///
/// All functions are called on the connection's thread.
class AvahiUser {
public:
    AvahiUser() = default;
    virtual ~AvahiUser() = default;
    AvahiUser(const AvahiUser&) = delete;
    AvahiUser& operator=(const AvahiUser&) = delete;

    /// The daemon serves us: create what is wanted. Called again after daemonPaused().
    virtual void daemonReady(AvahiClient& client) = 0;

    /// The daemon is choosing its host name: take back what depends on it. daemonReady() follows.
    virtual void daemonPaused() = 0;

    /// There is no daemon, or not any more. What was created of the client is about to be freed
    /// with it: forget it. The connection tries again by itself.
    virtual void daemonLost(int error) = 0;

    /// Asks once for an error after which the connection is to begin anew.
    std::optional<int> takeFailure();

protected:
    void fail(int error) { failure_ = error; }

private:
    std::optional<int> failure_;
};

/// Stays in touch with the Avahi daemon of this computer, whether it runs yet, dies or is
/// restarted.
///
/// Everything that may wait for the daemon happens on the connection's own thread, callbacks
/// included, so a client is never freed inside a callback of its own, and there is nothing to lock.
/// thread  one at a time
class AvahiConnection {
public:
    explicit AvahiConnection(std::shared_ptr<AvahiUser> user);
    ~AvahiConnection();
    AvahiConnection(const AvahiConnection&) = delete;
    AvahiConnection& operator=(const AvahiConnection&) = delete;

    /// Ends the connection and what was created of it.
    ///
    /// Waits for the daemon to take that in, but at most a second: a thread that hangs in a call to
    /// a hung daemon is left behind and ends when the call does. It keeps the user alive and may
    /// still call it.
    void stop();

private:
    class Loop;

    std::shared_ptr<Loop> loop_;
    std::thread thread_;
};

} // namespace ovelo
