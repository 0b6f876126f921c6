#include "platform/SoundBlocks.h"

#include <algorithm>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr auto kLongestDoubt = 100ms; // an error beyond this is a gap
constexpr int kInertia = 32;          // pieces; slow against jitter, quick against a drifting clock

constexpr std::chrono::nanoseconds lengthOf(std::size_t samples) {
    constexpr std::chrono::nanoseconds kOneSample{1'000'000'000 / kSoundRate};
    return kOneSample * static_cast<std::int64_t>(samples);
}

} // namespace

void SoundBlocks::add(std::span<const std::int16_t> samples, TimePoint time) {
    follow(time);
    if (!kept_.empty()) {
        const auto missing = std::min(kSamples - kept_.size(), samples.size());
        const auto head = samples.first(missing);
        kept_.insert(kept_.end(), head.begin(), head.end());
        samples = samples.subspan(missing);
        if (kept_.size() == kSamples) {
            give(kept_);
            kept_.clear();
        }
    }
    while (samples.size() >= kSamples) {
        give(samples.first(kSamples));
        samples = samples.subspan(kSamples);
    }
    kept_.insert(kept_.end(), samples.begin(), samples.end());
}

void SoundBlocks::reset() {
    kept_.clear();
    begins_.reset();
}

void SoundBlocks::follow(TimePoint time) {
    const auto error = begins_ ? time - (*begins_ + lengthOf(kept_.size())) : 0ns;
    if (begins_ && std::chrono::abs(error) <= kLongestDoubt) {
        *begins_ += error / kInertia;
        return;
    }
    if (!kept_.empty()) {
        give(kept_); // what was before the gap
        kept_.clear();
    }
    begins_ = time;
}

void SoundBlocks::give(std::span<const std::int16_t> samples) {
    give_({samples, *begins_});
    *begins_ += lengthOf(samples.size());
}

} // namespace ovelo
