#include "capture/PixelOrder.h"

namespace ovelo {

namespace {

void copyRow(const std::uint8_t* source, std::uint8_t* target, int width) {
    for (int x = 0; x < width; ++x) {
        setPixel(target, x, pixelAt(source, x) | kOpaque);
    }
}

void mirrorRow(const std::uint8_t* source, std::uint8_t* target, int width) {
    for (int x = 0; x < width; ++x) {
        setPixel(target, x, pixelAt(source, width - 1 - x) | kOpaque);
    }
}

} // namespace

void fillBlack(std::uint8_t* row, int begin, int end) {
    for (int x = begin; x < end; ++x) {
        setPixel(row, x, kOpaque);
    }
}

void fillBlack(Bitmap& bitmap) {
    for (int y = 0; y < bitmap.height(); ++y) {
        fillBlack(bitmap.row(y), 0, bitmap.width());
    }
}

Bitmap permuted(const VideoFrame& picture, PixelOrder order) {
    Bitmap bitmap(picture.width, picture.height);
    for (int y = 0; y < picture.height; ++y) {
        const int sourceY = order.mirrorY ? picture.height - 1 - y : y;
        if (order.mirrorX) {
            mirrorRow(rowOf(picture, sourceY), bitmap.row(y), picture.width);
        } else {
            copyRow(rowOf(picture, sourceY), bitmap.row(y), picture.width);
        }
    }
    return bitmap;
}

} // namespace ovelo
