#pragma once

#include "platform/CaptureDevice.h"
#include "platform/GstOrigin.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ovelo {

/// A device whose media come through GStreamer, and that may be taken away.
///
/// thread    main
/// lifetime  in a shared_ptr; news of its runs that come late find it gone when it is
class GstCaptureDevice : public CaptureDevice,
                         public std::enable_shared_from_this<GstCaptureDevice> {
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
    [[nodiscard]] std::vector<std::string> formatSummaries() const override;

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

    using News = std::function<void(const std::string&)>;

    /// To be called around each stretch of delivery: what an earlier one tells counts no more.
    void beginRun() { ++run_; }
    void endRun();

    /// What the present run is to call, on any thread, when its source is over, and when it delivers
    /// another format.
    [[nodiscard]] News runEnded();
    [[nodiscard]] News formatIs();

    void tellEnded(const std::string& reason) {
        if (std::exchange(canEnd_, false)) {
            ended().emit(reason);
        }
    }

private:
    News onMainThread(std::function<void(GstCaptureDevice&, const std::string&)> operation);

    const Traits traits_;
    std::uint64_t run_ = 0; // tells news of an earlier run apart
    std::string format_;
    bool isOpen_ = false;
    bool canEnd_ = false;
};

} // namespace ovelo
