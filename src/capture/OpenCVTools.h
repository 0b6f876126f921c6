#pragma once

#include "platform/IplImagePointer.h"
#include "platform/VideoFrame.h"

namespace ovelo {

/// Pictures for OpenCV's classic interface. Any thread.
class OpenCVTools final {
public:
    OpenCVTools() = delete;

    /// A copy of the frame: 8 bits a channel, blue, green, red.
    ///
    /// return  null for a frame without pixels
    static IplImagePointer CreateIplImageFromUIImage(const VideoFrame& frame);
};

} // namespace ovelo
