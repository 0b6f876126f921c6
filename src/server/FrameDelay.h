#pragma once

#include "server/Queue.h"

#include <atomic>
#include <optional>

namespace ovelo {

/// Holds one viewer's pictures back for a while, so that sound and pictures can be brought in step
/// there.
///
/// thread  push() belongs to one thread at a time; setDelay() any
class FrameDelay {
public:
    static constexpr float kInitialSeconds = 2.0F;

    /// No delay that a viewer can ask for may keep more pictures than this; the oldest go then.
    static constexpr std::uint32_t kMostFrames = 600;

    explicit FrameDelay(const Clock& clock) : clock_(clock) {}

    /// Seconds; 0 holds nothing back, a NaN everything.
    void setDelay(float seconds) { frameDelay_ = seconds; }
    [[nodiscard]] float delay() const { return frameDelay_; }

    /// Takes a new picture and gives the one that is due now, if any; older due ones are dropped.
    ///
    /// Kept: with no delay the oldest picture comes out, which is the new one only when nothing
    /// waited.
    std::optional<Frame> push(Frame frame);

    /// Lets go of all that waits. The thread of push().
    void clear();

    [[nodiscard]] std::uint32_t waiting() const { return frameQueue_.count(); }

private:
    std::optional<Frame> newestDue(float delay);

    Queue frameQueue_;
    std::atomic<float> frameDelay_ = kInitialSeconds;
    const Clock& clock_;
};

} // namespace ovelo
