#include "platform/DriverCaptureDevices.h"

#include "platform/PictureFileDevice.h"

#include <system_error>
#include <utility>

namespace ovelo {

DriverCaptureDevices::DriverCaptureDevices(std::unique_ptr<CaptureDevices> others)
    : DriverCaptureDevices(std::move(others), Paths()) {
}

DriverCaptureDevices::DriverCaptureDevices(std::unique_ptr<CaptureDevices> others, Paths paths)
    : others_(std::move(others))
    , paths_(std::move(paths))
    , watch_(paths_.component, [this] { refresh(); }) {
    others_->deviceWasConnected().connect(deviceWasConnected().make_slot());
    others_->deviceWasDisconnected().connect(deviceWasDisconnected().make_slot());
    refresh();
}

DriverCaptureDevices::~DriverCaptureDevices() = default;

std::vector<CaptureDevicePointer> DriverCaptureDevices::devices(MediaType type) {
    auto devices = others_->devices(type);
    if (device_ && type == MediaType::Video) {
        devices.push_back(device_);
    }
    return devices;
}

void DriverCaptureDevices::refresh() {
    std::error_code failure; // a folder that cannot be looked into has no component for us
    const bool isInstalled = std::filesystem::exists(paths_.component, failure);
    if (isInstalled && !device_) {
        device_ = std::make_shared<PictureFileDevice>(paths_.picture);
        deviceWasConnected().emit();
    } else if (!isInstalled && device_) {
        const auto gone = std::exchange(device_, nullptr);
        gone->retire("The device was removed.");
        deviceWasDisconnected().emit();
    }
}

} // namespace ovelo
