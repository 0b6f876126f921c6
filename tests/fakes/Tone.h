#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <numbers>
#include <span>
#include <string>
#include <vector>

namespace ovelo {

/// A sine of this many hertz, at a third of full scale.
inline std::vector<std::int16_t> tone(double frequency, int rate, std::size_t count) {
    std::vector<std::int16_t> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double phase =
            2 * std::numbers::pi * frequency * static_cast<double>(i) / static_cast<double>(rate);
        samples[i] = static_cast<std::int16_t>(std::lround(10000 * std::sin(phase)));
    }
    return samples;
}

/// The frequency of a tone, by its rising zero crossings.
inline double frequencyOf(std::span<const std::int16_t> samples, int rate) {
    std::size_t first = 0;
    std::size_t last = 0;
    std::size_t crossings = 0;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        if (samples[i - 1] < 0 && samples[i] >= 0) {
            first = crossings == 0 ? i : first;
            last = i;
            ++crossings;
        }
    }
    return crossings < 2
               ? 0
               : static_cast<double>(crossings - 1) * rate / static_cast<double>(last - first);
}

inline int loudest(std::span<const std::int16_t> samples) {
    int most = 0;
    for (const int sample : samples) {
        most = std::max(most, std::abs(sample));
    }
    return most;
}

/// The largest step between neighbours: a click is a large one.
inline int steepest(std::span<const std::int16_t> samples) {
    int most = 0;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        most = std::max(most, std::abs(samples[i] - samples[i - 1]));
    }
    return most;
}

/// True when no stretch of so many samples is without a loud one.
inline bool isWithoutGap(std::span<const std::int16_t> samples, std::size_t stretch) {
    for (std::size_t i = 0; i + stretch <= samples.size(); i += stretch) {
        if (loudest(samples.subspan(i, stretch)) < 2000) {
            return false;
        }
    }
    return true;
}

/// What is wrong with a recording of a tone(): pitch, gaps, clicks; empty: nothing.
inline std::string complaintAbout(std::span<const std::int16_t> samples, double frequency,
                                  int rate) {
    const double heard = frequencyOf(samples, rate);
    if (std::abs(heard - frequency) > frequency / 150) {
        return "its frequency is " + std::to_string(heard);
    }
    if (!isWithoutGap(samples, static_cast<std::size_t>(rate / 200))) {
        return "it has a gap";
    }
    const double steep = 10000 * 2 * std::numbers::pi * frequency / rate; // of the tone itself
    return steepest(samples) <= steep * 1.4 ? "" : "it has a click";
}

} // namespace ovelo
