#include "platform/CaptureSession.h"

#include <algorithm>
#include <utility>

namespace ovelo {

namespace {

bool deliversPictures(const CaptureDeviceInput& input) {
    return input.device()->mediaType() != MediaType::Sound;
}

} // namespace

CaptureSession::~CaptureSession() {
    stopRunning();
}

void CaptureSession::setPreview(FrameHandler handler) {
    const std::lock_guard lock(previewLock_);
    preview_ = std::move(handler);
}

std::optional<Failure> CaptureSession::addInput(const std::shared_ptr<CaptureDeviceInput>& input) {
    const auto inTheWay = std::find_if(inputs_.begin(), inputs_.end(), [&](const auto& other) {
        return deliversPictures(*other) == deliversPictures(*input);
    });
    if (inTheWay != inputs_.end()) {
        return Failure{"The session has an input of this kind already."};
    }
    inputs_.push_back(input);
    if (running_) {
        start(*input);
    }
    return std::nullopt;
}

void CaptureSession::removeInput(const std::shared_ptr<CaptureDeviceInput>& input) {
    if (std::erase(inputs_, input) > 0 && running_) {
        input->device()->stop();
    }
}

void CaptureSession::startRunning() {
    if (std::exchange(running_, true)) {
        return;
    }
    for (const auto& input : inputs_) {
        start(*input);
    }
}

void CaptureSession::stopRunning() {
    if (!std::exchange(running_, false)) {
        return;
    }
    for (const auto& input : inputs_) {
        input->device()->stop();
    }
}

void CaptureSession::start(CaptureDeviceInput& input) {
    input.device()->start([this](const VideoFrame& frame) { deliver(frame); });
}

void CaptureSession::deliver(const VideoFrame& frame) {
    if (output_) {
        output_(frame);
    }
    const std::lock_guard lock(previewLock_);
    if (preview_) {
        preview_(frame);
    }
}

} // namespace ovelo
