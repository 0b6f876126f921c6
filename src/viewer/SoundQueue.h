#pragma once

#include "viewer/SoundSchedule.h"

#include <cstdint>
#include <deque>
#include <span>

namespace ovelo {

/// The sound that waits to be played, of one channel.
///
/// Wherever what is played begins, ends or jumps, it is led there within some milliseconds, so that
/// it does not click.
///
/// thread  one at a time
class SoundQueue {
public:
    explicit SoundQueue(const SoundSchedule::Settings& settings);

    void setDelay(SoundSchedule::Seconds delay) { schedule_.setDelay(delay); }

    /// Takes a block that has just come; see SoundSchedule::arrived.
    void add(std::uint32_t frameID, std::span<const std::int16_t> samples, SoundSchedule::Time now);

    /// Makes what is played next, the first sample of which is heard at `heard`.
    void render(std::span<std::int16_t> output, SoundSchedule::Time heard);

    [[nodiscard]] const SoundSchedule& schedule() const { return schedule_; }

private:
    void put(std::int16_t& place, double sample);
    void putSilence(std::span<std::int16_t> places, bool jump);
    void putSound(std::span<std::int16_t> places, std::size_t take);
    [[nodiscard]] double sampleAt(double position) const;
    void leadFromLastTo(double sample);

    SoundSchedule schedule_;
    std::deque<std::int16_t> samples_; // as many as the schedule says
    const std::size_t bridge_;         // samples
    double last_ = 0;                  // what was played last
    double offset_ = 0;                // to what is played, at the beginning of the bridge
    std::size_t left_ = 0;             // of the bridge
    bool silent_ = true;
};

} // namespace ovelo
