#include "platform/GstFrameDelivery.h"

#include "platform/GstPicture.h"
#include "platform/MainThread.h"

#include <utility>

namespace ovelo {

void GstFrameDelivery::attach(FrameHandler handler) {
    auto attached = std::make_shared<const FrameHandler>(std::move(handler));
    const std::lock_guard lock(lock_);
    handler_ = std::move(attached);
}

bool GstFrameDelivery::isIdle() {
    const std::lock_guard lock(lock_);
    return runsOn_ == std::thread::id();
}

void GstFrameDelivery::detach() {
    std::unique_lock lock(lock_);
    handler_.reset();
    const std::thread::id runsOn = runsOn_;
    if (!MainThread::isCurrent()) {
        idle_.wait(lock, [this] { return runsOn_ == std::thread::id(); });
        return;
    }
    lock.unlock();
    MainThread::serveCallsOf(runsOn, [this] { return isIdle(); });
}

void GstFrameDelivery::deliver(GstPointer<GstSample> sample) {
    pictures_.fetch_add(1);
    std::shared_ptr<const FrameHandler> handler;
    {
        std::unique_lock lock(lock_);
        idle_.wait(lock, [this] { return runsOn_ == std::thread::id(); });
        handler = handler_;
        if (!handler) {
            return;
        }
        runsOn_ = std::this_thread::get_id();
    }
    if (const auto frame = frameOfPicture(std::move(sample))) {
        (*handler)(*frame);
    }
    {
        const std::lock_guard lock(lock_);
        runsOn_ = std::thread::id();
    }
    idle_.notify_all();
}

} // namespace ovelo
