#pragma once

#include <optional>
#include <string>

typedef struct _GstCaps GstCaps;

namespace ovelo {

/// One format that a camera can deliver.
struct CameraFormat {
    bool isJpeg = false;
    std::string caps; // as GStreamer writes it, with a fixed size and pace
};

/// Chooses what costs least and still looks right at 320 x 240: the smallest size that is not
/// smaller than that, at 15 to 30 pictures a second, uncompressed rather than JPEG.
///
/// offered  all that the camera can do; null is nothing
/// return   nothing when no format can be used
[[nodiscard]] std::optional<CameraFormat> chooseCameraFormat(const GstCaps* offered);

} // namespace ovelo
