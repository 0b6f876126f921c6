#pragma once

#include "platform/CaptureDevices.h"
#include "platform/FileWatch.h"
#include "platform/PictureFile.h"

#include <filesystem>
#include <memory>

namespace ovelo {

class PictureFileDevice;

/// Other devices, and behind them "Kavrin IPCam" while its component is installed. It comes and goes
/// with the component, within half a second.
///
/// thread    main
/// lifetime  needs the QCoreApplication
class DriverCaptureDevices final : public CaptureDevices, public sigc::trackable {
public:
    struct Paths {
        std::filesystem::path component = "/Library/QuickTime/IPCam.component";
        std::filesystem::path picture = picturefile::kPath;
    };

    explicit DriverCaptureDevices(std::unique_ptr<CaptureDevices> others);
    DriverCaptureDevices(std::unique_ptr<CaptureDevices> others, Paths paths);
    ~DriverCaptureDevices() override;

    [[nodiscard]] std::vector<CaptureDevicePointer> devices(MediaType type) override;

    /// Looks for the component at once, as after an installation.
    void refresh();

private:
    const std::unique_ptr<CaptureDevices> others_;
    const Paths paths_;
    std::shared_ptr<PictureFileDevice> device_; // null without the component
    FileWatch watch_;
};

} // namespace ovelo
