#pragma once

#include "platform/AudioSystem.h"
#include "platform/CaptureDevice.h"

#include <memory>
#include <vector>

namespace ovelo {

class CaptureDevices;

/// The capture devices that have sound, as sound hardware.
class DeviceAudioSystem final : public AudioSystem {
public:
    explicit DeviceAudioSystem(CaptureDevices& devices) : devices_(devices) {}

    [[nodiscard]] AudioStatus newInput(const AudioStreamDescription& format,
                                       AudioQueue::InputHandler handler,
                                       std::unique_ptr<AudioQueue>& queue) override;
    [[nodiscard]] AudioStatus readDeviceCount(std::size_t& count) override;
    [[nodiscard]] AudioStatus readDevices(std::vector<DeviceId>& devices) override;
    [[nodiscard]] AudioStatus readInputNameSize(DeviceId device, std::size_t& size) override;
    [[nodiscard]] AudioStatus readInputName(DeviceId device, std::string& name) override;
    [[nodiscard]] AudioStatus setDefaultInput(DeviceId device) override;

private:
    [[nodiscard]] std::vector<CaptureDevicePointer> soundingDevices() const;
    [[nodiscard]] CaptureDevicePointer find(DeviceId device) const;
    [[nodiscard]] std::unique_ptr<SoundTap>
    tapDefaultInput(CaptureDevice::SoundHandler handler) const;

    CaptureDevices& devices_;                          // given
    std::vector<std::weak_ptr<CaptureDevice>> listed_; // an id is the place in it, from 1
    std::weak_ptr<CaptureDevice> defaultInput_;
};

} // namespace ovelo
