#include "platform/MovieInbox.h"

#include <utility>

namespace ovelo {

namespace {

constexpr std::size_t kMostPictures = 30;
constexpr std::size_t kMostSamples = 10UL * kSoundRate;

} // namespace

void MovieInbox::open() {
    const std::lock_guard lock(lock_);
    batch_ = {};
    samples_ = 0;
    dropped_ = 0;
    isOpen_ = true;
}

void MovieInbox::close(Steady end) {
    const std::lock_guard lock(lock_);
    if (std::exchange(isOpen_, false)) {
        end_ = end;
        closed_.notify_all();
    }
}

void MovieInbox::add(const VideoFrame& frame, Steady time) {
    Picture oldest; // given back without the lock
    const std::lock_guard lock(lock_);
    if (!isOpen_) {
        return;
    }
    batch_.pictures.push_back({frame, time});
    if (batch_.pictures.size() > kMostPictures) {
        oldest = std::move(batch_.pictures.front());
        batch_.pictures.pop_front();
        ++dropped_;
    }
}

void MovieInbox::add(const SoundBlock& block) {
    Sound sound{{block.samples.begin(), block.samples.end()}, block.time};
    const std::lock_guard lock(lock_);
    if (!isOpen_) {
        return;
    }
    samples_ += sound.samples.size();
    batch_.sounds.push_back(std::move(sound));
    while (samples_ > kMostSamples) {
        samples_ -= batch_.sounds.front().samples.size();
        batch_.sounds.pop_front();
        ++dropped_;
    }
}

MovieInbox::Batch MovieInbox::take() {
    const std::lock_guard lock(lock_);
    samples_ = 0;
    return std::exchange(batch_, Batch{});
}

bool MovieInbox::waitForEnd(std::chrono::milliseconds limit) {
    std::unique_lock lock(lock_);
    return closed_.wait_for(lock, limit, [this] { return !isOpen_; });
}

MovieInbox::Steady MovieInbox::end() const {
    const std::lock_guard lock(lock_);
    return end_;
}

std::uint64_t MovieInbox::dropped() const {
    const std::lock_guard lock(lock_);
    return dropped_;
}

std::size_t MovieInbox::waiting() const {
    const std::lock_guard lock(lock_);
    return batch_.pictures.size();
}

} // namespace ovelo
