#pragma once

#include "platform/Mutex.h"
#include "viewer/ViewerClient.h"

#include <chrono>
#include <condition_variable>
#include <stop_token>
#include <string>
#include <thread>

namespace ovelo {

/// What a link is doing at the moment.
struct LinkState {
    enum class Kind {
        Connecting,
        Connected, // the greeting is still to come
        Waiting    // the connection failed or was lost; tried again after `pause`
    };

    Kind kind = Kind::Connecting;
    std::string reason; // of Waiting
    std::chrono::milliseconds pause{0};
};

/// Stays connected to one server: connects again by itself, after pauses that grow while it fails.
///
/// thread  start() and stop() belong to one thread
class ViewerLink {
public:
    /// Hears of the link, on the link's own thread.
    class Listener {
    public:
        virtual ~Listener() = default;
        virtual void linkChanged(const LinkState& state) = 0;
        virtual void linkReceived(ViewerEvent event) = 0; ///< all but LostEvent, which is a state
    };

    static constexpr std::chrono::milliseconds kFirstPause{1000};
    static constexpr std::chrono::milliseconds kLongestPause{30000};

    /// lifetime  `listener` outlives the link
    ViewerLink(ViewerOptions options, Listener& listener,
               std::chrono::milliseconds firstPause = kFirstPause);
    ~ViewerLink();
    ViewerLink(const ViewerLink&) = delete;
    ViewerLink& operator=(const ViewerLink&) = delete;

    void start();

    /// Ends the connection; the listener is not called any more when it returns.
    void stop();

    /// For commands, from any thread.
    [[nodiscard]] ViewerClient& client() { return client_; }

private:
    void run(const std::stop_token& stop);
    std::string watch(const std::stop_token& stop);
    void pause(const std::stop_token& stop, const std::string& reason);

    ViewerClient client_;
    Listener& listener_;
    const std::chrono::milliseconds firstPause_;
    std::chrono::milliseconds nextPause_; // of the link's thread
    Mutex pauseLock_{LockRank::Threads};
    std::condition_variable_any stopped_;
    std::jthread thread_; // last: ends before what it uses
};

} // namespace ovelo
