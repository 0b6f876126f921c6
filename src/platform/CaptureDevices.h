#pragma once

#include "platform/CaptureDevice.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ovelo {

class Settings;

/// The cameras and microphones there are, and news of their coming and going.
///
/// thread  main; signals are emitted there
class CaptureDevices {
public:
    CaptureDevices() = default;
    virtual ~CaptureDevices() = default;
    CaptureDevices(const CaptureDevices&) = delete;
    CaptureDevices& operator=(const CaptureDevices&) = delete;

    /// The devices of one kind: real ones first, then those of the setting "captureSources" in its
    /// order, then the demo devices. The same device is the same object at each call.
    [[nodiscard]] virtual std::vector<CaptureDevicePointer> devices(MediaType type) = 0;

    /// A device came or went: ask again.
    sigc::signal<void()>& deviceWasConnected() { return connected_; }
    sigc::signal<void()>& deviceWasDisconnected() { return disconnected_; }

    /// Begins to look for devices on a thread of its own, so that the rest of the start need not
    /// wait. Call once, first thing in main, but after the last change of the environment: the
    /// thread reads it.
    static void prepare();

    /// The computer's devices. Waits for prepare() to finish.
    ///
    /// log  takes a complete line about a stream that drops, on any thread; may be empty
    static std::unique_ptr<CaptureDevices> create(Settings& settings,
                                                  std::function<void(const std::string&)> log = {});

private:
    sigc::signal<void()> connected_;
    sigc::signal<void()> disconnected_;
};

} // namespace ovelo
