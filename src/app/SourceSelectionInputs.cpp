// The session's inputs: opening, closing, and what a device tells while it is in use.

#include "app/DocumentWindow.h"
#include "app/SourceSelection.h"
#include "support/Logger.h"

#include <fmt/format.h>

#include <exception>
#include <initializer_list>

namespace ovelo {

namespace {

/// What the log shows for a device, or for none.
std::string nameOf(const CaptureDevicePointer& device) {
    return device ? device->localizedDisplayName() : "(null)";
}

constexpr int kTapePace = 10000;

} // namespace

CaptureDevicePointer SourceSelection::selectedVideoDevice() const {
    return videoDeviceInput_ ? videoDeviceInput_->device() : nullptr;
}

CaptureDevicePointer SourceSelection::selectedAudioDevice() const {
    return audioDeviceInput_ ? audioDeviceInput_->device() : nullptr;
}

bool SourceSelection::hasRecordingDevice() const {
    return videoDeviceInput_ || audioDeviceInput_;
}

bool SourceSelection::selectedVideoDeviceProvidesAudio() const {
    return videoDeviceInput_ && videoDeviceInput_->device()->mediaType() != MediaType::Video;
}

void SourceSelection::setSelectedVideoDevice(const CaptureDevicePointer& device) {
    removeInput(videoDeviceInput_);
    videoDeviceWillChange_.emit();
    if (device) {
        videoDeviceInput_ = openInput(device, "video");
    }
    announceVideoDevice();
    if (device && !videoDeviceInput_) {
        return;
    }
    if (selectedVideoDeviceProvidesAudio()) {
        setSelectedAudioDevice(nullptr);
        hear(device);
    }
    log_.write(fmt::format("Set video device completed: {}\n", nameOf(device)));
}

void SourceSelection::setSelectedAudioDevice(const CaptureDevicePointer& device) {
    removeInput(audioDeviceInput_);
    if (device && !selectedVideoDeviceProvidesAudio()) {
        audioDeviceInput_ = openInput(device, "audio");
        if (audioDeviceInput_) {
            hear(device);
            log_.write(fmt::format("Set audio device completed: {}\n", nameOf(device)));
        }
    }
    announceAudioDevice();
}

void SourceSelection::hear(const CaptureDevicePointer& device) {
    const std::string name = device->localizedDisplayName();
    try {
        audio_(name);
    } catch (const std::exception& failure) {
        log_.write(fmt::format("setAudioInputDevice failed: {} - {}\n", name, failure.what()));
    }
}

/// return  null when the device cannot be used; the user and the log know why then
std::shared_ptr<CaptureDeviceInput> SourceSelection::openInput(const CaptureDevicePointer& device,
                                                               const std::string& kind) {
    if (const auto failure = device->open()) {
        report(fmt::format("Open {} device failed", kind), *device, *failure);
        return nullptr;
    }
    auto input = std::make_shared<CaptureDeviceInput>(device);
    if (const auto failure = session_.addInput(input)) {
        device->close();
        report(fmt::format("Add {} device failed", kind), *device, *failure);
        return nullptr;
    }
    watch(device);
    return input;
}

void SourceSelection::report(const std::string& what, const CaptureDevice& device,
                             const Failure& failure) {
    const std::string name = device.localizedDisplayName();
    if (window_ != nullptr) {
        window_->presentError(fmt::format("\"{}\" cannot be used.", name), failure.text);
    }
    log_.write(fmt::format("{}: {} - {}\n", what, name, failure.text));
}

void SourceSelection::removeInput(std::shared_ptr<CaptureDeviceInput>& input) {
    if (!input) {
        return;
    }
    const auto removed = std::move(input);
    input.reset();
    auto& watches = watches_[removed->device().get()];
    for (auto& connection : watches) {
        connection.disconnect();
    }
    watches_.erase(removed->device().get());
    session_.removeInput(removed);
    removed->device()->close();
}

void SourceSelection::watch(const CaptureDevicePointer& device) {
    const std::weak_ptr<CaptureDevice> watched = device;
    auto& watches = watches_[device.get()];
    watches.push_back(device->ended().connect([this, watched](const std::string& reason) {
        if (const auto ended = watched.lock()) {
            deviceEnded(ended, reason);
        }
    }));
    watches.push_back(device->formatChanged().connect([this] { announce("mediaFormatSummary"); }));
    watches.push_back(device->transportChanged().connect([this, watched] {
        if (watched.lock() == controllableDevice()) {
            announce("devicePlaying");
        }
    }));
}

void SourceSelection::deviceEnded(const CaptureDevicePointer& device, const std::string& reason) {
    log_.write(fmt::format("Capture device ended: {} - {}\n", nameOf(device), reason));
    if (device == selectedVideoDevice()) {
        setSelectedVideoDevice(nullptr);
    } else if (device == selectedAudioDevice()) {
        setSelectedAudioDevice(nullptr);
    }
    refreshDevices();
}

CaptureDevicePointer SourceSelection::controllableDevice() const {
    const auto device = selectedVideoDevice();
    return device && device->transport() ? device : nullptr;
}

bool SourceSelection::isDevicePlaying() const {
    const auto device = controllableDevice();
    const auto transport = device ? device->transport() : std::nullopt;
    return transport && transport->playbackMode && transport->speed == kTapePace;
}

void SourceSelection::setDevicePlaying(bool playing) {
    if (const auto device = controllableDevice()) {
        device->setTransport({true, playing ? kTapePace : 0});
    }
}

void SourceSelection::stopDevice() {
    if (const auto device = controllableDevice()) {
        device->setTransport({false, 0});
    }
}

std::optional<std::string> SourceSelection::mediaFormatSummary() const {
    if (!hasRecordingDevice()) {
        return std::nullopt;
    }
    std::string text;
    for (const auto& device : {selectedVideoDevice(), selectedAudioDevice()}) {
        for (const auto& line : device ? device->formatSummaries() : std::vector<std::string>()) {
            text += line + "\n";
        }
    }
    return text;
}

void SourceSelection::announce(const std::string& property) {
    propertyChanged_.emit(property);
}

void SourceSelection::announceVideoDevice() {
    publishForViewers();
    for (const char* property : {"selectedVideoDevice", "hasRecordingDevice", "controllableDevice",
                                 "selectedVideoDeviceProvidesAudio", "mediaFormatSummary"}) {
        announce(property);
    }
}

void SourceSelection::announceAudioDevice() {
    publishForViewers();
    for (const char* property :
         {"selectedAudioDevice", "hasRecordingDevice", "mediaFormatSummary"}) {
        announce(property);
    }
}

} // namespace ovelo
