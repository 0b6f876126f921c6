// The lists, and the choice by name.

#include "app/SourceSelection.h"

#include "app/NetworkCameras.h"
#include "support/Logger.h"

#include <algorithm>
#include <cctype>

namespace ovelo {

namespace {

constexpr std::string_view kCameraPrefix = "IP Cam: ";
constexpr std::string_view kCameraMark = "IP Cam";
constexpr std::string_view kVirtualDevice = "Kavrin IPCam";

bool isBluetooth(const CaptureDevicePointer& device) {
    std::string name = device->localizedDisplayName();
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return name.find("bluetooth") != std::string::npos;
}

bool contains(const SourceSelection::DeviceList& list, const CaptureDevicePointer& device) {
    return std::find(list.begin(), list.end(), device) != list.end();
}

} // namespace

SourceSelection::SourceSelection(CaptureDevices& devices, CaptureSession& session,
                                 NetworkCameras* cameras, AudioInput audio, Logger& log)
    : devices_(devices)
    , session_(session)
    , cameras_(cameras)
    , audio_(std::move(audio))
    , log_(log) {
    publishForViewers();
}

SourceSelection::~SourceSelection() {
    removeInput(videoDeviceInput_);
    removeInput(audioDeviceInput_);
}

void SourceSelection::refreshDevices() {
    DeviceList video = devices_.devices(MediaType::Video);
    const DeviceList muxed = devices_.devices(MediaType::Muxed);
    video.insert(video.end(), muxed.begin(), muxed.end());
    videoDevices_ = std::move(video);
    announce("videoDevices");
    videoDeviceNames_ = offeredNames();
    announce("videoDeviceNames");
    DeviceList audio = devices_.devices(MediaType::Sound);
    std::erase_if(audio, isBluetooth);
    audioDevices_ = std::move(audio);
    announce("audioDevices");

    if (videoDeviceInput_ && !contains(*videoDevices_, selectedVideoDevice())) {
        setSelectedVideoDevice(nullptr);
    }
    if (audioDeviceInput_ && !contains(*audioDevices_, selectedAudioDevice())) {
        setSelectedAudioDevice(nullptr);
    }
    publishForViewers();
}

const SourceSelection::DeviceList& SourceSelection::videoDevices() {
    if (!videoDevices_) {
        refreshDevices();
    }
    return *videoDevices_;
}

const SourceSelection::Names& SourceSelection::videoDeviceNames() {
    if (!videoDeviceNames_) {
        refreshDevices();
    }
    return *videoDeviceNames_;
}

const SourceSelection::DeviceList& SourceSelection::audioDevices() {
    if (!audioDevices_) {
        refreshDevices();
    }
    return *audioDevices_;
}

void SourceSelection::dropVideoDeviceNames() {
    videoDeviceNames_.reset();
}

SourceSelection::Names SourceSelection::offeredNames() const {
    Names names;
    for (const auto& device : *videoDevices_) {
        const std::string name = device->localizedDisplayName();
        if (name != kVirtualDevice) {
            names.push_back(name);
        } else if (cameras_ != nullptr) {
            for (const auto& camera : cameras_->cameras()) {
                names.push_back(std::string(kCameraPrefix) + camera.name);
            }
        }
    }
    return names;
}

CaptureDevicePointer SourceSelection::videoDeviceNamed(const std::string& name) const {
    if (!videoDevices_) {
        return nullptr;
    }
    const auto found =
        std::find_if(videoDevices_->begin(), videoDevices_->end(),
                     [&](const auto& device) { return device->localizedDisplayName() == name; });
    return found == videoDevices_->end() ? nullptr : *found;
}

std::optional<std::string> SourceSelection::selectedVideoDeviceName() const {
    const auto device = selectedVideoDevice();
    if (!device) {
        return std::nullopt;
    }
    const std::string name = device->localizedDisplayName();
    if (name == kVirtualDevice && curPlayingCam_) {
        return std::string(kCameraPrefix) + *curPlayingCam_;
    }
    return name;
}

void SourceSelection::setSelectedVideoDeviceName(const std::string& name) {
    if (curPlayingCam_) {
        cameras_->stop(*curPlayingCam_);
        curPlayingCam_.reset();
    }
    videoDevices(); // built by the first use
    if (const auto device = videoDeviceNamed(name)) {
        setSelectedVideoDevice(device);
        return;
    }
    const auto virtualDevice = videoDeviceNamed(std::string(kVirtualDevice));
    const std::optional<std::string> camera = cameraOf(name);
    if (!camera || !virtualDevice) {
        setSelectedVideoDevice(nullptr);
        return;
    }
    cameras_->start(*camera);
    curPlayingCam_ = camera;
    setSelectedVideoDevice(virtualDevice);
}

/// The name of the network camera that a source name means, if the list has it.
std::optional<std::string> SourceSelection::cameraOf(const std::string& sourceName) const {
    if (!sourceName.starts_with(kCameraMark) || cameras_ == nullptr) {
        return std::nullopt;
    }
    const std::string wanted = sourceName.substr(std::min(sourceName.size(), kCameraPrefix.size()));
    for (const auto& camera : cameras_->cameras()) {
        if (camera.name == wanted) {
            return wanted;
        }
    }
    return std::nullopt;
}

std::string SourceSelection::identifierOf(const std::string& sourceName) const {
    if (!sourceName.starts_with(kCameraMark)) {
        const auto device = videoDeviceNamed(sourceName);
        return device ? device->uniqueModelIdentifier() : std::string();
    }
    if (const auto name = cameraOf(sourceName)) {
        for (const auto& camera : cameras_->cameras()) {
            if (camera.name == *name) {
                return camera.urlString;
            }
        }
    }
    return {};
}

} // namespace ovelo
