#pragma once

#include "platform/CaptureSourceEntry.h"
#include "platform/GstTypes.h"

#include <memory>
#include <string>

namespace ovelo {

/// Where the media of a device comes from: hardware, or what a text describes.
struct GstOrigin {
    std::string source;                  // of a described device, else empty
    std::shared_ptr<GstDevice> hardware; // of a real device, else null

    [[nodiscard]] bool isHardware() const { return hardware != nullptr; }
    [[nodiscard]] bool isNetwork() const { return is(SourceForm::Network); }
    [[nodiscard]] bool isFile() const { return is(SourceForm::File); }
    [[nodiscard]] bool isDescription() const { return is(SourceForm::Description); }

private:
    [[nodiscard]] bool is(SourceForm form) const {
        return !isHardware() && formOfSource(source) == form;
    }
};

} // namespace ovelo
