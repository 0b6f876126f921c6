#pragma once

#include <chrono>
#include <cstdint>

namespace ovelo {

/// A position in a movie.
struct MovieTime {
    static constexpr std::int32_t kNanoseconds = 1'000'000'000;
    static constexpr std::int32_t kValid = 1;

    std::int64_t timeValue = 0;            // in units of 1 / timeScale seconds
    std::int32_t timeScale = kNanoseconds; // always this one
    std::int32_t flags = kValid;

    static MovieTime at(std::chrono::nanoseconds time) { return {.timeValue = time.count()}; }
    [[nodiscard]] std::chrono::nanoseconds time() const {
        return std::chrono::nanoseconds(timeValue);
    }
};

} // namespace ovelo
