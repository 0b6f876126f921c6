#pragma once

#include "platform/CaptureDevice.h"
#include "platform/MainThread.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <set>
#include <vector>

namespace ovelo {

/// Takes a device's pictures and remembers what the tests ask about them.
class FrameWatcher {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// For CaptureDevice::start(). The watcher must outlive the delivery.
    [[nodiscard]] CaptureDevice::FrameHandler handler() {
        return [this](const VideoFrame& frame) { take(frame); };
    }

    [[nodiscard]] std::size_t count() const {
        const std::lock_guard guard(lock_);
        return arrivals_.size();
    }

    /// Pictures that were not 320 x 240, opaque, in rows of 1280 bytes.
    [[nodiscard]] std::size_t malformed() const {
        const std::lock_guard guard(lock_);
        return malformed_;
    }

    /// How many pictures differed from all before.
    [[nodiscard]] std::size_t different() const {
        const std::lock_guard guard(lock_);
        return std::set<std::uint64_t>(sums_.begin(), sums_.end()).size();
    }

    [[nodiscard]] std::vector<std::uint64_t> sums() const {
        const std::lock_guard guard(lock_);
        return sums_;
    }

    [[nodiscard]] std::vector<TimePoint> arrivals() const {
        const std::lock_guard guard(lock_);
        return arrivals_;
    }

    [[nodiscard]] VideoFrame last() const {
        const std::lock_guard guard(lock_);
        return last_;
    }

    /// Serves the main thread until that many pictures have come. return: false when the time was
    /// over before
    [[nodiscard]] bool waitFor(std::size_t pictures,
                               std::chrono::milliseconds limit = std::chrono::seconds(10)) const {
        return MainThread::serveUntil([&] { return count() >= pictures; }, limit);
    }

private:
    void take(const VideoFrame& frame) {
        const bool isWell = frame.width == 320 && frame.height == 240 &&
                            frame.bytesPerRow == 1280 && frame.pixels && isOpaque(frame);
        const std::uint64_t sum = isWell ? sumOf(frame) : 0;
        const std::lock_guard guard(lock_);
        arrivals_.push_back(std::chrono::steady_clock::now());
        malformed_ += isWell ? 0 : 1;
        sums_.push_back(sum);
        last_ = frame;
    }

    static bool isOpaque(const VideoFrame& frame) {
        std::uint8_t all = 0xff;
        for (std::size_t i = 3; i < frame.bytesPerRow * 240; i += 4) {
            all &= frame.pixels[i];
        }
        return all == 0xff;
    }

    static std::uint64_t sumOf(const VideoFrame& frame) {
        std::uint64_t sum = 14695981039346656037ULL; // FNV-1a
        for (std::size_t i = 0; i < frame.bytesPerRow * 240; ++i) {
            sum = (sum ^ frame.pixels[i]) * 1099511628211ULL;
        }
        return sum;
    }

    mutable std::mutex lock_;
    std::vector<TimePoint> arrivals_;
    std::vector<std::uint64_t> sums_;
    std::size_t malformed_ = 0;
    VideoFrame last_;
};

} // namespace ovelo
