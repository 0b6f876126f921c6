#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

namespace ovelo {

/// A long thread that may wait for the main thread now and then, and therefore cannot simply be
/// joined there.
///
/// thread  one at a time
class ServedThread final {
public:
    using Run = std::function<void(const std::stop_token&)>;

    ServedThread() = default;

    /// Asks the thread to end, and waits for it.
    ~ServedThread() = default;
    ServedThread(const ServedThread&) = delete;
    ServedThread& operator=(const ServedThread&) = delete;

    /// Not while an earlier one runs.
    ///
    /// errors  std::system_error when the system gives no more threads
    void start(Run run);

    void requestStop() { thread_.request_stop(); }

    /// True from start() until finish() has seen the end.
    [[nodiscard]] bool isStarted() const { return thread_.joinable(); }

    /// True when nothing of it runs any more. Any thread.
    [[nodiscard]] bool hasEnded() const { return ended_; }

    /// Joins it. On the main thread it serves calls meanwhile, and leaves a thread that does not end
    /// in time to the destructor.
    void finish(std::chrono::milliseconds patience);

private:
    std::atomic<bool> ended_ = true;
    std::jthread thread_;
};

} // namespace ovelo
