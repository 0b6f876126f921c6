#pragma once

#include "capture/Bitmap.h"
#include "platform/VideoFrame.h"

#include <string_view>

namespace ovelo {

class Settings;

/// Makes a captured frame the picture that viewers get.
///
/// Sizes are in pixels; what is behind their decimal point is cut off.
///
/// thread  any, each bitmap on one at a time
class ImageUtil final {
public:
    ImageUtil() = delete;

    /// The frame stretched to width x height, turned and mirrored as the settings
    /// "flip_horizontally", "flip_vertically" and "rotate_val" say, on opaque black.
    ///
    /// errors  a frame without pixels is black
    static Bitmap GetResizedImage(const VideoFrame& frame, float width, float height,
                                  const Settings& settings);

    /// Makes the picture green, two and a half times as bright as its grey.
    static void SetNightVision(Bitmap& bitmap, float width, float height);

    /// Draws white letters that run upward at about 57 degrees.
    ///
    /// text      one character for each byte, up to the first NUL, in MacRoman
    /// x, y      where the text begins, from the bottom left
    /// lifetime  the text's shape is kept for the next picture
    static void AddText(Bitmap& bitmap, float width, float height, std::string_view text, float x,
                        float y);
};

} // namespace ovelo
