#pragma once

#include "platform/Data.h"
#include "platform/VideoFrame.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

namespace ovelo::bench {

inline constexpr int kWidth = 320;
inline constexpr int kHeight = 240;

/// Something like a room: slow gradients, some edges, a little noise.
inline VideoFrame scene() {
    auto pixels = std::make_shared<Bytes>();
    unsigned noise = 1;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            noise = noise * 1103515245U + 12345U;
            const int light =
                static_cast<int>(80 + 60 * std::sin(x / 40.0) + 40 * std::cos(y / 25.0)) +
                static_cast<int>(noise >> 16U & 7U) + ((x / 32 + y / 48) % 3 == 0 ? 50 : 0);
            for (const int tint : {0, 10, 20}) {
                pixels->push_back(static_cast<std::uint8_t>(std::clamp(light - tint, 0, 255)));
            }
            pixels->push_back(255);
        }
    }
    const std::uint8_t* data = pixels->data();
    return {kWidth, kHeight, std::size_t{kWidth} * 4, data, std::move(pixels)};
}

} // namespace ovelo::bench
