#include "server/FrameDelay.h"

#include "support/MyUtil.h"

#include <utility>

namespace ovelo {

std::optional<Frame> FrameDelay::push(Frame frame) {
    const float delay = frameDelay_;
    if (delay == 0 && frameQueue_.count() == 0) {
        return frame;
    }
    frameQueue_.add(std::move(frame));
    if (frameQueue_.count() > kMostFrames) {
        frameQueue_.get();
    }
    return delay == 0 ? frameQueue_.get() : newestDue(delay);
}

void FrameDelay::clear() {
    while (frameQueue_.get()) {
    }
}

std::optional<Frame> FrameDelay::newestDue(float delay) {
    std::optional<Frame> due;
    while (const Frame* oldest = frameQueue_.peek()) {
        const float waited = MyUtil::getElapsedSeconds(oldest->insertedTime, clock_);
        // Less than nothing: the clock was set back, and must not stop the pictures until it has
        // caught up.
        if (!(waited >= delay || waited < 0)) {
            break;
        }
        due = frameQueue_.get();
    }
    return due;
}

} // namespace ovelo
