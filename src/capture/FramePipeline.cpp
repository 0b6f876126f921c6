#include "capture/FramePipeline.h"

#include "capture/Bitmap.h"
#include "capture/ImageUtil.h"
#include "capture/ViewerPicture.h"
#include "platform/Console.h"
#include "platform/DateText.h"
#include "platform/Settings.h"

namespace ovelo {

namespace {

using viewerpicture::kHeight;
using viewerpicture::kWidth;

constexpr float kTimeStampY = 10.0F;
constexpr float kDeviceNameX = 10.0F;
constexpr float kDeviceNameFromTop = 20.0F;

} // namespace

void FramePipeline::captureOutput(const VideoFrame& frame) {
    if (environment_.playbackStarted && environment_.playbackStarted()) {
        return;
    }
    if (environment_.motion) {
        environment_.motion(frame);
    }
    if (!environment_.sink.hasClient() || environment_.sink.shouldSkipFrame()) {
        return;
    }
    const auto jpeg = viewerPicture(frame);
    if (!jpeg && !failed_) {
        console::write("a frame was left out: " + jpeg.error());
    }
    failed_ = !jpeg;
    if (jpeg) {
        environment_.sink.sendImageData(jpeg.value());
    }
}

void FramePipeline::AddTimeStamp(Bitmap& picture, float width, float height) const {
    const auto now = static_cast<std::time_t>(environment_.clock.timeOfDay().seconds);
    ImageUtil::AddText(picture, width, height, datetext::shortStyle(now), width / 3.0F,
                       kTimeStampY);
}

void FramePipeline::AddDeviceName(Bitmap& picture, float width, float height) const {
    const auto name = environment_.deviceName ? environment_.deviceName() : std::nullopt;
    if (name) {
        ImageUtil::AddText(picture, width, height, *name, kDeviceNameX,
                           height - kDeviceNameFromTop);
    }
}

bool FramePipeline::isDrawnOn() const {
    const Settings& settings = environment_.settings;
    return settings.boolean("night_vision") || settings.boolean("show_timestamp") ||
           settings.boolean("show_devicename");
}

Bitmap FramePipeline::workingPicture(const VideoFrame& frame) const {
    const Settings& settings = environment_.settings;
    Bitmap picture = ImageUtil::GetResizedImage(frame, kWidth, kHeight, settings);
    if (settings.boolean("night_vision")) {
        ImageUtil::SetNightVision(picture, kWidth, kHeight);
    }
    if (settings.boolean("show_timestamp")) {
        AddTimeStamp(picture, kWidth, kHeight);
    }
    if (settings.boolean("show_devicename")) {
        AddDeviceName(picture, kWidth, kHeight);
    }
    return picture;
}

Result<Data> FramePipeline::viewerPicture(const VideoFrame& frame) const {
    if (!isDrawnOn()) {
        return viewerpicture::plain(frame, environment_.settings);
    }
    const Bitmap picture = workingPicture(frame);
    return viewerpicture::encode(picture.frame());
}

} // namespace ovelo
