#pragma once

#include "platform/GstCaptureDevice.h"
#include "platform/GstDisposal.h"
#include "platform/GstVideoRun.h"

#include <functional>
#include <memory>
#include <string>

namespace ovelo {

/// A camera, a file or a stream.
///
/// A network stream opens without waiting and connects in the background; when it drops, the log is
/// told and it is tried again while started. Every other source that fails or ends tells ended().
///
/// lifetime  made by make(); calls that are on their way to the main thread find it gone when it is
class GstVideoDevice final : public GstCaptureDevice {
public:
    /// What all devices share.
    struct Services {
        std::shared_ptr<GstDisposal> disposal;
        std::function<void(const std::string&)> log; // takes a line, on any thread; may be empty
        GstPatience patience;
    };

    static std::shared_ptr<GstVideoDevice> make(Traits traits, Services services);
    ~GstVideoDevice() override;

    [[nodiscard]] std::optional<Failure> open() override;
    void close() override;
    void start(FrameHandler handler) override;
    void stop() override;
    [[nodiscard]] std::unique_ptr<SoundTap> tapSound(SoundHandler handler) override;

private:
    GstVideoDevice(Traits traits, Services services);

    [[nodiscard]] GstOutlets newOutlets() const;

    const Services services_;
    const std::shared_ptr<SoundTaps> taps_; // null without sound
    GstOutlets outlets_;
    std::unique_ptr<GstVideoPipeline> pipeline_; // open and not started, else null
    std::unique_ptr<GstVideoRun> run_;           // while started
};

} // namespace ovelo
