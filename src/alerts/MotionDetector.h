#pragma once

#include "alerts/MotionEvent.h"
#include "alerts/MotionImages.h"
#include "alerts/MotionLevel.h"
#include "platform/Clock.h"
#include "platform/Data.h"
#include "platform/Timer.h"
#include "platform/VideoFrame.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace ovelo {

class Logger;
class MotionDocument;
class Settings;
struct AlertSpacing;

/// Looks at one frame in two seconds, decides whether something moved, and starts the alerts that
/// the user has switched on: an e-mail, a recording, push notifications, a command.
///
/// The moments that spacings are counted from are those of the steady clock: setting the computer's
/// clock neither puts an alert off nor repeats one. While the computer sleeps that clock stands.
///
/// thread    detect() on the capture thread, reset() on the main thread, level() on any, in any
///           overlap
/// lifetime  made and destroyed on the main thread, destroyed when no frame comes any more
class MotionDetector final {
public:
    /// Everything that it is given; all of it outlives the detector.
    struct Environment {
        const Settings& settings;
        const Clock& clock;
        Logger& log;
        /// A frame scaled to width x height; `owner` holds its pixels.
        std::function<VideoFrame(const VideoFrame&, float width, float height)> GetResizedImage;
        std::function<IplImagePointer(const VideoFrame&)> CreateIplImageFromUIImage;
        /// Starts an e-mail with the picture, without waiting. Capture thread.
        std::function<void(const Data& jpeg)> sendMotionEmail;
        /// Capture thread; may wait for the main thread.
        std::function<void(const std::string& devID, const std::string& message, int badgeNumber)>
            sendPushNotification;
        /// Told every declared motion, and must not wait. Capture thread. May be empty.
        std::function<void(const MotionEvent&)> alertCommand;
        /// Calls once after a delay, on the main thread.
        std::function<std::unique_ptr<Timer>(std::chrono::milliseconds, std::function<void()>)>
            timer = &Timer::once;
    };

    explicit MotionDetector(Environment environment);

    /// Examines the frame, unless no alert is switched on or the last examination is less than two
    /// seconds ago, and starts the alerts when something moved.
    ///
    /// parentDoc  outlives the detector
    /// errors     none; a picture that cannot be encoded leaves an empty attachment
    /// thread     capture; waits for the main thread when a recording is started or a phone is
    ///            notified, so whoever waits for this thread on the main thread serves its calls
    ///            (MainThread::serveCallsOf)
    void detect(const VideoFrame& frame, MotionDocument& parentDoc);

    /// Another camera's pictures come from now on: the next one is not compared with what was
    /// before, and the delays before the first alerts begin anew.
    ///
    /// thread  main; once the former camera's last frame is through and before the next one's first
    void reset();

    /// What was seen last. Cheap, for a bar that moves.
    [[nodiscard]] MotionLevel level() const;

private:
    using Date = std::optional<Clock::Steady>;
    struct StopTimer {
        std::unique_ptr<Timer> timer;
        bool hasFired = false;
    };
    /// Read and written as one. A ratio below 0: none.
    struct Seen {
        float ratio;
        float threshold;
    };

    void startAfresh();
    [[nodiscard]] bool isOn(const char* key) const;
    [[nodiscard]] bool hasAlertCommand() const;
    [[nodiscard]] bool isWanted() const;
    [[nodiscard]] bool hasWatchedLately() const;
    void examine(const VideoFrame& frame);
    void setThreshold();
    void encode(const VideoFrame& scaled);
    void publish(std::optional<double> ratio);
    void actOn(double ratio);
    [[nodiscard]] bool isDue(Date& date, const AlertSpacing& spacing) const;
    void startRecording();
    void scheduleRecordingTimer(MotionDocument& document);
    void sendEmail();
    void sendPushNotification();

    // The capture thread's.
    double threshold_;
    Date lastDetectDt_;
    Date lastEmailDt_;
    Date lastRecReqDt_;
    Date lastPushNotificationDt_;
    Data jpegData_;
    MotionDocument* parentDoc_ = nullptr;
    MotionImages images_;

    Environment environment_;
    std::list<StopTimer> stopTimers_; // the main thread's; one for each recording

    // Shared.
    std::atomic<bool> isResetWanted_{false};
    std::atomic<Seen> seen_;
    std::atomic<Clock::Steady::rep> watchedAt_; // in the steady clock's ticks
};

} // namespace ovelo
