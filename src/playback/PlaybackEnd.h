#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace ovelo {

/// Tells any number of threads that a playback's thread is at its end.
///
/// thread  any; its lock is a leaf
class PlaybackEnd final {
public:
    void set();

    /// Returns when it was set. The main thread serves calls meanwhile, for the playback may be
    /// waiting for one.
    void wait();

    [[nodiscard]] bool isSet() const { return isSet_.load(); }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    std::atomic<bool> isSet_ = false; // changed under lock_, for those who wait
};

} // namespace ovelo
