#pragma once

#include "platform/Data.h"
#include "platform/Result.h"
#include "platform/VideoFrame.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace ovelo {

/// What a camera's grabber needs of picture making.
///
/// thread  any; several grabbers may ask at a time
class CameraPictures {
public:
    CameraPictures() = default;
    virtual ~CameraPictures() = default;
    CameraPictures(const CameraPictures&) = delete;
    CameraPictures& operator=(const CameraPictures&) = delete;

    /// errors  no JPEG, damaged, CMYK, or larger than 8192 x 8192
    virtual Result<VideoFrame> decode(std::span<const std::uint8_t> jpeg) = 0;

    /// The picture stretched to 320 x 240 RGBA, whatever its own size or shape.
    virtual Bytes fill(const VideoFrame& picture) = 0;

    /// Writes a line of text across the middle of a picture of 320 x 240 RGBA.
    virtual void drawLine(Bytes& rgba, std::string_view text) = 0;
};

} // namespace ovelo
