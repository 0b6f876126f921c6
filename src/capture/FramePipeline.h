#pragma once

#include "platform/Clock.h"
#include "platform/Data.h"
#include "platform/Result.h"
#include "platform/VideoFrame.h"

#include <functional>
#include <optional>
#include <string>

namespace ovelo {

class Settings;

/// Where finished pictures go. Implemented by the viewer server's owner.
class FrameSink {
public:
    virtual ~FrameSink() = default;
    [[nodiscard]] virtual bool hasClient() const = 0;
    [[nodiscard]] virtual bool shouldSkipFrame() = 0;
    virtual void sendImageData(const Data& jpeg) = 0;
};

class Bitmap;

/// Makes viewer pictures of camera frames: 320 x 240, turned and labelled as the settings say, JPEG
/// at 0.4.
///
/// Nothing is drawn or encoded for a frame that nobody will see.
///
/// thread  the capture thread, one frame at a time
class FramePipeline final {
public:
    struct Environment {
        const Settings& settings;
        const Clock& clock;
        FrameSink& sink;
        /// True while a recording is played to viewers: live frames are dropped then. May be empty.
        std::function<bool()> playbackStarted;
        /// Sees every live frame before anything else; may be empty.
        std::function<void(const VideoFrame&)> motion;
        /// The video device's name, if there is a device. May be empty.
        std::function<std::optional<std::string>()> deviceName;
    };

    explicit FramePipeline(Environment environment) : environment_(std::move(environment)) {}

    /// Takes one frame through all steps.
    ///
    /// errors  a frame that cannot be encoded is left out, and said once on standard error
    void captureOutput(const VideoFrame& frame);

    /// Draws the date and time at the lower edge.
    void AddTimeStamp(Bitmap& picture, float width, float height) const;

    /// Draws the video device's name at the upper left; nothing when there is no device.
    void AddDeviceName(Bitmap& picture, float width, float height) const;

private:
    [[nodiscard]] bool isDrawnOn() const;
    [[nodiscard]] Bitmap workingPicture(const VideoFrame& frame) const;
    [[nodiscard]] Result<Data> viewerPicture(const VideoFrame& frame) const;

    Environment environment_;
    bool failed_ = false; // the last frame that was to be sent
};

} // namespace ovelo
