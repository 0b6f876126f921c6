#include "viewer/ViewerLink.h"

#include "platform/Threads.h"

#include <algorithm>
#include <utility>

namespace ovelo {

namespace {

constexpr std::chrono::milliseconds kTurn{1000}; // of waiting for the server; stop() interrupts it

} // namespace

ViewerLink::ViewerLink(ViewerOptions options, Listener& listener,
                       std::chrono::milliseconds firstPause)
    : client_(std::move(options))
    , listener_(listener)
    , firstPause_(firstPause)
    , nextPause_(firstPause) {
}

ViewerLink::~ViewerLink() {
    stop();
}

void ViewerLink::start() {
    thread_ = std::jthread([this](const std::stop_token& stop) {
        settleThread("viewer-link");
        run(stop);
    });
}

void ViewerLink::stop() {
    if (!thread_.joinable()) {
        return;
    }
    thread_.request_stop();
    client_.interrupt();
    thread_.join();
}

void ViewerLink::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        listener_.linkChanged({LinkState::Kind::Connecting, {}, {}});
        const auto failure = client_.connect();
        std::string reason;
        if (failure) {
            reason = failure->text;
        } else {
            listener_.linkChanged({LinkState::Kind::Connected, {}, {}});
            reason = watch(stop);
        }
        if (!stop.stop_requested()) {
            pause(stop, reason);
        }
    }
    client_.close();
}

/// Hands on what the server says until the connection ends, and tells why it did.
std::string ViewerLink::watch(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        auto event = client_.next(kTurn);
        if (!event) {
            continue;
        }
        if (const auto* lost = std::get_if<LostEvent>(&*event)) {
            return lost->reason;
        }
        if (client_.isOpen()) {
            nextPause_ = firstPause_;
        }
        listener_.linkReceived(std::move(*event));
    }
    return {};
}

void ViewerLink::pause(const std::stop_token& stop, const std::string& reason) {
    listener_.linkChanged({LinkState::Kind::Waiting, reason, nextPause_});
    MutexLock lock(pauseLock_);
    stopped_.wait_for(pauseLock_, stop, nextPause_, [] { return false; });
    nextPause_ = std::min(nextPause_ * 2, kLongestPause);
}

} // namespace ovelo
