#pragma once

#include "platform/VideoFrame.h"

#include <opencv2/core/core_c.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <utility>
#include <vector>

/// The motion detector's arithmetic as one would write it down on paper, without its library.
namespace ovelo::reference {

using Plane = std::vector<std::uint8_t>; // width * height, row by row

/// 0.299 red + 0.587 green + 0.114 blue, in 15 bits behind the point, rounded.
inline Plane gray(const VideoFrame& frame) {
    Plane plane;
    for (int y = 0; y < frame.height; ++y) {
        const std::uint8_t* pixel = frame.pixels + static_cast<std::size_t>(y) * frame.bytesPerRow;
        for (int x = 0; x < frame.width; ++x, pixel += 4) {
            const int sum = pixel[0] * 9798 + pixel[1] * 19235 + pixel[2] * 3735;
            plane.push_back(static_cast<std::uint8_t>((sum + (1 << 14)) >> 15));
        }
    }
    return plane;
}

/// Each pixel becomes the extreme of the square of 2 * radius + 1 around it, as far as that is
/// inside the picture.
template <typename Better>
Plane extremes(const Plane& plane, int width, int height, int radius, Better better) {
    Plane result(plane.size());
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint8_t best = plane[static_cast<std::size_t>(y * width + x)];
            for (int v = std::max(y - radius, 0); v <= std::min(y + radius, height - 1); ++v) {
                for (int u = std::max(x - radius, 0); u <= std::min(x + radius, width - 1); ++u) {
                    const std::uint8_t one = plane[static_cast<std::size_t>(v * width + u)];
                    best = better(one, best) ? one : best;
                }
            }
            result[static_cast<std::size_t>(y * width + x)] = best;
        }
    }
    return result;
}

inline Plane dilated(const Plane& plane, int width, int height) {
    return extremes(plane, width, height, 18, [](int one, int best) { return one > best; });
}

inline Plane eroded(const Plane& plane, int width, int height) {
    return extremes(plane, width, height, 10, [](int one, int best) { return one < best; });
}

inline Plane pixelsOf(const IplImage& image) {
    Plane plane;
    for (int y = 0; y < image.height; ++y) {
        const auto* row =
            reinterpret_cast<const std::uint8_t*>(image.imageData) + y * image.widthStep;
        plane.insert(plane.end(), row, row + image.width);
    }
    return plane;
}

inline int asSigned(std::uint8_t level) {
    return level < 128 ? level : level - 256;
}

/// Compares each frame with the one before.
class Motion {
public:
    std::optional<double> compare(const VideoFrame& frame) {
        Plane now =
            eroded(dilated(gray(frame), frame.width, frame.height), frame.width, frame.height);
        std::optional<double> ratio;
        if (!before_.empty()) {
            std::size_t changed = 0;
            for (std::size_t i = 0; i < now.size(); ++i) {
                changed += std::abs(asSigned(before_[i]) - asSigned(now[i])) >= 26 ? 1 : 0;
            }
            ratio = static_cast<double>(changed) / static_cast<double>(now.size());
        }
        before_ = std::move(now);
        return ratio;
    }

private:
    Plane before_;
};

} // namespace ovelo::reference
