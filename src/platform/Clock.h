#pragma once

#include <chrono>
#include <cstdint>

namespace ovelo {

/// A moment of the wall clock, as seconds and microseconds since 1970 (UTC).
struct TimeValue {
    std::int64_t seconds = 0;
    std::int32_t microseconds = 0; // 0 to 999999

    friend bool operator==(const TimeValue&, const TimeValue&) = default;
};

/// Where time comes from; tests step one of their own.
///
/// thread  any
class Clock {
public:
    using Steady = std::chrono::steady_clock::time_point;

    virtual ~Clock() = default;

    /// The wall clock, which may be set while we run.
    [[nodiscard]] virtual TimeValue timeOfDay() const = 0;

    /// A clock that only goes forward, for time-outs.
    [[nodiscard]] virtual Steady steady() const = 0;

    /// The computer's own clocks.
    static const Clock& system();
};

} // namespace ovelo
