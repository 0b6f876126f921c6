#pragma once

#include "platform/CaptureDevice.h"

namespace ovelo {

/// An open device as the session uses it.
class CaptureDeviceInput final {
public:
    explicit CaptureDeviceInput(CaptureDevicePointer device) : device_(std::move(device)) {}

    [[nodiscard]] const CaptureDevicePointer& device() const { return device_; }

private:
    CaptureDevicePointer device_;
};

} // namespace ovelo
