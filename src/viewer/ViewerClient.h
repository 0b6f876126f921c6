#pragma once

#include "platform/FileDescriptor.h"
#include "platform/Mutex.h"
#include "platform/Result.h"
#include "viewer/DatagramGatherer.h"
#include "viewer/ViewerConnection.h"
#include "viewer/ViewerEvent.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ovelo {

inline constexpr std::uint16_t kViewerPort = 1726;

/// Where a viewer connects, and how.
struct ViewerOptions {
    std::string host;
    std::uint16_t port = kViewerPort;
    std::string password; // sent when the server asks for one; empty: left to sendPassword()
    std::chrono::milliseconds connectTimeout{
        5000};                                 // for the connection, and again for the greeting
    std::chrono::milliseconds keepAlive{3000}; // of silence, then a Hello is sent
    std::chrono::milliseconds revival{15000};  // without a block, then pictures are asked for anew
    std::chrono::milliseconds playbackRevival{60000}; // the same while a recording is played
    std::optional<std::uint16_t> udpPort;             // our own: over UDP instead of TCP; 0: any
    DatagramGatherer::PictureCheck isWholePicture;    // of pictures over UDP
    std::chrono::milliseconds repetition{1000}; // over UDP: without an answer, then sent again
    std::chrono::milliseconds silence{15000};   // over UDP: of a server that should answer
};

/// One viewer of one server, over TCP or UDP.
///
/// Over UDP, where lines may be lost: the password is sent until it is answered, also when the
/// greeting has not come; delay and frame rate go out again with each keep-alive; and a server that
/// does not answer any more is taken for lost.
///
/// Answers the greeting with the password when it has one, and sets the delay and the frame rate as
/// soon as the session is open, so that they hold from the first picture on. While next() runs,
/// keep-alives are sent, and a server that stopped sending is asked to begin again.
///
/// thread  connect(), next() and close() belong to one thread; everything else may be called from
/// any
class ViewerClient {
public:
    using Clock = std::chrono::steady_clock;

    explicit ViewerClient(ViewerOptions options);

    /// Connects, waiting at most as long as the options say; ends an earlier connection.
    ///
    /// return  none when connected, else why not
    [[nodiscard]] std::optional<Failure> connect();

    /// The next thing the server said.
    ///
    /// return  none after `timeout`, after interrupt(), or when there is no connection
    [[nodiscard]] std::optional<ViewerEvent> next(std::chrono::milliseconds timeout);

    void close();

    /// Makes a running or the next connect() or next() return at once.
    void interrupt();

    /// True when the server has let us in.
    [[nodiscard]] bool isOpen() const;

    /// Seconds by which the server holds pictures back; 0 or less: none at all. Kept for later
    /// connections.
    void setDelay(double seconds);

    /// Pictures a second, 5 to 20. Kept for later connections.
    void setFrameRate(double picturesPerSecond);

    /// Whether the server sends sound; it first tells the format, then sends blocks. Kept for later
    /// connections.
    void setSound(bool on);

    /// True from playback() until the recording has been played, start(), or the end of the
    /// connection. Another viewer may have ended it meanwhile, of which the server says nothing.
    [[nodiscard]] bool isPlayingBack() const;

    // Commands. They return false when there is no connection, or when the text cannot be sent as a
    // line.
    bool
    sendPassword(const std::string& password); ///< kept for later connections unless it is refused
    bool hello();
    bool getSources(std::string_view codec = {});
    bool start(std::string_view source = {}); ///< "video name|audio name"; empty: as selected
    bool stop();
    bool getRecorded();
    bool record(bool on);                 ///< for every viewer; the server does not report it
    bool playback(std::string_view name); ///< for every viewer; a name of the recorded list
    bool setNightVision(bool on);
    bool configureWebcam(std::string_view operation); ///< RC, RCC, FV, FH, SD or ST
    bool configureMotion(std::string_view sense, bool email, bool record,
                         std::optional<bool> push = {});
    bool registerDevice(std::string_view token); ///< for push notifications

    /// Sends any line; `line` is without a line feed. A command has the same effect as its function
    /// here, but that delay, rate and sound are not kept.
    ///
    /// return  also false when it holds a line feed or a zero byte or is longer than servers accept
    bool sendLine(std::string_view line);

private:
    enum class Phase { Closed, Greeting, Password, Open };

    std::optional<ViewerEvent> takeReceived();
    ViewerEvent handle(ViewerStream::Item item);
    ViewerEvent handleLine(std::string line);
    ViewerEvent handleGreeting(std::string line);
    ViewerEvent handleInsteadOfGreeting(std::string line);
    ViewerEvent handleAuthentication(std::string line);
    std::optional<ViewerEvent> receive();
    ViewerEvent lose(const std::string& reason);
    [[nodiscard]] Clock::time_point nextDuty() const OVELO_EXCLUDES(lock_);
    bool await(Clock::time_point deadline);
    void keepAlive();
    void revive();
    void repeatPassword();
    [[nodiscard]] bool isServerGone() const;
    void drainWake();
    [[nodiscard]] Phase phase() const;
    [[nodiscard]] std::string writeFailure() const;
    [[nodiscard]] Clock::time_point revivalTimeLocked() const OVELO_REQUIRES(lock_);
    void openSessionLocked() OVELO_REQUIRES(lock_);
    void sendPasswordLocked(const std::string& password) OVELO_REQUIRES(lock_);
    void notePasswordLocked(const std::string& password) OVELO_REQUIRES(lock_);
    void sendDelayLocked() OVELO_REQUIRES(lock_);
    void sendFrameRateLocked() OVELO_REQUIRES(lock_);
    void sendSoundLocked() OVELO_REQUIRES(lock_);
    bool sendLocked(std::string_view line) OVELO_REQUIRES(lock_);
    void noteLocked(std::string_view line) OVELO_REQUIRES(lock_);
    void flushLocked() OVELO_REQUIRES(lock_);

    // Of the thread that calls next().
    std::vector<std::uint8_t> received_;
    std::span<const std::uint8_t> rest_; // of received_
    ViewerStream stream_;
    Clock::time_point greetingDeadline_;

    FileDescriptor wake_; // readable: return from waiting
    mutable Mutex lock_{LockRank::Transport};
    ViewerOptions options_; // all but the password never change
    // Opened, read and closed by next()'s thread; written to under lock_.
    std::unique_ptr<ViewerConnection> connection_;
    Clock::time_point lastHeard_; // next()'s thread
    Phase phase_ OVELO_GUARDED_BY(lock_) = Phase::Closed;
    std::string password_ OVELO_GUARDED_BY(lock_);
    std::string sentPassword_ OVELO_GUARDED_BY(lock_);
    std::string outgoing_ OVELO_GUARDED_BY(lock_); // what the system did not take yet
    std::string writeFailure_ OVELO_GUARDED_BY(lock_);
    Clock::time_point lastSent_ OVELO_GUARDED_BY(lock_);
    Clock::time_point lastBlock_ OVELO_GUARDED_BY(lock_); // or when pictures were asked for
    bool streaming_ OVELO_GUARDED_BY(lock_) = false;      // pictures are expected
    bool playingBack_ OVELO_GUARDED_BY(lock_) = false;    // they are those of a recording
    bool reviving_ OVELO_GUARDED_BY(lock_) = false;       // the password was sent again
    bool awaitingAnswer_ OVELO_GUARDED_BY(lock_) = false; // to a password
    Clock::time_point lastPassword_ OVELO_GUARDED_BY(lock_);
    double delay_ OVELO_GUARDED_BY(lock_) = 0;
    std::optional<double> frameRate_ OVELO_GUARDED_BY(lock_);
    bool sound_ OVELO_GUARDED_BY(lock_) = false;
};

} // namespace ovelo
