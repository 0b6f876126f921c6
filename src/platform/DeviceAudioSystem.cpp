#include "platform/DeviceAudioSystem.h"

#include "platform/CaptureDevices.h"
#include "platform/Console.h"
#include "platform/DeviceAudioQueue.h"
#include "platform/SoundEncoder.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace ovelo {

std::unique_ptr<AudioSystem> AudioSystem::create(CaptureDevices& devices) {
    return std::make_unique<DeviceAudioSystem>(devices);
}

AudioStatus DeviceAudioSystem::newInput(const AudioStreamDescription& format,
                                        AudioQueue::InputHandler handler,
                                        std::unique_ptr<AudioQueue>& queue) {
    queue.reset();
    if (!SoundEncoder::isKnown(format)) {
        return EINVAL;
    }
    auto encoder = SoundEncoder::create(format);
    if (!encoder) {
        console::write(encoder.error());
        return ENOTSUP;
    }
    queue = std::make_unique<DeviceAudioQueue>(
        DeviceAudioQueue::Parts{format, std::move(encoder).value(),
                                [this](CaptureDevice::SoundHandler sound) {
                                    return tapDefaultInput(std::move(sound));
                                }},
        std::move(handler));
    return 0;
}

AudioStatus DeviceAudioSystem::readDeviceCount(std::size_t& count) {
    count = soundingDevices().size();
    return 0;
}

std::vector<CaptureDevicePointer> DeviceAudioSystem::soundingDevices() const {
    auto found = devices_.devices(MediaType::Sound);
    const auto muxed = devices_.devices(MediaType::Muxed);
    found.insert(found.end(), muxed.begin(), muxed.end());
    return found;
}

AudioStatus DeviceAudioSystem::readDevices(std::vector<DeviceId>& devices) {
    auto found = soundingDevices();
    // Who names a device has opened it before; of two with the same name, that one is meant.
    std::stable_partition(found.begin(), found.end(),
                          [](const CaptureDevicePointer& device) { return device->isOpen(); });
    listed_.assign(found.begin(), found.end());
    devices.clear();
    for (DeviceId id = 1; id <= listed_.size(); ++id) {
        devices.push_back(id);
    }
    return 0;
}

AudioStatus DeviceAudioSystem::readInputNameSize(DeviceId device, std::size_t& size) {
    std::string name;
    const AudioStatus status = readInputName(device, name);
    size = name.size();
    return status;
}

AudioStatus DeviceAudioSystem::readInputName(DeviceId device, std::string& name) {
    const auto found = find(device);
    if (!found) {
        return ENODEV;
    }
    name = found->localizedDisplayName();
    return 0;
}

AudioStatus DeviceAudioSystem::setDefaultInput(DeviceId device) {
    const auto found = find(device);
    if (!found) {
        return ENODEV;
    }
    defaultInput_ = found;
    return 0;
}

CaptureDevicePointer DeviceAudioSystem::find(DeviceId device) const {
    return device >= 1 && device <= listed_.size() ? listed_[device - 1].lock() : nullptr;
}

std::unique_ptr<SoundTap>
DeviceAudioSystem::tapDefaultInput(CaptureDevice::SoundHandler handler) const {
    const auto device = defaultInput_.lock();
    return device ? device->tapSound(std::move(handler)) : nullptr;
}

} // namespace ovelo
