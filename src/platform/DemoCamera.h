#pragma once

#include "platform/CaptureDevice.h"

#include <atomic>
#include <memory>
#include <thread>

namespace ovelo {

/// A camera for trying the program out without one: shows a DemoScene, 14 pictures a second, on a
/// thread of its own.
class DemoCamera final : public CaptureDevice {
public:
    DemoCamera();
    ~DemoCamera() override;

    [[nodiscard]] MediaType mediaType() const override { return MediaType::Video; }
    [[nodiscard]] std::string localizedDisplayName() const override { return "Demo Camera"; }
    [[nodiscard]] std::string uniqueModelIdentifier() const override { return "Ovelo Demo Camera"; }
    [[nodiscard]] std::optional<Failure> open() override { return std::nullopt; }
    void close() override { stop(); }
    void start(FrameHandler handler) override;
    void stop() override;
    [[nodiscard]] std::vector<std::string> formatSummaries() const override;

private:
    class Pictures; // buffers that are used again

    void run(const std::stop_token& stop, const FrameHandler& handler) const;

    const std::shared_ptr<Pictures> pictures_;
    std::atomic<bool> hasEnded_ = false; // the thread is through with its handler
    std::jthread thread_;
};

} // namespace ovelo
