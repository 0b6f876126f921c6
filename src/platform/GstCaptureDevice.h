#pragma once

#include "platform/CaptureDevice.h"
#include "platform/GstOrigin.h"

#include <string>
#include <utility>

namespace ovelo {

/// A device whose media come through GStreamer, and that may be taken away.
///
/// thread  main
class GstCaptureDevice : public CaptureDevice {
public:
    struct Traits {
        MediaType type = MediaType::Video;
        std::string name;
        std::string model;
        GstOrigin origin;
    };

    explicit GstCaptureDevice(Traits traits) : traits_(std::move(traits)) {}

    [[nodiscard]] MediaType mediaType() const override { return traits_.type; }
    [[nodiscard]] std::string localizedDisplayName() const override { return traits_.name; }
    [[nodiscard]] std::string uniqueModelIdentifier() const override { return traits_.model; }

    [[nodiscard]] bool isOpen() const override { return isOpen_; }

    /// The device is not there any more, for the reason given: whoever has it open is told.
    void retire(const std::string& reason) { tellEnded(reason); }

protected:
    [[nodiscard]] const Traits& traits() const { return traits_; }

    /// To be called by open() and close(): only an open device can end, and only once.
    void setOpen(bool open) {
        isOpen_ = open;
        canEnd_ = open;
    }

    void tellEnded(const std::string& reason) {
        if (std::exchange(canEnd_, false)) {
            ended().emit(reason);
        }
    }

private:
    const Traits traits_;
    bool isOpen_ = false;
    bool canEnd_ = false;
};

} // namespace ovelo
