#include "platform/CaptureSession.h"

#include "platform/MovieFileOutput.h"

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
    listen();
    return std::nullopt;
}

void CaptureSession::removeInput(const std::shared_ptr<CaptureDeviceInput>& input) {
    if (std::erase(inputs_, input) == 0) {
        return;
    }
    listen();
    if (running_) {
        input->device()->stop();
    }
}

std::optional<Failure> CaptureSession::addOutput(MovieFileOutput& movie) {
    if (movie_ != nullptr) {
        return Failure{"The session has a movie already."};
    }
    {
        const std::lock_guard lock(movieLock_);
        movie_ = &movie;
        hasMovie_ = true;
    }
    listen();
    return std::nullopt;
}

void CaptureSession::removeOutput(MovieFileOutput& movie) {
    if (movie_ != &movie) {
        return;
    }
    tap_.reset();
    heard_.reset();
    const std::lock_guard lock(movieLock_);
    hasMovie_ = false;
    movie_ = nullptr;
}

void CaptureSession::startRunning() {
    if (std::exchange(running_, true)) {
        return;
    }
    for (const auto& input : inputs_) {
        start(*input);
    }
    listen();
}

void CaptureSession::stopRunning() {
    if (!std::exchange(running_, false)) {
        return;
    }
    listen();
    for (const auto& input : inputs_) {
        input->device()->stop();
    }
}

void CaptureSession::start(CaptureDeviceInput& input) {
    input.device()->start([this](const VideoFrame& frame) { deliver(frame); });
}

CaptureDevicePointer CaptureSession::soundingDevice() const {
    CaptureDevicePointer found;
    for (const auto& input : inputs_) {
        const MediaType type = input->device()->mediaType();
        if (type == MediaType::Sound || (type == MediaType::Muxed && !found)) {
            found = input->device();
        }
    }
    return found;
}

/// Has the movie hear the device that is to be heard now.
void CaptureSession::listen() {
    const CaptureDevicePointer device =
        movie_ != nullptr && running_ ? soundingDevice() : CaptureDevicePointer();
    if (device == heard_) {
        return;
    }
    tap_.reset();
    heard_ = device;
    if (device) {
        tap_ = device->tapSound(
            [movie = movie_](const SoundBlock& block) { movie->takeSound(block); });
    }
}

void CaptureSession::deliverToMovie(const VideoFrame& frame) {
    const auto now = std::chrono::steady_clock::now();
    const std::lock_guard lock(movieLock_);
    if (movie_ != nullptr) {
        movie_->takePicture(frame, now);
    }
}

void CaptureSession::deliver(const VideoFrame& frame) {
    if (hasMovie_) {
        deliverToMovie(frame);
    }
    if (output_) {
        output_(frame);
    }
    const std::lock_guard lock(previewLock_);
    if (preview_) {
        preview_(frame);
    }
}

} // namespace ovelo
