#pragma once

#include "platform/GstCaptureDevice.h"

namespace ovelo {

/// A microphone, or a source of sound that a text describes.
///
/// Opening shows that its source can be made. Its sound is captured by whoever measures and encodes
/// it, which finds it by its name; the session only has it among its inputs.
class GstSoundDevice final : public GstCaptureDevice {
public:
    using GstCaptureDevice::GstCaptureDevice;

    [[nodiscard]] std::optional<Failure> open() override;
    void close() override { setOpen(false); }
    void start(FrameHandler /*handler*/) override {}
    void stop() override {}
};

} // namespace ovelo
