#include "alerts/MotionDetector.h"

#include "alerts/MotionDocument.h"
#include "platform/Console.h"
#include "platform/DateText.h"
#include "platform/Jpeg.h"
#include "platform/MainThread.h"
#include "platform/Settings.h"
#include "support/Logger.h"

#include <fmt/format.h>

#include <ctime>
#include <limits>
#include <utility>

namespace ovelo {

using namespace std::chrono_literals;

/// How often an alert may come.
struct AlertSpacing {
    std::chrono::seconds least; // between two alerts
    // The first motion makes as if the last alert had been so long ago, so that one that is not
    // seen again alerts nobody.
    std::chrono::seconds primed;
};

namespace {

constexpr AlertSpacing kRecordingSpacing{315s, 240s};
constexpr AlertSpacing kMessageSpacing{1800s, 1740s};

constexpr double kHighestSensitivity = 0.05; // "High", and before any is set
constexpr float kWidth = 320.0F;
constexpr float kHeight = 240.0F;
constexpr int kQuality = 75; // what JPEG libraries take when nobody asks for a quality
constexpr auto kExamineInterval = 2s;
constexpr auto kRecordingLength = 300s;
constexpr int kBadgeNumber = 1;

// No examination for this long although an alert is on: no pictures come.
constexpr auto kWatchedWithin = 5s;
constexpr auto kNeverWatched = std::numeric_limits<Clock::Steady::rep>::min();
constexpr float kNoRatio = -1.0F;

std::optional<double> thresholdOf(const std::string& sensitivity) {
    if (sensitivity == "Low") {
        return 0.3;
    }
    if (sensitivity == "Medium") {
        return 0.1;
    }
    return sensitivity == "High" ? std::optional(kHighestSensitivity) : std::nullopt;
}

} // namespace

MotionDetector::MotionDetector(Environment environment)
    : threshold_(kHighestSensitivity)
    , environment_(std::move(environment))
    , seen_(Seen{kNoRatio, static_cast<float>(kHighestSensitivity)})
    , watchedAt_(kNeverWatched) {
}

void MotionDetector::detect(const VideoFrame& frame, MotionDocument& parentDoc) {
    parentDoc_ = &parentDoc;
    if (isResetWanted_.load() && isResetWanted_.exchange(false)) {
        startAfresh();
    }
    // Before the settings are looked at, which costs more than everything else for such a frame.
    const auto now = environment_.clock.steady();
    if (lastDetectDt_ && *lastDetectDt_ + kExamineInterval > now) {
        return;
    }
    if (!isWanted()) {
        watchedAt_ = kNeverWatched;
        return;
    }
    lastDetectDt_ = now;
    watchedAt_ = now.time_since_epoch().count();
    examine(frame);
}

void MotionDetector::reset() {
    // What there is to empty belongs to the capture thread, which does it before it looks at a frame.
    isResetWanted_ = true;
    watchedAt_ = kNeverWatched;
}

void MotionDetector::startAfresh() {
    for (auto* date : {&lastDetectDt_, &lastEmailDt_, &lastRecReqDt_, &lastPushNotificationDt_}) {
        date->reset();
    }
    images_.clear();
    publish(std::nullopt);
}

MotionLevel MotionDetector::level() const {
    const bool isAnyOn = isWanted();
    const bool isWatching = isAnyOn && hasWatchedLately();
    const Seen seen = seen_.load();
    const bool hasRatio = isWatching && seen.ratio >= 0;
    return {.isWanted = isAnyOn,
            .isWatching = isWatching,
            .ratio = hasRatio ? std::optional<double>(seen.ratio) : std::nullopt,
            .threshold = seen.threshold};
}

bool MotionDetector::hasWatchedLately() const {
    const auto watchedAt = watchedAt_.load(); // once, for the capture thread changes it
    if (watchedAt == kNeverWatched) {
        return false;
    }
    return environment_.clock.steady() - Clock::Steady(Clock::Steady::duration(watchedAt)) <=
           kWatchedWithin;
}

bool MotionDetector::isOn(const char* key) const {
    return environment_.settings.boolean(key);
}

bool MotionDetector::hasAlertCommand() const {
    const auto command = environment_.settings.string("alertCommand");
    return command && !command->empty();
}

bool MotionDetector::isWanted() const {
    return isOn("useMotionEmail") || isOn("useMotionRecord") || isOn("usePushNotification") ||
           hasAlertCommand();
}

void MotionDetector::examine(const VideoFrame& frame) {
    const VideoFrame scaled = environment_.GetResizedImage(frame, kWidth, kHeight);
    setThreshold();
    encode(scaled);
    IplImagePointer picture = environment_.CreateIplImageFromUIImage(scaled);
    if (!picture) {
        return; // without pixels
    }
    const std::optional<double> ratio = images_.compare(std::move(picture));
    publish(ratio);
    if (ratio && *ratio > threshold_) {
        actOn(*ratio);
    }
}

void MotionDetector::setThreshold() {
    if (const auto sensitivity = environment_.settings.string("motionSense")) {
        threshold_ = thresholdOf(*sensitivity).value_or(threshold_);
    }
}

void MotionDetector::encode(const VideoFrame& scaled) {
    const auto jpeg = jpeg::encode(scaled, kQuality);
    if (!jpeg) {
        console::write("a picture for alerts cannot be encoded: " + jpeg.error());
    }
    jpegData_ = jpeg ? jpeg.value() : makeData({});
}

void MotionDetector::publish(std::optional<double> ratio) {
    seen_ = Seen{static_cast<float>(ratio.value_or(kNoRatio)), static_cast<float>(threshold_)};
}

void MotionDetector::actOn(double ratio) {
    environment_.log.write(fmt::format("Motion detected: {:f} {:f}\n", ratio, threshold_));
    // First, for it does not wait for anything; thousands of phones may take their time.
    if (environment_.alertCommand && hasAlertCommand()) {
        environment_.alertCommand({environment_.clock.timeOfDay(), ratio, threshold_, jpegData_});
    }
    if (isOn("useMotionEmail")) {
        sendEmail();
    }
    if (isOn("useMotionRecord")) {
        startRecording();
    }
    if (isOn("usePushNotification")) {
        sendPushNotification();
    }
}

bool MotionDetector::isDue(Date& date, const AlertSpacing& spacing) const {
    const auto now = environment_.clock.steady();
    if (!date) {
        date = now - spacing.primed;
        return false;
    }
    if (*date + spacing.least > now) {
        return false;
    }
    date = now;
    return true;
}

void MotionDetector::startRecording() {
    if (!isDue(lastRecReqDt_, kRecordingSpacing)) {
        return;
    }
    environment_.log.write("Start recording\n");
    MotionDocument& document = *parentDoc_;
    MainThread::performAndWait([&] { document.startRecording(); });
    MainThread::performAndWait([&] { scheduleRecordingTimer(document); });
}

void MotionDetector::scheduleRecordingTimer(MotionDocument& document) {
    // A timer is not taken away when another camera's recording is begun: each ends after its time.
    stopTimers_.remove_if([](const StopTimer& timer) { return timer.hasFired; });
    StopTimer& added = stopTimers_.emplace_back();
    added.timer = environment_.timer(kRecordingLength, [&added, &document] {
        added.hasFired = true;
        document.stopRecording();
    });
}

void MotionDetector::sendEmail() {
    if (isDue(lastEmailDt_, kMessageSpacing)) {
        environment_.sendMotionEmail(jpegData_);
    }
}

void MotionDetector::sendPushNotification() {
    if (!isDue(lastPushNotificationDt_, kMessageSpacing)) {
        return;
    }
    const auto devices = environment_.settings.array("devList");
    if (!devices) {
        return;
    }
    for (const std::string& devID : *devices) {
        const auto now = static_cast<std::time_t>(environment_.clock.timeOfDay().seconds);
        environment_.sendPushNotification(
            devID,
            fmt::format("Motion Detector has detected a movement at {}.",
                        datetext::mediumStyle(now)),
            kBadgeNumber);
    }
}

} // namespace ovelo
