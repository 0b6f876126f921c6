#include "capture/OpenCVTools.h"

#include <opencv2/imgproc/imgproc_c.h>

namespace ovelo {

namespace {

constexpr int kSourceChannels = 4;
constexpr int kResultChannels = 3;

} // namespace

IplImagePointer OpenCVTools::CreateIplImageFromUIImage(const VideoFrame& frame) {
    if (frame.pixels == nullptr || frame.width <= 0 || frame.height <= 0) {
        return nullptr;
    }
    const CvSize size = cvSize(frame.width, frame.height);
    // Over the frame's own memory, which is only read.
    IplImage source{};
    cvInitImageHeader(&source, size, IPL_DEPTH_8U, kSourceChannels);
    cvSetData(
        &source, const_cast<std::uint8_t*>(frame.pixels),
        static_cast<int>(
            frame.bytesPerRow)); // NOLINT(cppcoreguidelines-pro-type-const-cast): old interface
    IplImagePointer result(cvCreateImage(size, IPL_DEPTH_8U, kResultChannels));
    cvCvtColor(&source, result.get(), CV_RGBA2BGR);
    return result;
}

} // namespace ovelo
