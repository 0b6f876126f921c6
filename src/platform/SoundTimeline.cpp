#include "platform/SoundTimeline.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ovelo {

namespace {

constexpr double kSamplesInASecond = kSoundRate;

// Times of blocks are uneven by some milliseconds; only what lasts is a wrong pace.
constexpr double kSmoothing = 2.0 * kSamplesInASecond;
constexpr double kBeginAdjusting = 0.005 * kSamplesInASecond;
constexpr double kEndAdjusting = 0.001 * kSamplesInASecond;
constexpr std::int64_t kSlowest = 256; // a sample of so many is dropped or doubled

// Further off than this is a gap or a jump, not a pace.
constexpr std::int64_t kJump = kSoundRate / 10;

} // namespace

SoundTimeline::SoundTimeline(Steady zero, std::size_t skip) : zero_(zero), skip_(skip) {
}

std::int64_t SoundTimeline::samplesUntil(Steady moment) const {
    const std::chrono::duration<double> since = moment - zero_;
    return std::llround(since.count() * kSamplesInASecond);
}

void SoundTimeline::take(const SoundBlock& block) {
    std::span<const std::int16_t> samples = block.samples;
    const std::int64_t offset = samplesUntil(block.time) - position_;
    if (isBroken_ || std::abs(offset) > kJump) {
        samples = resynchronise(samples, offset);
        addCorrected(samples, 0);
        return;
    }
    addCorrected(samples, correctionFor(offset, samples.size()));
}

std::span<const std::int16_t> SoundTimeline::resynchronise(std::span<const std::int16_t> samples,
                                                           std::int64_t offset) {
    lag_ = 0;
    isAdjusting_ = false;
    if (offset > 0) {
        addSilence(offset);
        offset = 0;
    }
    const auto late = std::min(static_cast<std::size_t>(-offset), samples.size());
    isBroken_ = late == samples.size();
    return samples.subspan(late);
}

std::int64_t SoundTimeline::correctionFor(std::int64_t offset, std::size_t samples) {
    const double weight = std::min(1.0, static_cast<double>(samples) / kSmoothing);
    lag_ += (static_cast<double>(offset) - lag_) * weight;
    isAdjusting_ = std::abs(lag_) > (isAdjusting_ ? kEndAdjusting : kBeginAdjusting);
    if (!isAdjusting_) {
        return 0;
    }
    const auto most = static_cast<std::int64_t>(samples) / kSlowest + 1;
    const std::int64_t correction = std::clamp<std::int64_t>(std::llround(lag_), -most, most);
    lag_ -= static_cast<double>(correction);
    corrected_ += correction;
    return correction;
}

void SoundTimeline::addCorrected(std::span<const std::int16_t> samples, std::int64_t correction) {
    if (samples.empty()) {
        return;
    }
    const auto count = static_cast<std::int64_t>(samples.size());
    const std::int64_t wanted = std::max<std::int64_t>(0, count + correction);
    for (std::int64_t i = 0; i < wanted; ++i) {
        add(samples[static_cast<std::size_t>(i * count / wanted)], true);
    }
    hasSound_ = true;
}

void SoundTimeline::advanceTo(Steady moment) {
    advanceToPosition(samplesUntil(moment));
}

void SoundTimeline::advanceToPosition(std::int64_t position) {
    const std::int64_t missing = position - position_;
    if (missing > 0) {
        addSilence(missing);
        isBroken_ = true;
    }
}

void SoundTimeline::addSilence(std::int64_t count) {
    for (std::int64_t i = 0; i < count; ++i) {
        add(0, false);
    }
}

void SoundTimeline::add(std::int16_t sample, bool isHeard) {
    ++position_;
    if (skip_ > 0) {
        --skip_;
        return;
    }
    filling_.samples[filled_++] = sample;
    filling_.isFilling = filling_.isFilling && !isHeard;
    if (filled_ == filling_.samples.size()) {
        full_.push_back(std::exchange(filling_, Block{}));
        filled_ = 0;
    }
}

std::optional<SoundTimeline::Block> SoundTimeline::next() {
    if (full_.empty()) {
        return std::nullopt;
    }
    Block block = full_.front();
    full_.pop_front();
    return block;
}

} // namespace ovelo
