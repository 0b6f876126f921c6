#include "viewer/SoundSchedule.h"

#include <algorithm>
#include <cmath>

namespace ovelo {

namespace {

constexpr std::size_t kWitnesses = 16;        // half a minute of blocks
constexpr std::int32_t kMostMissing = 16;     // blocks; more are a new beginning
constexpr double kBreak = 1.0;                // seconds; a block so late was captured later
constexpr double kMostLateness = 0.3;         // seconds that are waited for late blocks
constexpr double kLongestQueue = 40.0;        // seconds
constexpr double kJump = 0.1;                 // seconds; less is corrected little by little
constexpr double kBeginCorrecting = 0.01;     // seconds
constexpr double kEndCorrecting = 0.001;      // seconds
constexpr double kSmoothing = 0.1;            // what one step counts in the smoothed error
constexpr std::size_t kSamplesOfChange = 128; // of output, for each sample more or less

double seconds(SoundSchedule::Time time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

std::size_t whole(double samples) {
    return static_cast<std::size_t>(std::llround(std::max(samples, 0.0)));
}

} // namespace

SoundSchedule::SoundSchedule(const Settings& settings) : settings_(settings) {
}

void SoundSchedule::setDelay(Seconds delay) {
    delay_ = std::max(delay.count(), 0.0);
}

SoundSchedule::Seconds SoundSchedule::latency() const {
    return begun_ ? Seconds(std::max(delay_, shortest_.count())) : Seconds(0);
}

SoundSchedule::Arrival SoundSchedule::arrived(std::uint32_t frameID, std::size_t samples,
                                              Time now) {
    Arrival arrival;
    if (begun_) {
        const auto gap = static_cast<std::int32_t>(frameID - expected_);
        if (gap < 0 && gap >= -kMostMissing) {
            arrival.late = true;
            return arrival;
        }
        if (gap < 0 || gap > kMostMissing) {
            witnesses_.clear();
        } else if (gap > 0 && !witnesses_.empty()) {
            arrival.silence = missing(gap, samples, seconds(now));
        }
    }
    begun_ = true;
    expected_ = frameID + 1;
    end_ += static_cast<std::int64_t>(arrival.silence + samples);
    if (samples > 0) {
        learn(seconds(now), samples);
    }
    front_ = std::max<std::int64_t>(front_, end_ - std::llround(kLongestQueue * settings_.rate));
    return arrival;
}

/// The samples of so many blocks: what the time tells, if blocks can be as long as that.
std::size_t SoundSchedule::missing(std::int32_t blocks, std::size_t samples, double now) const {
    const auto [shortest, longest] =
        std::minmax_element(witnesses_.begin(), witnesses_.end(),
                            [](const auto& a, const auto& b) { return a.length < b.length; });
    const double told = (now - settings_.age.count() - origin_) * settings_.rate -
                        static_cast<double>(end_) - static_cast<double>(samples);
    return whole(std::clamp(told, blocks * shortest->length * settings_.rate,
                            blocks * longest->length * settings_.rate));
}

void SoundSchedule::learn(double now, std::size_t samples) {
    const double origin = now - settings_.age.count() - static_cast<double>(end_) / settings_.rate;
    if (!witnesses_.empty() && origin - origin_ > kBreak) {
        witnesses_.clear(); // the capture was interrupted
    }
    witnesses_.push_back({origin, static_cast<double>(samples) / settings_.rate});
    if (witnesses_.size() > kWitnesses) {
        witnesses_.pop_front();
    }
    origin_ =
        std::min_element(witnesses_.begin(), witnesses_.end(), [](const auto& a, const auto& b) {
            return a.origin < b.origin;
        })->origin;
    double longest = 0;
    for (const Witness& witness : witnesses_) {
        longest =
            std::max(longest, witness.length + std::min(witness.origin - origin_, kMostLateness));
    }
    shortest_ = Seconds(longest) + settings_.age + settings_.lead;
}

SoundSchedule::Step SoundSchedule::next(Time heard, std::size_t count) {
    if (queued() == 0) {
        playing_ = false;
        return {0, count, 0, 0};
    }
    const double wanted = (seconds(heard) - origin_ - latency().count()) * settings_.rate;
    const double error = wanted - static_cast<double>(front_);
    if (!playing_ || std::abs(error) > kJump * settings_.rate) {
        return start(error, count);
    }
    return play(count, error);
}

/// Goes to the right sample at once.
SoundSchedule::Step SoundSchedule::start(double error, std::size_t count) {
    error_ = 0;
    correcting_ = false;
    Step step;
    step.drop = std::min(whole(error), queued());
    front_ += static_cast<std::int64_t>(step.drop);
    step.silence = std::min(whole(-error), count);
    step.fill = step.take = std::min(count - step.silence, queued());
    front_ += static_cast<std::int64_t>(step.take);
    playing_ = step.take > 0 && step.silence + step.take == count;
    return step;
}

/// Goes on, a little faster or slower when that is needed.
SoundSchedule::Step SoundSchedule::play(std::size_t count, double error) {
    error_ += kSmoothing * (error - error_);
    const double off = std::abs(error_) / settings_.rate;
    correcting_ = off > (correcting_ ? kEndCorrecting : kBeginCorrecting);
    const std::size_t change = correcting_ ? (count + kSamplesOfChange - 1) / kSamplesOfChange : 0;
    Step step;
    step.take = error_ > 0 ? count + change : count - std::min(change, count);
    step.fill = count;
    if (step.take > queued()) {
        step.take = queued();
        step.fill = std::min(step.take, count);
        playing_ = false;
    }
    front_ += static_cast<std::int64_t>(step.take);
    return step;
}

} // namespace ovelo
