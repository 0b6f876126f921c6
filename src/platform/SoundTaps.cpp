#include "platform/SoundTaps.h"

#include <utility>

namespace ovelo {

class SoundTaps::Tap final : public SoundTap {
public:
    Tap(std::shared_ptr<SoundTaps> taps, SoundHandler handler)
        : taps_(std::move(taps))
        , handler_(std::move(handler)) {
        taps_->insert(*this);
    }
    ~Tap() override { taps_->remove(*this); }
    Tap(const Tap&) = delete;
    Tap& operator=(const Tap&) = delete;

    void hear(const SoundBlock& block) const { handler_(block); }

private:
    const std::shared_ptr<SoundTaps> taps_;
    const SoundHandler handler_;
};

std::unique_ptr<SoundTap> SoundTaps::add(SoundHandler handler) {
    return std::make_unique<Tap>(shared_from_this(), std::move(handler));
}

void SoundTaps::deliver(const SoundBlock& block) {
    const std::lock_guard guard(lock_);
    for (const Tap* tap : taps_) {
        tap->hear(block);
    }
}

void SoundTaps::insert(const Tap& tap) {
    {
        const std::lock_guard guard(lock_);
        taps_.push_back(&tap);
    }
    try {
        if (!isHeard_.exchange(true) && changed_) {
            changed_();
        }
    } catch (...) {
        // It will not come to be, and nobody would remove it. Who listens hears of the exception.
        const std::lock_guard guard(lock_);
        std::erase(taps_, &tap);
        isHeard_ = !taps_.empty();
        throw;
    }
}

void SoundTaps::remove(const Tap& tap) {
    {
        const std::lock_guard guard(lock_);
        std::erase(taps_, &tap);
        isHeard_ = !taps_.empty();
    }
    if (!isHeard_ && changed_) {
        changed_();
    }
}

} // namespace ovelo
