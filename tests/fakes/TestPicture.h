#pragma once

#include "platform/VideoFrame.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace ovelo {

using Colour = std::array<std::uint8_t, 4>; // red, green, blue, alpha

inline constexpr Colour kBlack = {0, 0, 0, 255};

/// A frame whose pixels are what `colourAt` says of their column and row from the top.
///
/// padding  bytes after each row
inline VideoFrame pictureOf(int width, int height, const std::function<Colour(int, int)>& colourAt,
                            std::size_t padding = 0) {
    const std::size_t bytesPerRow = static_cast<std::size_t>(width) * 4 + padding;
    auto pixels = std::make_shared<std::vector<std::uint8_t>>(
        bytesPerRow * static_cast<std::size_t>(height), std::uint8_t{0x55});
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const Colour colour = colourAt(x, y);
            std::uint8_t* pixel = pixels->data() + static_cast<std::size_t>(y) * bytesPerRow +
                                  static_cast<std::size_t>(x) * 4;
            std::copy(colour.begin(), colour.end(), pixel);
        }
    }
    const std::uint8_t* data = pixels->data();
    return {width, height, bytesPerRow, data, std::move(pixels)};
}

/// A picture in which no two pixels near each other are alike, and no mirror or turn looks like the
/// original.
inline VideoFrame unevenPicture(int width, int height, std::size_t padding = 0) {
    return pictureOf(
        width, height,
        [](int x, int y) {
            const auto byte = [](int value) { return static_cast<std::uint8_t>(value); };
            return Colour{byte(x * 7 + y * 3), byte(x * 5 - y * 11), byte(x * y / 3 + 17), 255};
        },
        padding);
}

/// The pixel of a frame or bitmap at a column and row from the top.
template <typename Picture>
Colour colourOf(const Picture& picture, int x, int y) {
    const std::uint8_t* data = nullptr;
    if constexpr (requires { picture.pixels; }) {
        data = picture.pixels + static_cast<std::size_t>(y) * picture.bytesPerRow;
    } else {
        data = picture.row(y);
    }
    data += static_cast<std::size_t>(x) * 4;
    return {data[0], data[1], data[2], data[3]};
}

} // namespace ovelo
