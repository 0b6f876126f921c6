#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace ovelo {

/// A timer on the main loop; it ends with the object, which a tick may destroy. Main thread only.
class Timer {
public:
    Timer() = default;
    virtual ~Timer() = default;
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Calls `tick` again and again, first after one interval. `tick` does not throw.
    static std::unique_ptr<Timer> repeating(std::chrono::milliseconds interval,
                                            std::function<void()> tick);

    /// Calls `tick` once. `tick` does not throw.
    static std::unique_ptr<Timer> once(std::chrono::milliseconds delay, std::function<void()> tick);
};

} // namespace ovelo
