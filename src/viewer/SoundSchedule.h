#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>

namespace ovelo {

/// Decides when the server's sound is played, so that it has no gaps and is in step with pictures
/// that the server holds back.
///
/// Sound comes in blocks of seconds. One that arrives at T holds what was heard up to T: sound of
/// the time s is played at s + delay, like the picture of s. When the delay is too short for that,
/// because a block's beginning is as old as the block is long, sound is played as early as it can
/// be without gaps.
///
/// The clock of the server's samples is guessed from the arrivals: the earliest ones of the last
/// blocks tell it, the others were late on their way. What is played follows it: by a sample more or
/// less now and then, which nobody hears, or by a jump when it is off by more than a tenth of a
/// second.
///
/// Holds no sound, only counts samples; the queue of samples belongs to the caller.
///
/// thread  one at a time
class SoundSchedule {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Seconds = std::chrono::duration<double>;

    struct Settings {
        double rate = 8000; // samples a second
        Seconds age{0};     // of a block's last sample when the block is sent
        Seconds lead{0};    // how long before it is heard a sample has to be there
    };

    /// What a block does to the queue: `silence` samples of silence are put behind what is there,
    /// for blocks that are missing, then the block's own; a late one is left out.
    struct Arrival {
        std::size_t silence = 0;
        bool late = false;
    };

    /// How output is made: `drop` samples of the queue are passed over; `silence` samples of
    /// silence; `take` samples of the queue, stretched onto `fill`; silence for the rest.
    struct Step {
        std::size_t drop = 0;
        std::size_t silence = 0;
        std::size_t take = 0;
        std::size_t fill = 0;
    };

    explicit SoundSchedule(const Settings& settings);

    /// Seconds by which the server holds pictures back; less than nothing is nothing.
    void setDelay(Seconds delay);

    /// A block has come.
    ///
    /// frameID  as the server counts them; gaps are blocks that are missing
    Arrival arrived(std::uint32_t frameID, std::size_t samples, Time now);

    /// The next `count` samples of output, the first of which is heard at `heard`.
    Step next(Time heard, std::size_t count);

    /// Samples in the queue; never more than forty seconds of them, the oldest go first.
    [[nodiscard]] std::size_t queued() const { return static_cast<std::size_t>(end_ - front_); }

    /// How long after it was heard at the server a sample is played. Nothing as long as no block
    /// has come.
    [[nodiscard]] Seconds latency() const;

    /// The least delay of the pictures with which sound is in step. Nothing as long as no block has
    /// come.
    [[nodiscard]] Seconds shortestDelay() const { return shortest_; }

private:
    /// When the first sample of all was heard at the server, as one block tells it.
    struct Witness {
        double origin = 0; // seconds of the clock
        double length = 0; // of the block, in seconds
    };

    void learn(double now, std::size_t samples);
    [[nodiscard]] std::size_t missing(std::int32_t blocks, std::size_t samples, double now) const;
    Step start(double error, std::size_t count);
    Step play(std::size_t count, double error);

    const Settings settings_;
    double delay_ = 0;
    std::deque<Witness> witnesses_; // of the last blocks
    double origin_ = 0;             // the earliest of them
    Seconds shortest_{0};
    bool begun_ = false;
    std::uint32_t expected_ = 0; // the next block's number
    std::int64_t front_ = 0;     // the number of the queue's first sample
    std::int64_t end_ = 0;       // and of the one behind its last
    bool playing_ = false;
    bool correcting_ = false;
    double error_ = 0; // samples by which what is played is late, smoothed
};

} // namespace ovelo
