#pragma once

#include "platform/CaptureDevice.h"
#include "platform/MainThread.h"

#include <chrono>
#include <cstdint>
#include <mutex>
#include <vector>

namespace ovelo {

/// Takes a device's sound and remembers what the tests ask about it.
class SoundWatcher {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    struct Arrival {
        std::size_t samples = 0;
        TimePoint time; // as told
        TimePoint now;  // as seen
    };

    /// For CaptureDevice::tapSound(). The watcher must outlive the tap.
    [[nodiscard]] CaptureDevice::SoundHandler handler() {
        return [this](const SoundBlock& block) {
            const std::lock_guard guard(lock_);
            samples_.insert(samples_.end(), block.samples.begin(), block.samples.end());
            arrivals_.push_back(
                {block.samples.size(), block.time, std::chrono::steady_clock::now()});
        };
    }

    [[nodiscard]] std::vector<std::int16_t> samples() const {
        const std::lock_guard guard(lock_);
        return samples_;
    }
    [[nodiscard]] std::vector<Arrival> arrivals() const {
        const std::lock_guard guard(lock_);
        return arrivals_;
    }
    [[nodiscard]] double seconds() const {
        const std::lock_guard guard(lock_);
        return static_cast<double>(samples_.size()) / kSoundRate;
    }

    /// Serves the main thread until so much was heard. return: false when the time was over before
    [[nodiscard]] bool waitFor(double seconds,
                               std::chrono::milliseconds limit = std::chrono::seconds(20)) const {
        return MainThread::serveUntil([&] { return this->seconds() >= seconds; }, limit);
    }

private:
    mutable std::mutex lock_;
    std::vector<std::int16_t> samples_;
    std::vector<Arrival> arrivals_;
};

} // namespace ovelo
