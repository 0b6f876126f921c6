#include "viewer/ViewerClient.h"

#include "platform/Polling.h"
#include "viewer/ServerVersion.h"
#include "viewer/TcpConnection.h"
#include "viewer/UdpConnection.h"

#include <fmt/format.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <utility>

namespace ovelo {

namespace {

constexpr std::size_t kReadSize = std::size_t{64} * 1024;
constexpr std::size_t kShownLength = 60; // of a foreign greeting in an error text

/// Printable characters only: what a foreign server says goes to a terminal.
std::string shown(std::string_view line) {
    std::string text(line.substr(0, kShownLength));
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return text;
}

std::unique_ptr<ViewerConnection> makeConnection(const ViewerOptions& options) {
    if (options.udpPort) {
        return std::make_unique<UdpConnection>(*options.udpPort, options.isWholePicture);
    }
    return std::make_unique<TcpConnection>();
}

} // namespace

ViewerClient::ViewerClient(ViewerOptions options)
    : received_(kReadSize)
    , wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , options_(std::move(options))
    , connection_(makeConnection(options_))
    , password_(options_.password) {
}

std::optional<Failure> ViewerClient::connect() {
    close();
    // Connected apart, so that the lock is not held while waiting.
    auto connection = makeConnection(options_);
    auto failure =
        connection->connect(options_.host, options_.port, options_.connectTimeout, wake_.get());
    if (failure) {
        drainWake();
        return failure;
    }
    const auto now = Clock::now();
    greetingDeadline_ = now + options_.connectTimeout;
    lastHeard_ = now;
    const MutexLock lock(lock_);
    connection_ = std::move(connection);
    phase_ = Phase::Greeting;
    lastSent_ = now;
    lastPassword_ = now;
    // At once, for a server's computer that is overrun may have lost the connection: what was sent is
    // sent again by the system until it stands on both sides.
    sendLocked("Hello,");
    return std::nullopt;
}

void ViewerClient::close() {
    rest_ = {};
    stream_ = {};
    const MutexLock lock(lock_);
    connection_->close();
    phase_ = Phase::Closed;
    streaming_ = false;
    playingBack_ = false;
    reviving_ = false;
    awaitingAnswer_ = false;
    outgoing_.clear();
    writeFailure_.clear();
}

std::optional<ViewerEvent> ViewerClient::next(std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    for (bool looked = false;; looked = true) {
        if (auto event = takeReceived()) {
            return event;
        }
        if (phase() == Phase::Closed || (looked && Clock::now() >= deadline)) {
            return std::nullopt;
        }
        if (phase() == Phase::Greeting && Clock::now() >= greetingDeadline_) {
            return lose("the server does not say anything");
        }
        if (isServerGone()) {
            return lose("the server does not answer any more");
        }
        keepAlive();
        revive();
        repeatPassword();
        if (!await(std::min(deadline, nextDuty()))) {
            return std::nullopt;
        }
        if (auto event = receive()) {
            return event;
        }
    }
}

std::optional<ViewerEvent> ViewerClient::takeReceived() {
    if (auto item = stream_.take(rest_)) {
        return handle(std::move(*item));
    }
    if (!stream_.error().empty()) {
        return lose(stream_.error());
    }
    return std::nullopt;
}

ViewerEvent ViewerClient::handle(ViewerStream::Item item) {
    if (auto* line = std::get_if<std::string>(&item)) {
        return handleLine(std::move(*line));
    }
    if (phase() == Phase::Greeting && connection_->isLossy()) {
        return handleGreeting("CONNECTED"); // the greeting is lost
    }
    if (phase() == Phase::Greeting) {
        return lose("this is not a viewer server: it sends a block instead of a greeting");
    }
    const MutexLock lock(lock_);
    lastBlock_ = Clock::now();
    return std::get<ViewerBlock>(std::move(item));
}

ViewerEvent ViewerClient::handleLine(std::string line) {
    if (phase() == Phase::Greeting) {
        return handleGreeting(std::move(line));
    }
    if (line == "AUTH_OK" || line == "AUTH_FALLED") { // sic
        return handleAuthentication(std::move(line));
    }
    if (isPlaybackDone(line)) {
        const MutexLock lock(lock_);
        playingBack_ = false; // the server goes on with live pictures by itself
        lastBlock_ = Clock::now();
    }
    return TextEvent{std::move(line)};
}

ViewerEvent ViewerClient::handleGreeting(std::string line) {
    const bool passwordNeeded = line == "CONNECTED,PASS";
    if (!passwordNeeded && line != "CONNECTED" && connection_->isLossy()) {
        return handleInsteadOfGreeting(std::move(line));
    }
    if (!passwordNeeded && line != "CONNECTED") {
        return lose(fmt::format("this is not a viewer server: it says \"{}\"", shown(line)));
    }
    const MutexLock lock(lock_);
    if (!passwordNeeded) {
        openSessionLocked();
        streaming_ = true;
        return GreetingEvent{std::move(line), false};
    }
    phase_ = Phase::Password;
    if (!password_.empty()) {
        sendPasswordLocked(password_);
    }
    return GreetingEvent{std::move(line), true};
}

/// The greeting is lost, or the server takes us for the viewer whom it has been serving.
ViewerEvent ViewerClient::handleInsteadOfGreeting(std::string line) {
    if (line == "AUTH_OK") {
        return handleAuthentication(std::move(line));
    }
    if (line == "AUTH_FALLED") { // sic; to the one that was sent without being asked for
        const MutexLock lock(lock_);
        phase_ = Phase::Password;
        awaitingAnswer_ = false;
        if (password_.empty()) {
            return GreetingEvent{"CONNECTED,PASS", true};
        }
        password_.clear();
        return AuthenticationEvent{std::move(line), false};
    }
    if (line.starts_with("VERSION,")) {
        return handleGreeting("CONNECTED");
    }
    return TextEvent{std::move(line)};
}

ViewerEvent ViewerClient::handleAuthentication(std::string line) {
    const bool accepted = line == "AUTH_OK";
    const MutexLock lock(lock_);
    const bool revived = std::exchange(reviving_, false);
    awaitingAnswer_ = false;
    if (accepted && revived) {
        sendLocked("Start,");
        noteLocked("Start,");
        return TextEvent{std::move(line)};
    }
    if (accepted) {
        password_ = sentPassword_;
        openSessionLocked();
    } else if (revived || phase_ != Phase::Open) {
        phase_ = Phase::Password;
        password_.clear();
    } // else somebody tried another password by sendLine(): the session stays open
    return AuthenticationEvent{std::move(line), accepted};
}

std::optional<ViewerEvent> ViewerClient::receive() {
    const auto bytes = connection_->read(received_);
    if (bytes && !bytes.value().empty()) {
        rest_ = bytes.value();
        lastHeard_ = Clock::now();
        return std::nullopt;
    }
    std::string reason = writeFailure(); // if any, it came first
    if (reason.empty() && !bytes) {
        reason = bytes.error();
    }
    return reason.empty() ? std::nullopt : std::optional(lose(reason));
}

ViewerEvent ViewerClient::lose(const std::string& reason) {
    LostEvent event{reason}; // first: `reason` may belong to what close() clears
    close();
    return event;
}

ViewerClient::Clock::time_point ViewerClient::nextDuty() const {
    const MutexLock lock(lock_);
    if (!writeFailure_.empty()) {
        return Clock::time_point{}; // nothing more is waited for, only what is there is read
    }
    auto hello = lastSent_ + options_.keepAlive;
    if (connection_->isLossy()) {
        hello = std::min(hello, Clock::now() + options_.repetition / 2);
    }
    if (phase_ == Phase::Greeting) {
        return std::min(hello, greetingDeadline_);
    }
    return std::min(hello, revivalTimeLocked());
}

/// return  false when interrupted
bool ViewerClient::await(Clock::time_point deadline) {
    short events = POLLIN;
    {
        const MutexLock lock(lock_);
        if (!outgoing_.empty()) {
            events |= POLLOUT;
        }
    }
    std::array<pollfd, 2> waiting{pollfd{connection_->fd(), events, 0},
                                  pollfd{wake_.get(), POLLIN, 0}};
    pollFor(waiting, deadline - Clock::now());
    if ((waiting[0].revents & POLLOUT) != 0) {
        const MutexLock lock(lock_);
        flushLocked();
    }
    if (waiting[1].revents != 0) {
        drainWake();
        return false;
    }
    return true;
}

void ViewerClient::keepAlive() {
    const MutexLock lock(lock_);
    // While lines still wait to be sent, one more would not arrive any sooner.
    if (outgoing_.empty() && Clock::now() >= lastSent_ + options_.keepAlive) {
        lastSent_ = Clock::now(); // also when it cannot be sent: else next() would spin
        sendLocked("Hello,");
        if (connection_->isLossy() && phase_ == Phase::Open) {
            sendDelayLocked();
            sendFrameRateLocked();
        }
    }
}

ViewerClient::Clock::time_point ViewerClient::revivalTimeLocked() const {
    const bool isUnderWay = reviving_ && !connection_->isLossy(); // else the answer may be lost
    if (phase_ != Phase::Open || !streaming_ || isUnderWay) {
        return Clock::time_point::max();
    }
    const std::chrono::duration<double> delay(std::max(delay_, 0.0));
    const auto patience = playingBack_ ? options_.playbackRevival : options_.revival;
    return lastBlock_ + patience + std::chrono::ceil<Clock::duration>(delay);
}

/// A server gives a viewer up that took nothing for some seconds, though it keeps the connection:
/// it wants the password again, an empty one where none is set. Where the camera is off this does
/// no harm; but it would end a playback, so that may be silent for longer.
void ViewerClient::revive() {
    const MutexLock lock(lock_);
    if (Clock::now() >= revivalTimeLocked()) {
        lastBlock_ = Clock::now();
        reviving_ = sendLocked("Password," + password_);
    }
}

void ViewerClient::repeatPassword() {
    const MutexLock lock(lock_);
    const bool isDue = Clock::now() >= lastPassword_ + options_.repetition;
    if (!connection_->isLossy() || !isDue) {
        return;
    }
    if (phase_ == Phase::Greeting) {
        sendPasswordLocked(password_); // also without one: the answer tells whether it is needed
    } else if (phase_ == Phase::Password && awaitingAnswer_) {
        sendPasswordLocked(std::string(sentPassword_));
    }
}

/// Only a server that has to say something is missed.
bool ViewerClient::isServerGone() const {
    const MutexLock lock(lock_);
    const bool isMissed = (phase_ == Phase::Open && streaming_) || awaitingAnswer_;
    return connection_->isLossy() && phase_ != Phase::Closed && isMissed &&
           Clock::now() >= lastHeard_ + options_.silence;
}

void ViewerClient::interrupt() {
    ::eventfd_write(wake_.get(), 1);
}

void ViewerClient::drainWake() {
    eventfd_t count = 0;
    ::eventfd_read(wake_.get(), &count);
}

bool ViewerClient::isOpen() const {
    return phase() == Phase::Open;
}

bool ViewerClient::isPlayingBack() const {
    const MutexLock lock(lock_);
    return playingBack_;
}

std::string ViewerClient::writeFailure() const {
    const MutexLock lock(lock_);
    return writeFailure_;
}

ViewerClient::Phase ViewerClient::phase() const {
    const MutexLock lock(lock_);
    return phase_;
}

} // namespace ovelo
