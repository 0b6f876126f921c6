#include "viewer/ViewerClient.h"

#include <fmt/format.h>

#include <algorithm>

namespace ovelo {

namespace {

constexpr std::size_t kMaxLine = 2047;              // servers drop lines of 2 048 bytes and more
constexpr std::size_t kMaxOutgoing = 64 * kMaxLine; // a server that leaves so much unread is gone
constexpr double kSlowest = 5.0;                    // pictures a second for "FrameRate,0"
constexpr double kRateSpan = 15.0;                  // and so many more for "FrameRate,1"
constexpr double kSecondsPerSync = 4.0;             // of delay for "Sync,1"

/// The value of Sync that asks for no delay.
///
/// With a delay of exactly nothing the server sends its oldest waiting picture for each new one, so
/// pictures that waited before stay late for ever; with a very small one the newest waits until the
/// next comes. With a negative one every waiting picture is due at once: the newest goes out and
/// the older ones are dropped, each time.
constexpr double kNoDelay = -0.001;

} // namespace

void ViewerClient::setDelay(double seconds) {
    const MutexLock lock(lock_);
    delay_ = seconds;
    if (phase_ == Phase::Open) {
        sendDelayLocked();
    }
}

void ViewerClient::setFrameRate(double picturesPerSecond) {
    const MutexLock lock(lock_);
    frameRate_ = picturesPerSecond;
    if (phase_ == Phase::Open) {
        sendFrameRateLocked();
    }
}

void ViewerClient::setSound(bool on) {
    const MutexLock lock(lock_);
    sound_ = on;
    if (phase_ == Phase::Open) {
        sendSoundLocked();
    }
}

void ViewerClient::openSessionLocked() {
    phase_ = Phase::Open;
    lastBlock_ = Clock::now();
    sendDelayLocked();
    sendFrameRateLocked();
    if (sound_) { // a session begins without
        sendSoundLocked();
    }
}

// Numbers are formatted by fmt, which knows no locale: the server expects a decimal point.
void ViewerClient::sendDelayLocked() {
    sendLocked(fmt::format("Sync,{:.6g}", delay_ > 0 ? delay_ / kSecondsPerSync : kNoDelay));
}

void ViewerClient::sendFrameRateLocked() {
    if (frameRate_) {
        const double value = std::clamp((*frameRate_ - kSlowest) / kRateSpan, 0.0, 1.0);
        sendLocked(fmt::format("FrameRate,{:.6g}", value));
    }
}

void ViewerClient::sendSoundLocked() {
    sendLocked(sound_ ? "Audio,1" : "Audio,0");
}

bool ViewerClient::sendPassword(const std::string& password) {
    const MutexLock lock(lock_);
    if (!sendLocked("Password," + password)) {
        return false;
    }
    notePasswordLocked(password);
    return true;
}

void ViewerClient::sendPasswordLocked(const std::string& password) {
    sendLocked("Password," + password);
    notePasswordLocked(password);
}

void ViewerClient::notePasswordLocked(const std::string& password) {
    sentPassword_ = password;
    awaitingAnswer_ = true;
    lastPassword_ = Clock::now();
}

bool ViewerClient::hello() {
    return sendLine("Hello,");
}

bool ViewerClient::getSources(std::string_view codec) {
    return sendLine(fmt::format("GetSources,{}", codec));
}

bool ViewerClient::start(std::string_view source) {
    return sendLine(fmt::format("Start,{}", source));
}

bool ViewerClient::stop() {
    return sendLine("Stop,");
}

bool ViewerClient::getRecorded() {
    return sendLine("GetRecorded,");
}

bool ViewerClient::record(bool on) {
    return sendLine(on ? "Record,Y" : "Record,N");
}

bool ViewerClient::playback(std::string_view name) {
    return sendLine(fmt::format("Playback,{}", name));
}

bool ViewerClient::setNightVision(bool on) {
    return sendLine(on ? "NightVision,1" : "NightVision,0");
}

bool ViewerClient::configureWebcam(std::string_view operation) {
    return sendLine(fmt::format("WebcamConfig,{}", operation));
}

bool ViewerClient::configureMotion(std::string_view sense, bool email, bool record,
                                   std::optional<bool> push) {
    auto line = fmt::format("MotionConfig,{},{:d},{:d}", sense, email, record);
    if (push) {
        line += *push ? ",1" : ",0";
    }
    return sendLine(line);
}

bool ViewerClient::registerDevice(std::string_view token) {
    return sendLine(fmt::format("APNS,{}", token));
}

bool ViewerClient::sendLine(std::string_view line) {
    const MutexLock lock(lock_);
    if (!sendLocked(line)) {
        return false;
    }
    noteLocked(line);
    return true;
}

/// Keeps in mind whether pictures are to be expected, and which.
void ViewerClient::noteLocked(std::string_view line) {
    const bool starts = line.starts_with("Start,");
    const bool plays = line.starts_with("Playback,");
    if (starts || plays) {
        streaming_ = true;
        playingBack_ = plays;
        lastBlock_ = Clock::now();
    } else if (line.starts_with("Stop,")) {
        streaming_ = false;
    }
}

bool ViewerClient::sendLocked(std::string_view line) {
    constexpr std::string_view kUnsendable("\n\0", 2);
    if (phase_ == Phase::Closed || line.size() > kMaxLine ||
        line.find_first_of(kUnsendable) != std::string_view::npos) {
        return false;
    }
    if (outgoing_.size() > kMaxOutgoing) {
        writeFailure_ = "the server does not take our commands";
    }
    if (!writeFailure_.empty()) {
        return false;
    }
    outgoing_.append(line).push_back('\n');
    lastSent_ = Clock::now();
    flushLocked();
    return true;
}

void ViewerClient::flushLocked() {
    while (!outgoing_.empty()) {
        const auto count = connection_->write(outgoing_);
        if (!count) {
            // Reading goes on: it delivers what still came, then ends with this reason.
            writeFailure_ = count.error();
            outgoing_.clear();
            return;
        }
        if (count.value() == 0) {
            return;
        }
        outgoing_.erase(0, count.value());
    }
}

} // namespace ovelo
