#include "capture/QuarterTurn.h"

#include "capture/PixelOrder.h"

#include <algorithm>
#include <cmath>

namespace ovelo {

namespace {

constexpr unsigned kOne = 256; // a weight of 1
constexpr unsigned kHalf = kOne / 2;

/// The two neighbours that a new row is made of.
struct Neighbours {
    int first = 0;
    int second = 0;
    unsigned weight = 0; // of the second
};

/// For row `index` of `count` new ones, taken at the middle of the row.
Neighbours neighboursOf(int index, int count, int oldCount) {
    const double middle = (index + 0.5) * oldCount / count - 0.5;
    const double position = std::clamp(middle, 0.0, oldCount - 1.0);
    const int first = static_cast<int>(position);
    const double fraction = position - first;
    return {first, std::min(first + 1, oldCount - 1),
            static_cast<unsigned>(std::lround(fraction * kOne))};
}

void mix(const std::uint8_t* first, const std::uint8_t* second, unsigned weight,
         std::uint8_t* target, std::size_t length) {
    const auto secondWeight = static_cast<std::uint16_t>(weight);
    const auto firstWeight = static_cast<std::uint16_t>(kOne - weight);
    for (std::size_t i = 0; i < length; ++i) {
        // At most 255 * 256 + 128: sixteen bits, of which the processor handles eight at once.
        const auto sum =
            static_cast<std::uint16_t>(first[i] * firstWeight + second[i] * secondWeight + kHalf);
        target[i] = static_cast<std::uint8_t>(sum >> 8);
    }
}

/// `picture` with `height` rows.
Bitmap withRows(const VideoFrame& picture, int height) {
    Bitmap result(picture.width, height);
    for (int y = 0; y < height; ++y) {
        const auto rows = neighboursOf(y, height, picture.height);
        mix(rowOf(picture, rows.first), rowOf(picture, rows.second), rows.weight, result.row(y),
            result.bytesPerRow());
    }
    return result;
}

/// Rows become columns, from left to right or (`mirror`) from right to left; on black.
Bitmap transposed(const Bitmap& picture, bool mirror) {
    constexpr int kTile = 16; // both sides of a tile stay in the cache
    Bitmap result(picture.height(), picture.width());
    for (int top = 0; top < picture.height(); top += kTile) {
        const int bottom = std::min(top + kTile, picture.height());
        for (int x = 0; x < picture.width(); ++x) {
            std::uint8_t* target = result.row(x);
            for (int y = top; y < bottom; ++y) {
                const int column = mirror ? picture.height() - 1 - y : y;
                setPixel(target, column, pixelAt(picture.row(y), x) | kOpaque);
            }
        }
    }
    return result;
}

} // namespace

Bitmap QuarterTurn::turned(const VideoFrame& picture) const {
    const int width = picture.width;
    const int height = picture.height;
    const int turnedWidth = height * height / width;
    // Counter-clockwise the top row goes to the left, and the left column to the bottom.
    const bool mirrorX = way_.clockwise != way_.mirrorX;
    const bool mirrorY = way_.clockwise == way_.mirrorY;
    const Bitmap columns = transposed(withRows(picture, turnedWidth), mirrorX);

    // Both turns come to lie at the same place, which the mirror moves.
    const int left = way_.mirrorX ? width - height : height - turnedWidth;
    const std::size_t offset = static_cast<std::size_t>(left) * Bitmap::kBytesPerPixel;
    Bitmap result(width, height);
    for (int y = 0; y < height; ++y) {
        std::uint8_t* row = result.row(mirrorY ? height - 1 - y : y);
        const auto rows = neighboursOf(y, height, width);
        fillBlack(row, 0, left);
        mix(columns.row(rows.first), columns.row(rows.second), rows.weight, row + offset,
            columns.bytesPerRow());
        fillBlack(row, left + turnedWidth, width);
    }
    return result;
}

} // namespace ovelo
