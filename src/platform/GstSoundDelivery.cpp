#include "platform/GstSoundDelivery.h"

#include <utility>

namespace ovelo {

GstSoundDelivery::GstSoundDelivery(std::shared_ptr<SoundTaps> taps)
    : taps_(std::move(taps))
    , blocks_([this](const SoundBlock& block) { taps_->deliver(block); }) {
}

void GstSoundDelivery::attach() {
    const std::lock_guard guard(lock_);
    isAttached_ = true;
    blocks_.reset();
}

void GstSoundDelivery::detach() {
    const std::lock_guard guard(lock_);
    isAttached_ = false;
}

void GstSoundDelivery::deliver(std::span<const std::int16_t> samples, TimePoint time) {
    pieces_.fetch_add(1);
    const std::lock_guard guard(lock_);
    if (isAttached_) {
        blocks_.add(samples, time);
    }
}

} // namespace ovelo
