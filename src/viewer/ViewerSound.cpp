#include "viewer/ViewerSound.h"

#include <cmath>
#include <utility>

namespace ovelo {

ViewerSound::ViewerSound(Parts parts, std::function<void(const std::string&)> problem)
    : parts_(std::move(parts))
    , problem_(std::move(problem))
    , blocks_(parts_.createDecoder) {
}

ViewerSound::~ViewerSound() = default;

void ViewerSound::handleLine(std::string_view line) {
    if (!AudioFormat::announces(line)) {
        return;
    }
    const std::lock_guard control(control_);
    if (!wanted_) {
        return; // the answer to a wish that is over
    }
    const auto format = AudioFormat::parse(line);
    if (format && format_ == format.value()) {
        return; // what plays goes on without a break
    }
    endControlled();
    if (!format) {
        tellControlled(format.error());
        return;
    }
    if (format.value().isOfNothing()) {
        problem_({}); // sound may come as soon as there is a microphone
        return;
    }
    if (const auto failure = blocks_.configure(format.value())) {
        tellControlled(failure->text);
        return;
    }
    format_ = format.value();
    beginControlled();
}

void ViewerSound::beginControlled() {
    complained_ = false;
    {
        const std::lock_guard lock(lock_);
        queue_.emplace(SoundSchedule::Settings{static_cast<double>(blocks_.rate()), blocks_.age(),
                                               SoundPlayer::kLead});
        queue_->setDelay(SoundSchedule::Seconds(delay_));
    }
    gain_ = 0;
    player_ = parts_.createPlayer(blocks_.rate(),
                                  {[this](std::span<std::int16_t> samples,
                                          SoundPlayer::Time heard) { render(samples, heard); },
                                   [this](const std::string& problem) { problem_(problem); }});
}

void ViewerSound::handleBlock(const ViewerBlock& block) {
    const auto now = std::chrono::steady_clock::now();
    const std::lock_guard control(control_);
    if (!player_) {
        return; // the format was told to be unknown, or sound is not wanted any more
    }
    const auto samples = blocks_.decode(block.bytes);
    if (!samples) {
        tellControlled(samples.error());
        return; // its number is missing now, so it becomes silence
    }
    const std::lock_guard lock(lock_);
    queue_->add(block.header.frameID, samples.value(), now);
}

/// The first broken block is worth a word, not each.
void ViewerSound::tellControlled(const std::string& problem) {
    if (!std::exchange(complained_, true)) {
        problem_(problem);
    }
}

void ViewerSound::reset() {
    const std::lock_guard control(control_);
    endControlled();
}

void ViewerSound::setWanted(bool wanted) {
    const std::lock_guard control(control_);
    wanted_ = wanted;
    if (!wanted) {
        endControlled();
    }
}

void ViewerSound::endControlled() {
    player_.reset(); // first: its thread uses the queue
    format_.reset();
    complained_ = false;
    const std::lock_guard lock(lock_);
    queue_.reset();
}

void ViewerSound::setDelay(double seconds) {
    const std::lock_guard lock(lock_);
    delay_ = seconds;
    if (queue_) {
        queue_->setDelay(SoundSchedule::Seconds(seconds));
    }
}

void ViewerSound::render(std::span<std::int16_t> samples, SoundPlayer::Time heard) {
    {
        const std::lock_guard lock(lock_);
        queue_->render(samples, heard);
    }
    // Loudness grows with about the cube root of the power.
    const double gain = muted_ ? 0 : std::pow(volume_.load(), 3);
    const double change = (gain - gain_) / static_cast<double>(samples.size());
    for (std::int16_t& sample : samples) {
        gain_ += change;
        sample = static_cast<std::int16_t>(std::lround(sample * gain_));
    }
    gain_ = gain;
}

std::optional<double> ViewerSound::lag() const {
    const std::lock_guard lock(lock_);
    if (!queue_ || queue_->schedule().latency().count() <= 0) {
        return std::nullopt;
    }
    return std::max(queue_->schedule().latency().count() - std::max(delay_, 0.0), 0.0);
}

std::optional<double> ViewerSound::shortestDelay() const {
    const std::lock_guard lock(lock_);
    if (!queue_ || queue_->schedule().shortestDelay().count() <= 0) {
        return std::nullopt;
    }
    return queue_->schedule().shortestDelay().count();
}

} // namespace ovelo
