#pragma once

#include "platform/GstVideoPipeline.h"

#include <chrono>
#include <functional>
#include <memory>
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
/// thread    main; the listeners are called on the run's thread
/// lifetime  what the thread works on is shared with it: a library that does not let go of it keeps
///           it, but nobody else
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

    /// Asks the thread to end, and does not wait for one that cannot: it is left behind in the
    /// library, calls no listener any more, and ends when the library lets go of it.
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
    class Loop; // shared with the thread, which may have to be left behind in the library

    const std::shared_ptr<Loop> loop_;
    std::jthread thread_;
};

} // namespace ovelo
