#pragma once

#include "alerts/AlertCommand.h"
#include "alerts/MotionDetector.h"
#include "alerts/MotionDocument.h"
#include "platform/Clock.h"
#include "platform/Data.h"
#include "platform/VideoFrame.h"

#include <functional>
#include <string>

namespace ovelo {

class Logger;
class MovieRecording;
class Settings;

/// Watches the camera's pictures for motion, and ties the detector to what it sets off.
///
/// thread    main, but for examine() and level()
/// lifetime  destroyed when no picture comes any more
class MotionWatch final : private MotionDocument {
public:
    /// Everything that it is given; all of it outlives the watch.
    struct Environment {
        const Settings& settings;
        const Clock& clock;
        Logger& log;
        MovieRecording& recording;
        /// Starts an e-mail with the picture, without waiting. Called on the capture thread.
        std::function<void(const Data& jpeg)> sendMotionEmail;
        /// Asks for a message on a phone. Called on the capture thread; may wait for the main thread.
        std::function<void(const std::string& devID, const std::string& message, int badgeNumber)>
            sendPushNotification;
    };

    explicit MotionWatch(const Environment& environment);

    /// Takes every live picture. Capture thread.
    void examine(const VideoFrame& frame) { detector_.detect(frame, *this); }

    /// Another camera's pictures come from now on.
    void reset() { detector_.reset(); }

    /// What was seen last. Any thread.
    [[nodiscard]] MotionLevel level() const { return detector_.level(); }

    /// Starts nothing any more, and ends a command that still runs.
    void stop();

private:
    void startRecording() override;
    void stopRecording() override;
    [[nodiscard]] MotionDetector::Environment detectorEnvironment(const Environment& environment);

    MovieRecording& recording_;
    AlertCommand command_;
    MotionDetector detector_;
    bool isStopped_ = false;
};

} // namespace ovelo
