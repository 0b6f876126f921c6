#pragma once

#include "platform/AudioQueue.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ovelo {

class CaptureDevices;

/// The computer's sound hardware, and what records from it.
///
/// errors  every operation tells its status
/// thread  main
class AudioSystem {
public:
    using DeviceId = std::uint32_t;

    AudioSystem() = default;
    virtual ~AudioSystem() = default;
    AudioSystem(const AudioSystem&) = delete;
    AudioSystem& operator=(const AudioSystem&) = delete;

    /// A queue that records from the default input.
    ///
    /// errors    EINVAL for a format that is not known, ENOTSUP when its encoder is not installed,
    ///           which is said on standard error; `queue` is null then
    /// lifetime  the queue is given up before the system
    [[nodiscard]] virtual AudioStatus newInput(const AudioStreamDescription& format,
                                               AudioQueue::InputHandler handler,
                                               std::unique_ptr<AudioQueue>& queue) = 0;

    /// How many devices readDevices() will give.
    [[nodiscard]] virtual AudioStatus readDeviceCount(std::size_t& count) = 0;

    /// The devices; their ids are valid until the next call. Of several with the same name those
    /// that are in use come first.
    [[nodiscard]] virtual AudioStatus readDevices(std::vector<DeviceId>& devices) = 0;

    /// The bytes of a device's name as an input; 0 when it is none.
    [[nodiscard]] virtual AudioStatus readInputNameSize(DeviceId device, std::size_t& size) = 0;

    [[nodiscard]] virtual AudioStatus readInputName(DeviceId device, std::string& name) = 0;

    /// Makes this the device that queues record from when they start. There is none at first. The
    /// user's own choice for other programs stays as it is.
    [[nodiscard]] virtual AudioStatus setDefaultInput(DeviceId device) = 0;

    /// The sound and muxed devices of `devices`, by their display names; a queue hears one while it is open.
    ///
    /// lifetime  `devices` outlives the system
    static std::unique_ptr<AudioSystem> create(CaptureDevices& devices);
};

} // namespace ovelo
