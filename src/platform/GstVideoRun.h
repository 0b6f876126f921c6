#pragma once

#include "platform/GstVideoPipeline.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace ovelo {

/// How long a device waits for what, in the network's way of things.
struct GstPatience {
    std::chrono::milliseconds stall{10'000}; // without a picture, until a stream counts as dropped
    std::chrono::milliseconds firstPause{1'000}; // before the first new try; doubled each time ...
    std::chrono::milliseconds longestPause{30'000}; // ... up to this
    std::chrono::milliseconds steadyAfter{
        10'000}; // of pictures: the next pause is the first one again
};

/// One stretch of delivery, from a device's start to its stop, on a thread of its own: plays the
/// pipeline, starts a file again at its end, and a network stream again when it dropped.
///
/// thread  main; the listeners are called on the run's thread
class GstVideoRun final {
public:
    struct Environment {
        GstOrigin origin;
        std::string name; // of the device, for the log
        GstPatience patience;
        std::function<void(const std::string&)> log; // takes a line; may be empty
        std::function<void(const std::string&)>
            ended; // the source is over; the text says why. Once.
        std::function<void(const std::string&)> format; // the source delivers this from now on
        bool keepsHardware = true; // so that nobody else takes it between two runs
    };

    /// pipeline  an open one, or null: one is built
    GstVideoRun(Environment environment, std::unique_ptr<GstVideoPipeline> pipeline,
                GstOutlets outlets);

    /// Waits for the thread.
    ~GstVideoRun();
    GstVideoRun(const GstVideoRun&) = delete;
    GstVideoRun& operator=(const GstVideoRun&) = delete;

    /// Asks the thread to end. The handler is not running any more when this returns.
    void stop();

    /// Waits until the thread has ended. return: false when it has not yet
    bool waitUntilEnded(std::chrono::milliseconds limit);

    /// Makes a pipeline that waits for the network give up.
    void interrupt();

    /// The hardware that is kept, still open, after the thread has ended; else null.
    std::unique_ptr<GstVideoPipeline> takePipeline();

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    [[nodiscard]] bool isSoundAlone() const { return outlets_.pictures == nullptr; }
    void run(const std::stop_token& stop);
    /// These tell why it is over; nothing when it is not, or when it was asked to stop.
    std::optional<std::string> preparePipeline();
    std::optional<std::string> play(const std::stop_token& stop);
    std::optional<std::string> take(const PipelineEvent& event, const std::stop_token& stop);
    std::optional<std::string> startFileAgain(bool seamless, const std::stop_token& stop);
    [[nodiscard]] TimePoint nextCheck() const;
    bool hasStalled();
    void pauseAfter(const std::string& reason, const std::stop_token& stop);
    void wait(std::chrono::milliseconds time, const std::stop_token& stop);
    void setPipeline(std::unique_ptr<GstVideoPipeline> pipeline);
    void finish();

    const Environment environment_;
    const GstOutlets outlets_;

    // The thread's own.
    std::chrono::milliseconds pause_;
    std::uint64_t seenPictures_ = 0;
    TimePoint lastProgress_;
    std::optional<TimePoint> flowingSince_;
    std::uint64_t lapBegan_ = 0; // pictures when the file was last started
    bool mustRebuild_ = false;   // a file ended that starts again only as a new pipeline

    // Guarded by lock_, a leaf.
    std::mutex lock_;
    std::condition_variable_any changed_;
    std::unique_ptr<GstVideoPipeline>
        pipeline_; // written by the thread alone, which reads it without the lock
    bool hasEnded_ = false;

    std::jthread thread_; // last: begins when all of the above is there
};

} // namespace ovelo
