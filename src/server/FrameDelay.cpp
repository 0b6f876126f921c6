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

std::optional<Frame> FrameDelay::newestDue(float delay) {
    std::optional<Frame> due;
    for (const Frame* oldest = frameQueue_.peek();
         oldest != nullptr && MyUtil::getElapsedSeconds(oldest->insertedTime, clock_) >= delay;
         oldest = frameQueue_.peek()) {
        due = frameQueue_.get();
    }
    return due;
}

} // namespace ovelo
