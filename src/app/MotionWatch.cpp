#include "app/MotionWatch.h"

#include "app/MovieRecording.h"
#include "capture/Bitmap.h"
#include "capture/ImageUtil.h"
#include "capture/OpenCVTools.h"

#include <memory>
#include <utility>

namespace ovelo {

namespace {

VideoFrame resizedFrame(const VideoFrame& frame, float width, float height,
                        const Settings& settings) {
    const auto bitmap =
        std::make_shared<Bitmap>(ImageUtil::GetResizedImage(frame, width, height, settings));
    VideoFrame resized = bitmap->frame();
    resized.owner = bitmap;
    return resized;
}

} // namespace

MotionWatch::MotionWatch(const Environment& environment)
    : recording_(environment.recording)
    , command_({environment.settings, environment.clock, environment.log})
    , detector_(detectorEnvironment(environment)) {
}

MotionDetector::Environment MotionWatch::detectorEnvironment(const Environment& environment) {
    return {
        .settings = environment.settings,
        .clock = environment.clock,
        .log = environment.log,
        .GetResizedImage =
            [&settings = environment.settings](const VideoFrame& frame, float width, float height) {
                return resizedFrame(frame, width, height, settings);
            },
        .CreateIplImageFromUIImage = &OpenCVTools::CreateIplImageFromUIImage,
        .sendMotionEmail = environment.sendMotionEmail,
        .sendPushNotification = environment.sendPushNotification,
        .alertCommand = [this](const MotionEvent& event) { command_.motion(event); }};
}

void MotionWatch::stop() {
    isStopped_ = true;
    command_.stop();
}

void MotionWatch::startRecording() {
    if (!isStopped_) {
        recording_.startRecording();
    }
}

void MotionWatch::stopRecording() {
    if (!isStopped_) {
        recording_.stopRecording();
    }
}

} // namespace ovelo
