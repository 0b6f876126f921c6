#pragma once

#include "platform/Clock.h"

#include <mutex>

namespace ovelo {

/// A clock that goes when it is told to.
class FakeClock final : public Clock {
public:
    TimeValue timeOfDay() const override {
        const std::lock_guard lock(lock_);
        return {kStart + jumped_ + microseconds_ / kSecond,
                static_cast<std::int32_t>(microseconds_ % kSecond)};
    }
    Steady steady() const override {
        const std::lock_guard lock(lock_);
        return Steady(std::chrono::microseconds(microseconds_));
    }
    void advance(std::chrono::microseconds step) {
        const std::lock_guard lock(lock_);
        microseconds_ += step.count();
    }

    /// Somebody sets the computer's clock.
    void jump(std::chrono::seconds step) {
        const std::lock_guard lock(lock_);
        jumped_ += step.count();
    }

    static constexpr std::int64_t kStart = 1700000000;

private:
    static constexpr std::int64_t kSecond = 1000000;
    mutable std::mutex lock_;
    std::int64_t microseconds_ = 0;
    std::int64_t jumped_ = 0; // seconds
};

} // namespace ovelo
