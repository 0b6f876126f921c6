#pragma once

#include "capture/Bitmap.h"
#include "platform/VideoFrame.h"

#include <cstdint>
#include <cstring>

namespace ovelo {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "a pixel read as one number has red in its low byte");

/// Opaque black, and what makes any premultiplied colour what it is on black.
inline constexpr std::uint32_t kOpaque = 0xFF000000;

inline std::uint32_t pixelAt(const std::uint8_t* row, int x) {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, row + static_cast<std::size_t>(x) * Bitmap::kBytesPerPixel, sizeof pixel);
    return pixel;
}

inline void setPixel(std::uint8_t* row, int x, std::uint32_t pixel) {
    std::memcpy(row + static_cast<std::size_t>(x) * Bitmap::kBytesPerPixel, &pixel, sizeof pixel);
}

inline const std::uint8_t* rowOf(const VideoFrame& picture, int y) {
    return picture.pixels + static_cast<std::size_t>(y) * picture.bytesPerRow;
}

/// Fills the columns from `begin` to before `end` with opaque black.
void fillBlack(std::uint8_t* row, int begin, int end);
void fillBlack(Bitmap& bitmap);

/// Which way the columns and rows of a picture run.
struct PixelOrder {
    bool mirrorX = false;
    bool mirrorY = false;
};

/// The picture in another order, on black. Every pixel keeps its value.
Bitmap permuted(const VideoFrame& picture, PixelOrder order);

} // namespace ovelo
