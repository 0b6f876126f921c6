#pragma once

#include "platform/Result.h"
#include "platform/SoundBlock.h"
#include "platform/VideoFrame.h"

#include <sigc++/sigc++.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

/// What a device delivers; Muxed is video with its own sound.
enum class MediaType { Video, Muxed, Sound };

/// The play and stop controls of a tape camera.
struct TapeTransport {
    bool playbackMode = false;
    int speed = 0; // 10000 is the tape's own pace
};

/// One camera or microphone.
///
/// Closed, then open (the hardware is ours), then started (it delivers), and back.
///
/// thread    main, but for the frame handler
/// lifetime  shared by the list of devices and by the input that uses it
class CaptureDevice {
public:
    /// Takes a picture of 320 x 240; called on the device's own thread, one call at a time.
    /// It may wait for the main thread: stop() serves the calls that it waits for.
    using FrameHandler = std::function<void(const VideoFrame&)>;

    /// Takes a stretch of sound; called on the device's own thread, one call at a time for each
    /// tap. It must not wait for the main thread, which may be waiting for this very call.
    using SoundHandler = std::function<void(const SoundBlock&)>;

    CaptureDevice() = default;
    virtual ~CaptureDevice() = default;
    CaptureDevice(const CaptureDevice&) = delete;
    CaptureDevice& operator=(const CaptureDevice&) = delete;

    [[nodiscard]] virtual MediaType mediaType() const = 0;

    /// The name that people see; two devices may bear the same.
    [[nodiscard]] virtual std::string localizedDisplayName() const = 0;

    /// Tells models apart; sent to viewers beside the name.
    [[nodiscard]] virtual std::string uniqueModelIdentifier() const = 0;

    /// Opens the device. return: why not, or nothing when it is open. Never waits for a network.
    [[nodiscard]] virtual std::optional<Failure> open() = 0;

    /// True between open() and close(), also after the device has ended by itself; false for one
    /// that needs no opening.
    [[nodiscard]] virtual bool isOpen() const { return false; }

    /// Ends the delivery and gives the hardware back; harmless when closed.
    virtual void close() = 0;

    /// Delivers pictures to `handler` until stop(). A sound device delivers none.
    virtual void start(FrameHandler handler) = 0;

    /// Returns when the last call of the handler has returned.
    virtual void stop() = 0;

    /// Hears the device's sound, beside any number of others who do; the first tap makes a
    /// microphone run. A muxed device sounds while it is started. A tap on a device that is closed
    /// hears nothing until it is opened again.
    ///
    /// return  null when the device has no sound
    [[nodiscard]] virtual std::unique_ptr<SoundTap> tapSound(SoundHandler /*handler*/) {
        return nullptr;
    }

    /// One text for each stream that is being delivered, for people.
    [[nodiscard]] virtual std::vector<std::string> formatSummaries() const { return {}; }

    /// The tape controls, when the device has any; writing them moves the tape.
    [[nodiscard]] virtual std::optional<TapeTransport> transport() const { return std::nullopt; }
    virtual void setTransport(const TapeTransport& /*transport*/) {}

    /// The device ended by itself while it was open (unplugged, stream over); the text says why.
    /// Emitted on the main thread. Who listens closes the device.
    sigc::signal<void(const std::string&)>& ended() { return ended_; }

    /// formatSummaries() is another one now. Emitted on the main thread.
    sigc::signal<void()>& formatChanged() { return formatChanged_; }

    /// transport() is another one now. Emitted on the main thread.
    sigc::signal<void()>& transportChanged() { return transportChanged_; }

private:
    sigc::signal<void(const std::string&)> ended_;
    sigc::signal<void()> formatChanged_;
    sigc::signal<void()> transportChanged_;
};

using CaptureDevicePointer = std::shared_ptr<CaptureDevice>;

} // namespace ovelo
