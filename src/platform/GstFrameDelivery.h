#pragma once

#include "platform/CaptureDevice.h"
#include "platform/GstTypes.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

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
    ///
    /// A handler may be waiting for the main thread: on that thread its calls are served meanwhile,
    /// and only its calls.
    void detach();

    /// Called on the streaming thread for each picture of 320 x 240 RGBA.
    void deliver(GstPointer<GstSample> sample);

    /// How many pictures have come so far.
    [[nodiscard]] std::uint64_t pictures() const { return pictures_.load(); }

private:
    [[nodiscard]] bool isIdle();

    std::mutex lock_; // a leaf, not held while the handler runs
    std::condition_variable idle_;
    std::shared_ptr<const FrameHandler> handler_;
    std::thread::id runsOn_; // the handler, at the moment
    std::atomic<std::uint64_t> pictures_ = 0;
};

} // namespace ovelo
