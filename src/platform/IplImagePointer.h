#pragma once

#include <opencv2/core/core_c.h>

#include <memory>

namespace ovelo {

/// Gives an OpenCV image back.
struct IplImageDeleter {
    void operator()(IplImage* image) const noexcept { cvReleaseImage(&image); }
};

using IplImagePointer = std::unique_ptr<IplImage, IplImageDeleter>;

} // namespace ovelo
