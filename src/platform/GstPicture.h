#pragma once

#include "platform/GstTypes.h"
#include "platform/VideoFrame.h"

#include <optional>

namespace ovelo {

/// Makes a frame of a sample of 320 x 240 RGBA; copies it only where somebody who keeps it would
/// starve the source.
///
/// return  nothing when the sample cannot be looked at
/// thread  any
[[nodiscard]] std::optional<VideoFrame> frameOfPicture(GstPointer<GstSample> sample);

} // namespace ovelo
