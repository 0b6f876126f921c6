#pragma once

#include "platform/SoundBlock.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace ovelo {

/// Cuts sound into blocks of 40 ms, whatever pieces it comes in, and smooths their times. The last
/// block before a gap may be shorter.
///
/// The time of a piece says when it was heard, but not to the millisecond: it depends on when
/// somebody had time to look. The times of the blocks go on with the number of samples and are
/// drawn towards those of the pieces slowly, so that they follow the microphone's own clock, which
/// is never quite as fast as ours. After a gap they begin anew.
///
/// thread  none of its own; one call at a time
class SoundBlocks final {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    static constexpr std::size_t kSamples = 640;

    explicit SoundBlocks(std::function<void(const SoundBlock&)> give) : give_(std::move(give)) {}

    /// time  of the first of the samples
    void add(std::span<const std::int16_t> samples, TimePoint time);

    /// What comes next has nothing to do with what came before.
    void reset();

private:
    void follow(TimePoint time);
    void give(std::span<const std::int16_t> samples);

    const std::function<void(const SoundBlock&)> give_;
    std::vector<std::int16_t> kept_;  // less than a block
    std::optional<TimePoint> begins_; // of what is kept, or comes next
};

} // namespace ovelo
