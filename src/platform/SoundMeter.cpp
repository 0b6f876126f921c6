#include "platform/SoundMeter.h"

#include "platform/SoundBlock.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace ovelo {

namespace {

using Seconds = std::chrono::duration<float>;

constexpr Seconds kAveraging{0.1F};
constexpr Seconds kPeakFall{0.6F};     // to a third
constexpr Seconds kPatience{0.2F};     // between two pieces of sound, until it counts as silent
constexpr float kInaudible = 1.0e-4F;  // -80 dB
constexpr float kFullScale = 32768.0F; // 16 bits

/// What is left of a level after some time.
float remainder(Seconds time, Seconds constant) {
    return std::exp(-time.count() / constant.count());
}

float audible(float level) {
    return level < kInaudible ? 0.0F : std::min(level, 1.0F);
}

} // namespace

void SoundMeter::add(std::span<const std::int16_t> samples) {
    if (samples.empty()) {
        return;
    }
    std::int64_t squares = 0;
    int largest = 0;
    for (const int sample : samples) {
        squares += static_cast<std::int64_t>(sample) * sample;
        largest = std::max(largest, std::abs(sample));
    }
    const auto count = static_cast<float>(samples.size());
    const float mean = static_cast<float>(squares) / count / (kFullScale * kFullScale);
    const Seconds length{count / kSoundRate};

    const std::lock_guard guard(lock_);
    meanSquare_ = mean + (meanSquare_ - mean) * remainder(length, kAveraging);
    peak_ =
        std::max(static_cast<float>(largest) / kFullScale, peak_ * remainder(length, kPeakFall));
    lastSound_ = clock_.steady();
}

SoundMeter::Level SoundMeter::level() const {
    const std::lock_guard guard(lock_);
    const Seconds silent = clock_.steady() - lastSound_ - kPatience;
    const float left = silent > Seconds::zero() ? remainder(silent, kAveraging) : 1.0F;
    return {audible(std::sqrt(meanSquare_) * left), audible(peak_ * left)};
}

} // namespace ovelo
