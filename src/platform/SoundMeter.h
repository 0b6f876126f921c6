#pragma once

#include "platform/Clock.h"

#include <cstdint>
#include <mutex>
#include <span>

namespace ovelo {

/// How loud the sound is at the moment: 0 is silence, 1 full scale.
///
/// thread  any
class SoundMeter final {
public:
    struct Level {
        float average = 0; // root of the mean square over about the last tenth of a second
        float peak = 0;    // the largest sample; falls slowly
    };

    explicit SoundMeter(const Clock& clock) : clock_(clock) {}

    void add(std::span<const std::int16_t> samples);

    /// Falls to 0 when no sound comes any more.
    [[nodiscard]] Level level() const;

private:
    const Clock& clock_;
    mutable std::mutex lock_; // guards what follows; a leaf
    float meanSquare_ = 0;
    float peak_ = 0;
    Clock::Steady lastSound_;
};

} // namespace ovelo
