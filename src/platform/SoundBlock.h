#pragma once

#include <chrono>
#include <cstdint>
#include <span>

namespace ovelo {

/// Samples a second of all captured sound, whatever the hardware's own rate is.
inline constexpr int kSoundRate = 16000;

/// A stretch of captured sound: signed 16 bits, one channel, host byte order, kSoundRate.
///
/// lifetime  `samples` is valid during the call that hands the block over
struct SoundBlock {
    std::span<const std::int16_t> samples;
    std::chrono::steady_clock::time_point time; // when the first sample was heard
};

/// Hears a device's sound as long as it lives.
///
/// thread  destroyed on the main thread; its handler is not running any more then, nor will be
class SoundTap {
public:
    SoundTap() = default;
    virtual ~SoundTap() = default;
    SoundTap(const SoundTap&) = delete;
    SoundTap& operator=(const SoundTap&) = delete;
};

} // namespace ovelo
