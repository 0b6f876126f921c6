#pragma once

#include "capture/Bitmap.h"
#include "platform/VideoFrame.h"

namespace ovelo {

class Settings;

/// How the user wants pictures turned and mirrored. The mirrors act on the turned picture.
struct PictureTransform {
    bool flipHorizontally = false; // Kept: the key of this name turns the picture upside down.
    bool flipVertically = false;   // Kept: the key of this name mirrors it left to right.

    /// Quarter turns counter-clockwise; 1 and 3 also shrink the picture to fit. 0 and below: none.
    /// Above 3 the picture is turned about the bottom left corner and not brought back, so that
    /// only every fourth is to be seen.
    int rotation = 0;

    /// What the settings say now.
    static PictureTransform fromSettings(const Settings& settings);

    /// True when a picture comes out as it went in.
    [[nodiscard]] bool isIdentity() const;
};

/// The picture stretched to width x height, then transformed, on opaque black.
///
/// Takes the quick road for each case that has one: moving rows, moving pixels, or shrinking and
/// transposing.
Bitmap transformed(const VideoFrame& picture, int width, int height,
                   const PictureTransform& transform);

/// The same by drawing on a canvas, for every case.
Bitmap drawnTransformed(const VideoFrame& picture, int width, int height,
                        const PictureTransform& transform);

} // namespace ovelo
