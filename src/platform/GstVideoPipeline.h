#pragma once

#include "platform/GstOrigin.h"
#include "platform/GstOutlets.h"
#include "platform/Result.h"

#include <chrono>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

namespace ovelo {

/// What a pipeline tells about itself.
struct PipelineEvent {
    enum class Kind {
        Failed, // it is over; the text says why
        Ended,  // its source has no more pictures
        Lap,    // a file was played to its end, and waits for rewind()
        Format, // its source delivers what the text says from now on
    };
    Kind kind = Kind::Failed;
    std::string text;
};

/// One GStreamer pipeline from a source of pictures, of sound or of both to its outlets: every
/// picture is 320 x 240 RGBA, all sound one channel of kSoundRate.
///
/// A source that delivers at its own pace is not made to wait for the clock: its pictures are
/// handed over on the thread that received them. One that could be read faster than it plays, like
/// a file, is paced.
///
/// thread  none of the pipeline's own; one call at a time, but for interrupt()
class GstVideoPipeline final {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// errors  in the library's words, when a part is missing or a description cannot be understood
    static Result<std::unique_ptr<GstVideoPipeline>> build(const GstOrigin& origin,
                                                           GstOutlets outlets);

    /// Ends the delivery and gives the hardware back. Waits for the source to let go.
    ~GstVideoPipeline();
    GstVideoPipeline(const GstVideoPipeline&) = delete;
    GstVideoPipeline& operator=(const GstVideoPipeline&) = delete;

    /// Takes the hardware, or shows that a file can be played, which is waited for up to two
    /// seconds. Waits for no network.
    [[nodiscard]] std::optional<Failure> open();

    /// Begins the delivery. May wait for the network as long as connecting takes; an event tells
    /// when it fails.
    void play();

    /// Ends the delivery and keeps the hardware.
    void park();

    /// Starts a file again. return: false when it cannot be started again
    ///
    /// seamless  goes on without a gap, as a Lap allows; else drops what is on its way
    bool rewind(bool seamless);

    /// Makes a play() that waits for the network fail at once. Any thread.
    void interrupt();

    /// Waits for the next event. return: none when it was asked to stop, or the time has come
    std::optional<PipelineEvent> nextEvent(const std::stop_token& stop, TimePoint until);

private:
    struct Shared; // what streaming threads touch

    GstVideoPipeline(GstOrigin origin, std::shared_ptr<GstElement> pipeline,
                     std::shared_ptr<Shared> shared);

    void connectPictures();
    void connectSound();
    void connectEvents();
    void watchPictureFormat();
    std::optional<Failure> waitForFirstPicture();
    Failure takeFailure();

    const GstOrigin origin_;
    const std::shared_ptr<GstElement> pipeline_;
    const std::shared_ptr<Shared> shared_;
};

} // namespace ovelo
