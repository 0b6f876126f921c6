#pragma once

#include "platform/VideoFrame.h"

#include <opencv2/core/core_c.h>

#include <memory>

namespace ovelo {

/// Gives an OpenCV image back.
struct IplImageDeleter {
    void operator()(IplImage* image) const noexcept { cvReleaseImage(&image); }
};

using IplImagePointer = std::unique_ptr<IplImage, IplImageDeleter>;

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
