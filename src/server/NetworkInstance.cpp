#include "server/NetworkInstance.h"

#include "nat/UdpStream.h"
#include "platform/Settings.h"
#include "server/Socket.h"
#include "server/SocketException.h"
#include "support/Logger.h"
#include "support/MyUtil.h"

#include <fmt/format.h>

#include <array>
#include <iterator>

namespace ovelo {

namespace {

constexpr double kMicrosecondsInASecond = 1000000;

double secondsBetween(const TimeValue& from, const TimeValue& to) {
    return static_cast<double>(to.seconds - from.seconds) +
           (to.microseconds - from.microseconds) / kMicrosecondsInASecond;
}

} // namespace

NetworkInstance::NetworkInstance(const Environment& environment)
    : frameDelay_(environment.clock)
    , environment_(environment)
    , outbox_(environment.clock)
    , udpOutbox_(environment.clock)
    , interpreter_(*this, environment.document, environment.settings, environment.log) {
}

NetworkInstance::~NetworkInstance() = default;

std::shared_ptr<Socket> NetworkInstance::socket() const {
    const MutexLock lock(lock_);
    return tcpClientSocket_;
}

void NetworkInstance::cancel() {
    {
        const MutexLock lock(lock_);
        cancelled_ = true;
        if (tcpClientSocket_) {
            tcpClientSocket_->shutdown(); // wakes the reader
        }
        if (udpStream_) {
            udpStream_->close(); // likewise
        }
    }
    changed_.notify_all();
}

std::string NetworkInstance::getPassword() {
    return environment_.settings.string("password").value_or("");
}

void NetworkInstance::setAuthenticated(int connection_type) {
    if (connection_type == kTcp) {
        tcpAuthenticated_ = true;
        tcpStarted_ = false;
        return;
    }
    udpAuthenticated_ = true;
    udpStarted_ = false;
    const auto stream = udpStream();
    if (stream && environment_.settings.boolean("udpPeerLock")) {
        stream->lockPeer();
    }
}

void NetworkInstance::setStarted(int connection_type, bool started) {
    (connection_type == kTcp ? tcpStarted_ : udpStarted_) = started;
}

void NetworkInstance::setFrameDelay(float seconds) {
    frameDelay_.setDelay(seconds);
    shouldSyncFrames_ = true;
}

void NetworkInstance::writeLocked(const std::string& text, int connection_type) {
    if (connection_type == kTcp) {
        writeTcpLocked(text);
    } else if (connection_type == kUdp) {
        writeUdpLocked(text);
    }
}

void NetworkInstance::writeTcpLocked(const std::string& text) {
    if (!tcpClientSocket_) {
        return;
    }
    outbox_.sendText(*tcpClientSocket_, text);
    if (outbox_.isWaiting()) {
        changed_.notify_all();
    }
}

void NetworkInstance::writeString(const std::string& text, int connection_type) {
    const MutexLock lock(lock_);
    writeLocked(text, connection_type);
}

std::string NetworkInstance::versionLine() const {
    constexpr double kProtocolVersion = 1.0;
    const Settings& settings = environment_.settings;
    // Kept: the word is always "Low"; viewers rely on the line's shape only.
    return fmt::format("VERSION,{:f},{},{:d},{:d},{:d}\n", kProtocolVersion, "Low",
                       settings.boolean("useMotionEmail"), settings.boolean("useMotionRecord"),
                       settings.boolean("usePushNotification"));
}

void NetworkInstance::sendVersion() {
    sendText(versionLine());
}

void NetworkInstance::sendText(const std::string& text) {
    if (!tcpAuthenticated_ && !udpAuthenticated_) {
        return;
    }
    try {
        const MutexLock lock(lock_);
        writeLocked(text, tcpAuthenticated_ && tcpClientSocket_ ? kTcp : kUdp);
    } catch (const SocketException& failure) {
        sendFailed("sendText", failure);
    }
}

void NetworkInstance::sendBinaryData(const Data& data, std::string_view desc,
                                     const SyncData& syncData) {
    sendBlock(When::NowOrNever, data, desc, syncData);
}

void NetworkInstance::sendBlock(When when, const Data& data, std::string_view desc,
                                const SyncData& syncData) {
    if (!(tcpAuthenticated_ && tcpStarted_) && !(udpAuthenticated_ && udpStarted_)) {
        return;
    }
    std::array<char, 80> header; // NOLINT(cppcoreguidelines-pro-type-member-init): written below
    const auto end =
        fmt::format_to_n(header.data(), header.size(), "{},{},{},{},{:d}\n", desc, syncData.frameID,
                         data->size(), syncData.timeStamp, syncData.reportNeeded);
    try {
        const MutexLock lock(lock_);
        writeBlockLocked(when, {header.data(), end.size}, data);
    } catch (const SocketException& failure) {
        sendFailed("sendBinaryData", failure);
    }
}

void NetworkInstance::writeBlockLocked(When when, std::string_view header, const Data& data) {
    const bool isInLine = when == When::InLine;
    if (tcpAuthenticated_ && tcpStarted_ && tcpClientSocket_ && tcpClientSocket_->isConnected()) {
        isInLine ? outbox_.sendInLine(*tcpClientSocket_, header, data)
                 : outbox_.sendBinary(*tcpClientSocket_, header, data);
    } else if (udpAuthenticated_ && udpStarted_ && udpStream_ && !data->empty()) {
        isInLine ? udpOutbox_.sendInLine(*udpStream_, header, data)
                 : udpOutbox_.sendBinary(*udpStream_, header, data);
    }
    if (outbox_.isWaiting() || udpOutbox_.isWaiting()) {
        changed_.notify_all();
    }
}

void NetworkInstance::sendFailed(const char* operation, const SocketException& failure) {
    environment_.log.write(
        fmt::format("{}() exception: {}: {}", operation, failure.name(), failure.reason()));
    const MutexLock lock(lock_);
    tcpAuthenticated_ = false;
    tcpStarted_ = false;
    dropUdpLocked();
}

void NetworkInstance::sendImageData(const Data& jpeg) {
    if (isOver_) {
        frameDelay_.clear();
        return;
    }
    const SyncData record{video_frame_count_++,
                          static_cast<std::uint32_t>(MyUtil::getTimeStamp(environment_.clock)),
                          false};
    const auto due = frameDelay_.push({jpeg, record, environment_.clock.timeOfDay()});
    shouldSyncFrames_ = false;
    if (due) {
        sendBinaryData(due->data, "Frame", due->syncData);
    }
}

void NetworkInstance::sendAudioData(const Data& data) {
    if (!enableSound_) {
        return;
    }
    const SyncData record{audio_frame_count_++,
                          static_cast<std::uint32_t>(MyUtil::getTimeStamp(environment_.clock)),
                          false};
    sendBlock(When::InLine, data, "Audio", record);
}

bool NetworkInstance::shouldSkipFrame() {
    const TimeValue now = environment_.clock.timeOfDay();
    if (lastSentDate_) {
        // A clock that was set back must not stop the pictures until it has caught up.
        const double elapsed = secondsBetween(*lastSentDate_, now);
        if (elapsed >= 0 && elapsed < static_cast<double>(frame_rate_wait_)) {
            return true;
        }
    }
    lastSentDate_ = now;
    return false;
}

} // namespace ovelo
