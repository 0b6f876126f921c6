#pragma once

#include "platform/GstCaptureDevice.h"
#include "platform/GstVideoDevice.h"
#include "platform/SoundTaps.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ovelo {

/// A microphone, or a source of sound that a text describes.
///
/// Opening shows that its source can be made; it runs while it is open and somebody hears it. One
/// that drops behaves as a GstVideoDevice does.
///
/// lifetime  made by make(); calls that are on their way to the main thread find it gone when it is
class GstSoundDevice final : public GstCaptureDevice,
                             public std::enable_shared_from_this<GstSoundDevice> {
public:
    using Services = GstVideoDevice::Services;

    static std::shared_ptr<GstSoundDevice> make(Traits traits, Services services);
    ~GstSoundDevice() override;

    [[nodiscard]] std::optional<Failure> open() override;
    void close() override;
    void start(FrameHandler /*handler*/) override {}
    void stop() override {}
    [[nodiscard]] std::unique_ptr<SoundTap> tapSound(SoundHandler handler) override;
    [[nodiscard]] std::vector<std::string> formatSummaries() const override;

private:
    GstSoundDevice(Traits traits, Services services);

    void runWhenHeard();
    void startRun();
    void stopRun();
    std::function<void(const std::string&)>
    onMainThread(void (GstSoundDevice::*operation)(std::uint64_t, const std::string&));
    void runEnded(std::uint64_t run, const std::string& reason);
    void formatIs(std::uint64_t run, const std::string& format);

    const Services services_;
    const std::shared_ptr<SoundTaps> taps_ = std::make_shared<SoundTaps>();
    std::unique_ptr<GstVideoRun> run_; // while open and heard
    std::uint64_t runNumber_ = 0;      // tells news of an earlier run apart
    std::string format_;
};

} // namespace ovelo
