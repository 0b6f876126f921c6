#include "platform/AvahiConnection.h"

#include "platform/CHandle.h"
#include "platform/FileDescriptor.h"
#include "platform/Threads.h"

#include <avahi-client/client.h>
#include <avahi-common/error.h>
#include <avahi-common/simple-watch.h>

#include <sys/eventfd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace ovelo {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kRetryPause{1000};
constexpr std::chrono::milliseconds kStopLimit{1000};
constexpr std::chrono::milliseconds kIdle{60000}; // nothing to do but wait for events

} // namespace

std::optional<int> AvahiUser::takeFailure() {
    return std::exchange(failure_, std::nullopt);
}

/// What the thread works on. Shared with it, so that it can be left behind.
class AvahiConnection::Loop {
public:
    explicit Loop(std::shared_ptr<AvahiUser> user);

    void run();
    void requestStop();
    bool waitFinished(std::chrono::milliseconds limit);

private:
    static void woken(AvahiWatch* watch, int fd, AvahiWatchEvent event, void* self);
    static void clientChanged(AvahiClient* client, AvahiClientState state, void* self);
    void turn();
    void connect();
    void release();
    void lose(int error);
    int pauseLength() const;

    const std::shared_ptr<AvahiUser> user_;
    const FileDescriptor wake_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)}; // readable: stop
    const CHandle<AvahiSimplePoll, &avahi_simple_poll_free> poll_;
    CHandle<AvahiClient, &avahi_client_free> client_; // of the thread; freed before the poll
    std::optional<int> clientFailure_;                // of the thread
    Clock::time_point nextAttempt_ = Clock::now();    // of the thread
    std::atomic<bool> stopping_ = false;
    std::mutex lock_;
    std::condition_variable changed_;
    bool finished_ = false; // guarded by lock_
};

AvahiConnection::Loop::Loop(std::shared_ptr<AvahiUser> user)
    : user_(std::move(user))
    , poll_(avahi_simple_poll_new()) {
    if (poll_) {
        // The poll's own way of being woken loses what comes while it is not waiting. Freed with
        // the poll.
        const AvahiPoll* poll = avahi_simple_poll_get(poll_.get());
        poll->watch_new(poll, wake_.get(), AVAHI_WATCH_IN, &Loop::woken, this);
    }
}

void AvahiConnection::Loop::woken(AvahiWatch* /*watch*/, int /*fd*/, AvahiWatchEvent /*event*/,
                                  void* /*self*/) {
    // The wait is over, which is all that is wanted; the descriptor stays readable until the end.
}

void AvahiConnection::Loop::run() {
    while (poll_ && !stopping_) {
        turn();
    }
    release();
    {
        const std::lock_guard lock(lock_);
        finished_ = true;
    }
    changed_.notify_all();
}

void AvahiConnection::Loop::turn() {
    if (!client_ && Clock::now() >= nextAttempt_) {
        connect();
    }
    if (avahi_simple_poll_iterate(poll_.get(), pauseLength()) < 0) {
        lose(AVAHI_ERR_OS);
    }
    if (const auto failure = std::exchange(clientFailure_, std::nullopt)) {
        lose(*failure);
    }
    if (const auto failure = user_->takeFailure()) {
        lose(*failure);
    }
}

int AvahiConnection::Loop::pauseLength() const {
    if (clientFailure_) {
        return 0;
    }
    const auto untilAttempt =
        std::chrono::ceil<std::chrono::milliseconds>(nextAttempt_ - Clock::now());
    const auto pause =
        client_ ? kIdle : std::clamp(untilAttempt, std::chrono::milliseconds(0), kRetryPause);
    return static_cast<int>(pause.count());
}

void AvahiConnection::Loop::connect() {
    int error = 0;
    // With this flag the client waits for a daemon that does not run yet. Without a bus there is no
    // client at all.
    client_.reset(avahi_client_new(avahi_simple_poll_get(poll_.get()), AVAHI_CLIENT_NO_FAIL,
                                   &Loop::clientChanged, this, &error));
    if (!client_) {
        lose(clientFailure_.value_or(error));
        clientFailure_.reset();
    }
}

void AvahiConnection::Loop::clientChanged(AvahiClient* client, AvahiClientState state, void* self) {
    auto& loop = *static_cast<Loop*>(self);
    switch (state) {
    case AVAHI_CLIENT_S_RUNNING:
        loop.user_->daemonReady(*client);
        break;
    case AVAHI_CLIENT_S_REGISTERING:
    case AVAHI_CLIENT_S_COLLISION:
        loop.user_->daemonPaused();
        break;
    case AVAHI_CLIENT_CONNECTING:
        loop.user_->daemonLost(AVAHI_ERR_NO_DAEMON); // this client finds the daemon when it comes
        break;
    case AVAHI_CLIENT_FAILURE:
        // Such a client never recovers; it is freed when this callback is over.
        loop.clientFailure_ = avahi_client_errno(client);
        break;
    }
}

void AvahiConnection::Loop::lose(int error) {
    user_->daemonLost(error);
    client_.reset();
    nextAttempt_ = Clock::now() + kRetryPause;
}

void AvahiConnection::Loop::release() {
    // What the user created goes with the client, and the daemon takes it back.
    client_.reset();
}

void AvahiConnection::Loop::requestStop() {
    stopping_ = true;
    ::eventfd_write(wake_.get(), 1);
}

bool AvahiConnection::Loop::waitFinished(std::chrono::milliseconds limit) {
    std::unique_lock lock(lock_);
    return changed_.wait_for(lock, limit, [this] { return finished_; });
}

AvahiConnection::AvahiConnection(std::shared_ptr<AvahiUser> user)
    : loop_(std::make_shared<Loop>(std::move(user)))
    , thread_([loop = loop_] {
        settleThread("avahi");
        loop->run();
    }) {
}

AvahiConnection::~AvahiConnection() {
    stop();
}

void AvahiConnection::stop() {
    if (!thread_.joinable()) {
        return;
    }
    loop_->requestStop();
    if (loop_->waitFinished(kStopLimit)) {
        thread_.join();
    } else {
        thread_.detach();
    }
}

} // namespace ovelo
