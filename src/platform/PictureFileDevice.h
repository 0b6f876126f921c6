#pragma once

#include "platform/CaptureDevice.h"
#include "platform/PictureFile.h"

#include <atomic>
#include <filesystem>
#include <thread>

namespace ovelo {

/// The capture device that delivers what network cameras leave in the picture file: each picture that
/// comes while it is started, when it is complete.
///
/// A picture that was there before is not shown: it is some other camera's.
class PictureFileDevice final : public CaptureDevice {
public:
    explicit PictureFileDevice(std::filesystem::path picture = picturefile::kPath);
    ~PictureFileDevice() override;

    [[nodiscard]] MediaType mediaType() const override { return MediaType::Video; }
    [[nodiscard]] std::string localizedDisplayName() const override { return "Kavrin IPCam"; }
    [[nodiscard]] std::string uniqueModelIdentifier() const override { return "Kavrin IPCam"; }
    [[nodiscard]] std::optional<Failure> open() override;
    [[nodiscard]] bool isOpen() const override { return isOpen_; }
    void close() override;
    void start(FrameHandler handler) override;
    void stop() override;
    [[nodiscard]] std::vector<std::string> formatSummaries() const override;

    /// The device is not there any more: whoever has it open is told.
    void retire(const std::string& reason);

private:
    void run(const std::stop_token& stop, const FrameHandler& handler,
             picturefile::Stamp seen) const;

    const std::filesystem::path picture_;
    bool isOpen_ = false;
    bool isRetired_ = false;
    std::atomic<bool> hasEnded_ = false; // the thread is through with its handler
    std::jthread thread_;
};

} // namespace ovelo
