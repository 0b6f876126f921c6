#pragma once

#include "ipcam/CameraPictures.h"

namespace ovelo {

/// Picture making by libjpeg-turbo and the canvas.
class JpegCameraPictures final : public CameraPictures {
public:
    Result<VideoFrame> decode(std::span<const std::uint8_t> jpeg) override;
    Bytes fill(const VideoFrame& picture) override;

    /// errors  without a graphical Qt application the line stays empty
    void drawLine(Bytes& rgba, std::string_view text) override;
};

} // namespace ovelo
