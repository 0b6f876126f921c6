#pragma once

#include "platform/SoundBlocks.h"
#include "platform/SoundTaps.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>

namespace ovelo {

/// The place where a pipeline's sound changes hands: cut into blocks and given to the taps, or
/// dropped while it is detached.
///
/// thread  any
class GstSoundDelivery final {
public:
    using TimePoint = SoundBlocks::TimePoint;

    /// Detached at first.
    explicit GstSoundDelivery(std::shared_ptr<SoundTaps> taps);

    void attach();

    /// Returns when no tap's handler is running any more; none is called again.
    void detach();

    /// Called on the streaming thread for each piece of sound.
    ///
    /// samples  signed 16 bits, one channel, host byte order, kSoundRate
    /// time     of the first sample
    void deliver(std::span<const std::int16_t> samples, TimePoint time);

    /// How many pieces have come so far.
    [[nodiscard]] std::uint64_t pieces() const { return pieces_.load(); }

private:
    const std::shared_ptr<SoundTaps> taps_;
    std::atomic<std::uint64_t> pieces_ = 0;
    std::mutex lock_; // guards what follows; held while handlers run
    bool isAttached_ = false;
    SoundBlocks blocks_;
};

} // namespace ovelo
