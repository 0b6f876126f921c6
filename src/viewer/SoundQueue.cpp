#include "viewer/SoundQueue.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ovelo {

namespace {

constexpr double kBridge = 0.005; // seconds

} // namespace

SoundQueue::SoundQueue(const SoundSchedule::Settings& settings)
    : schedule_(settings)
    , bridge_(static_cast<std::size_t>(std::max(1.0, kBridge * settings.rate))) {
}

void SoundQueue::add(std::uint32_t frameID, std::span<const std::int16_t> samples,
                     SoundSchedule::Time now) {
    const auto arrival = schedule_.arrived(frameID, samples.size(), now);
    if (arrival.late) {
        return;
    }
    // The oldest go before the newest come: a hostile server could tell of hours of silence.
    const std::size_t queued = schedule_.queued();
    const auto own = samples.last(std::min(samples.size(), queued));
    const std::size_t silence = std::min(arrival.silence, queued - own.size());
    const std::size_t surplus = samples_.size() - (queued - own.size() - silence);
    samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(surplus));
    samples_.insert(samples_.end(), silence, 0);
    samples_.insert(samples_.end(), own.begin(), own.end());
}

void SoundQueue::render(std::span<std::int16_t> output, SoundSchedule::Time heard) {
    const auto step = schedule_.next(heard, output.size());
    samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(step.drop));
    if (step.silence > 0) {
        putSilence(output.first(step.silence), !silent_);
        silent_ = true;
    }
    if (step.fill > 0) {
        if (silent_ || step.drop > 0) {
            leadFromLastTo(samples_.front());
        }
        putSound(output.subspan(step.silence, step.fill), step.take);
        silent_ = false;
    }
    const auto rest = output.subspan(step.silence + step.fill);
    if (!rest.empty()) {
        putSilence(rest, !silent_);
        silent_ = true;
    }
}

void SoundQueue::putSilence(std::span<std::int16_t> places, bool jump) {
    if (jump) {
        leadFromLastTo(0);
    }
    for (std::int16_t& place : places) {
        put(place, 0);
    }
}

/// Plays `take` samples, evenly spread.
void SoundQueue::putSound(std::span<std::int16_t> places, std::size_t take) {
    const double pace = static_cast<double>(take) / static_cast<double>(places.size());
    for (std::size_t i = 0; i < places.size(); ++i) {
        put(places[i], sampleAt(static_cast<double>(i) * pace));
    }
    samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(take));
}

double SoundQueue::sampleAt(double position) const {
    const auto index = static_cast<std::size_t>(position);
    const double fraction = position - static_cast<double>(index);
    const double here = samples_[index];
    const double there = index + 1 < samples_.size() ? samples_[index + 1] : here;
    return here + fraction * (there - here);
}

void SoundQueue::leadFromLastTo(double sample) {
    offset_ = last_ - sample;
    left_ = bridge_;
}

void SoundQueue::put(std::int16_t& place, double sample) {
    if (left_ > 0) {
        sample += offset_ * static_cast<double>(left_) / static_cast<double>(bridge_);
        --left_;
    }
    last_ = sample;
    constexpr double kLowest = std::numeric_limits<std::int16_t>::min();
    constexpr double kHighest = std::numeric_limits<std::int16_t>::max();
    place = static_cast<std::int16_t>(std::lround(std::clamp(sample, kLowest, kHighest)));
}

} // namespace ovelo
