#pragma once

#include "platform/CaptureDevice.h"
#include "platform/GstTypes.h"

#include <atomic>
#include <cstdint>
#include <mutex>

namespace ovelo {

/// The place where a pipeline's pictures change hands: wrapped without a copy, and given to the
/// handler that is attached at the moment, or dropped.
///
/// thread  any
class GstFrameDelivery final {
public:
    using FrameHandler = CaptureDevice::FrameHandler;

    void attach(FrameHandler handler);

    /// Returns when the handler is not running any more; it is not called again.
    void detach();

    /// Called on the streaming thread for each picture of 320 x 240 RGBA.
    void deliver(GstPointer<GstSample> sample);

    /// How many pictures have come so far.
    [[nodiscard]] std::uint64_t pictures() const { return pictures_.load(); }

private:
    std::mutex lock_; // held while the handler runs
    FrameHandler handler_;
    std::atomic<std::uint64_t> pictures_ = 0;
};

} // namespace ovelo
