#include "capture/PictureTransform.h"

#include "capture/PixelOrder.h"
#include "capture/QuarterTurn.h"
#include "platform/Settings.h"

#include <algorithm>
#include <numbers>

namespace ovelo {

namespace {

constexpr int kFullTurn = 4; // quarter turns

bool isEmpty(const VideoFrame& picture) {
    return picture.pixels == nullptr || picture.width <= 0 || picture.height <= 0;
}

Bitmap blackBitmap(int width, int height) {
    Bitmap bitmap(width, height);
    fillBlack(bitmap);
    return bitmap;
}

Bitmap stretched(const VideoFrame& picture, int width, int height) {
    Bitmap bitmap(width, height);
    stretch(picture, bitmap.surface());
    return bitmap;
}

/// `picture` has the size that the result shall have.
Bitmap transformedSameSize(const VideoFrame& picture, const PictureTransform& transform) {
    const int rotation = std::max(transform.rotation, 0);
    const bool quarter = rotation == 1 || rotation == 3;
    if (rotation > kFullTurn && rotation % kFullTurn != 0) {
        return blackBitmap(picture.width, picture.height); // turned out of sight
    }
    if (!quarter) {
        const bool half = rotation == 2;
        return permuted(picture, {.mirrorX = transform.flipVertically != half,
                                  .mirrorY = transform.flipHorizontally != half});
    }
    if (!QuarterTurn::canTurn(picture.width, picture.height)) {
        return drawnTransformed(picture, picture.width, picture.height, transform);
    }
    return QuarterTurn({.clockwise = rotation == 3,
                        .mirrorX = transform.flipVertically,
                        .mirrorY = transform.flipHorizontally})
        .turned(picture);
}

} // namespace

PictureTransform PictureTransform::fromSettings(const Settings& settings) {
    return {settings.boolean("flip_horizontally"), settings.boolean("flip_vertically"),
            settings.integer("rotate_val")};
}

bool PictureTransform::isIdentity() const {
    return !flipHorizontally && !flipVertically && (rotation <= 0 || rotation % kFullTurn == 0);
}

Bitmap transformed(const VideoFrame& picture, int width, int height,
                   const PictureTransform& transform) {
    if (isEmpty(picture) || width <= 0 || height <= 0) {
        return blackBitmap(std::max(width, 0), std::max(height, 0));
    }
    if (picture.width == width && picture.height == height) {
        return transformedSameSize(picture, transform);
    }
    const Bitmap fitting = stretched(picture, width, height);
    return transformedSameSize(fitting.frame(), transform);
}

Bitmap drawnTransformed(const VideoFrame& picture, int width, int height,
                        const PictureTransform& transform) {
    Bitmap bitmap(width, height);
    Canvas canvas(bitmap.surface());
    canvas.fillBlack();
    if (transform.flipHorizontally) {
        canvas.scale(1, -1);
        canvas.translate(0, -height);
    }
    if (transform.flipVertically) {
        canvas.scale(-1, 1);
        canvas.translate(-width, 0);
    }
    const int rotation = transform.rotation;
    const double shrink = static_cast<double>(height) / width;
    if (rotation == 1) {
        canvas.translate(height, 0);
        canvas.scale(shrink, shrink);
    } else if (rotation == 2) {
        canvas.translate(width, height);
    } else if (rotation == 3) {
        canvas.translate(0, height);
        canvas.scale(shrink, shrink);
        canvas.translate(width - height, 0);
    }
    if (rotation > 0) {
        canvas.rotate((rotation % kFullTurn) * std::numbers::pi / 2);
    }
    canvas.drawImage(picture, width, height);
    return bitmap;
}

} // namespace ovelo
