#pragma once

#include "platform/GstCaptureDevice.h"
#include "platform/GstVideoDevice.h"
#include "platform/SoundTaps.h"

#include <memory>

namespace ovelo {

/// A microphone, or a source of sound that a text describes.
///
/// Opening shows that its source can be made; it runs while it is open and somebody hears it. One
/// that drops behaves as a GstVideoDevice does.
///
/// lifetime  made by make(); calls that are on their way to the main thread find it gone when it is
class GstSoundDevice final : public GstCaptureDevice {
public:
    using Services = GstVideoDevice::Services;

    static std::shared_ptr<GstSoundDevice> make(Traits traits, Services services);
    ~GstSoundDevice() override;

    [[nodiscard]] std::optional<Failure> open() override;
    void close() override;
    void start(FrameHandler /*handler*/) override {}
    void stop() override {}
    [[nodiscard]] std::unique_ptr<SoundTap> tapSound(SoundHandler handler) override;

private:
    GstSoundDevice(Traits traits, Services services);

    void runWhenHeard();
    void startRun();
    void stopRun();

    const Services services_;
    const std::shared_ptr<SoundTaps> taps_ = std::make_shared<SoundTaps>();
    std::unique_ptr<GstVideoRun> run_; // while open and heard
};

} // namespace ovelo
