#pragma once

#include "platform/AacConfiguration.h"
#include "platform/SoundBlock.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

namespace ovelo {

/// Turns captured sound into an unbroken row of samples that keeps pace with the clock.
///
/// The hardware's own pace is a little off: samples are dropped or doubled one by one, at most 1 in
/// 256, so that sound stays within a few milliseconds of its time. Where nothing comes there is
/// silence; what comes too late for its place is dropped.
///
/// thread  one
class SoundTimeline final {
public:
    using Steady = std::chrono::steady_clock::time_point;

    struct Block {
        std::array<std::int16_t, kAacPacketSamples> samples{};
        bool isFilling = true; // nothing in it was heard
    };

    /// zero  where the row begins
    /// skip  how many of the first samples are left out of the blocks, fewer than a block's
    SoundTimeline(Steady zero, std::size_t skip);

    /// Takes what was heard.
    void take(const SoundBlock& block);

    /// Fills up with silence to a moment before which no sound is expected any more.
    void advanceTo(Steady moment);

    /// The same to a position, in samples since zero.
    void advanceToPosition(std::int64_t position);

    /// The next full block. Blocks follow one another without a gap.
    [[nodiscard]] std::optional<Block> next();

    /// Samples since zero.
    [[nodiscard]] std::int64_t position() const { return position_; }

    /// Anything was heard at all.
    [[nodiscard]] bool hasSound() const { return hasSound_; }

    /// Samples that were inserted (positive) or dropped to keep pace, silence not counted.
    [[nodiscard]] std::int64_t corrected() const { return corrected_; }

private:
    [[nodiscard]] std::int64_t samplesUntil(Steady moment) const;
    [[nodiscard]] std::span<const std::int16_t> resynchronise(std::span<const std::int16_t> samples,
                                                              std::int64_t offset);
    [[nodiscard]] std::int64_t correctionFor(std::int64_t offset, std::size_t samples);
    void addCorrected(std::span<const std::int16_t> samples, std::int64_t correction);
    void add(std::int16_t sample, bool isHeard);
    void addSilence(std::int64_t count);

    const Steady zero_;
    std::size_t skip_;
    std::int64_t position_ = 0;
    bool isBroken_ = true; // what comes next does not continue what came
    bool isAdjusting_ = false;
    double lag_ = 0; // how far the clock is ahead of the row, in samples, smoothed
    bool hasSound_ = false;
    std::int64_t corrected_ = 0;
    Block filling_;
    std::size_t filled_ = 0;
    std::deque<Block> full_;
};

} // namespace ovelo
