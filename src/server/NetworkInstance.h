#pragma once

#include "platform/Clock.h"
#include "platform/Data.h"
#include "platform/Mutex.h"
#include "server/CommandInterpreter.h"
#include "server/CommandSession.h"
#include "server/FrameDelay.h"
#include "server/LineBuffer.h"
#include "server/Outbox.h"
#include "server/UdpOutbox.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ovelo {

class Logger;
class SessionHost;
class Settings;
class Socket;
class SocketException;
class UdpStream;
class ViewerDocument;

/// The server's side of one viewer: greets it, checks its password, reads its commands, sends it
/// pictures, sound and text, and cleans up when it is gone.
///
/// Greeted, then authenticated, then started (pictures flow) and stopped again. docs/threads.md
/// shows who runs what.
///
/// thread  any, unless said otherwise. Nothing that sends ever waits for the viewer.
class NetworkInstance final : private CommandSession {
public:
    /// How long a silent viewer is left alone before its connection is looked at.
    static constexpr auto kWatchdogPeriod = std::chrono::seconds(5);

    /// A viewer on UDP from which no line came for so long is gone.
    static constexpr auto kUdpWatchdogPeriod = std::chrono::seconds(10);

    struct Environment {
        ViewerDocument& document;
        SessionHost& network;
        Settings& settings;
        Logger& log;
        const Clock& clock;
        std::chrono::milliseconds udpWatchdogPeriod = kUdpWatchdogPeriod; // tests wait less
    };

    explicit NetworkInstance(const Environment& environment);
    ~NetworkInstance() override;
    NetworkInstance(const NetworkInstance&) = delete;
    NetworkInstance& operator=(const NetworkInstance&) = delete;

    /// The whole life of a TCP session: returns when it is over. On a thread of its own.
    void startTcpConnection(std::shared_ptr<Socket> socket);

    /// The same for a session on an opened stream. Nothing of the stream is held when it returns.
    /// On the server's UDP thread.
    void startUdpConnection(std::shared_ptr<UdpStream> stream);

    /// Ends the session soon; also one that has not begun yet.
    void cancel();

    /// Sends a text line to an authenticated viewer.
    void sendText(const std::string& text);

    /// Sends one block to a started viewer that has room for it: the line
    /// "desc,frameID,length,timeStamp,reportNeeded", then the bytes.
    void sendBinaryData(const Data& data, std::string_view desc, const SyncData& syncData);

    /// Numbers a picture, holds it back as long as the viewer asked, and sends the one that is due.
    /// One thread at a time.
    void sendImageData(const Data& jpeg);

    /// Numbers and sends a block of sound, if the viewer asked for sound. One thread at a time.
    void sendAudioData(const Data& data);

    /// True when it is too early for this viewer's next picture; else that picture counts as sent
    /// now. One thread at a time.
    bool shouldSkipFrame();

    void sendVersion() override;

    [[nodiscard]] bool tcpAuthenticated() const { return tcpAuthenticated_; }
    void setTcpAuthenticated(bool authenticated) { tcpAuthenticated_ = authenticated; }
    [[nodiscard]] bool tcpStarted() const { return tcpStarted_; }
    void setTcpStarted(bool started) { tcpStarted_ = started; }
    [[nodiscard]] bool udpAuthenticated() const { return udpAuthenticated_; }
    void setUdpAuthenticated(bool authenticated) { udpAuthenticated_ = authenticated; }
    [[nodiscard]] bool udpStarted() const { return udpStarted_; }
    void setUdpStarted(bool started) { udpStarted_ = started; }

    /// True for a UDP session that has ended; it gets nothing any more.
    [[nodiscard]] bool isOver() const { return isOver_; }

    [[nodiscard]] float frameRateWait() const { return frame_rate_wait_; }
    [[nodiscard]] float frameDelay() const { return frameDelay_.delay(); }

private:
    // connection_type
    static constexpr int kTcp = 0;
    static constexpr int kUdp = 1;

    enum class When { NowOrNever, InLine }; // a block that finds no room at once

    void sendBlock(When when, const Data& data, std::string_view desc, const SyncData& syncData);
    void writeBlockLocked(When when, std::string_view header, const Data& data)
        OVELO_REQUIRES(lock_);

    // CommandSession.
    std::string getPassword() override;
    void writeString(const std::string& text, int connection_type) override;
    void setAuthenticated(int connection_type) override;
    void setStarted(int connection_type, bool started) override;
    void setFrameRateWait(float seconds) override { frame_rate_wait_ = seconds; }
    void setEnableSound(bool enabled) override { enableSound_ = enabled; }
    void setFrameDelay(float seconds) override;

    // The session thread.
    bool adopt(const std::shared_ptr<Socket>& socket);
    void greet(int connection_type);
    void superviseTcp(Socket& socket);
    void watchWhileLinesCome(Socket& socket);
    void sleepOrFlush(Socket& socket, Clock::Steady until);
    bool flush(Socket& socket);
    void pauseUnlessEnded(std::chrono::milliseconds length);
    void tearDown(Socket& socket);
    bool adopt(const std::shared_ptr<UdpStream>& stream);
    void superviseUdp();
    bool sleepOrFlushUdp(Clock::Steady until);
    void flushUdp();
    void tearDownUdp();

    // The reader thread.
    void readThread(int connection_type);
    bool readOneLine(int connection_type);
    bool readOneTcpLine();
    bool readOneUdpLine();
    bool ReadLine(Socket& socket, std::string& line);
    void dropTcp();
    void dropUdpLocked() OVELO_REQUIRES(lock_);

    [[nodiscard]] std::shared_ptr<Socket> socket() const;
    [[nodiscard]] std::shared_ptr<UdpStream> udpStream() const;
    [[nodiscard]] std::string versionLine() const;
    void writeLocked(const std::string& text, int connection_type) OVELO_REQUIRES(lock_);
    void writeTcpLocked(const std::string& text) OVELO_REQUIRES(lock_);
    void writeUdpLocked(const std::string& text) OVELO_REQUIRES(lock_);
    void sendFailed(const char* operation, const SocketException& failure);
    void setReaderEnded();

    // In the product's own order.
    std::shared_ptr<Socket> tcpClientSocket_ OVELO_GUARDED_BY(lock_); // shared with who is using it
    std::atomic<bool> tcpAuthenticated_ = false;
    std::atomic<bool> tcpStarted_ = false;
    std::atomic<std::uint32_t> tcp_read_count_ = 0;
    std::shared_ptr<UdpStream> udpStream_ OVELO_GUARDED_BY(lock_); // shared with its reader
    std::atomic<bool> udpAuthenticated_ = false;
    std::atomic<bool> udpStarted_ = false;
    std::atomic<std::uint32_t> udp_read_count_ = 0;
    std::atomic<float> frame_rate_wait_ = 1.0F / 14.0F; // seconds
    std::atomic<bool> enableSound_ = false;
    std::uint32_t audio_frame_count_ = 0; // audio thread
    std::uint32_t video_frame_count_ = 0; // capture thread
    FrameDelay frameDelay_;
    std::atomic<bool> shouldSyncFrames_ = false;
    std::optional<TimeValue> lastSentDate_; // capture thread
    LineBuffer tcpDataBuffer_;              // reader thread

    // Given, not owned.
    Environment environment_;

    mutable Mutex lock_{LockRank::Session};
    std::condition_variable_any changed_;
    Outbox outbox_ OVELO_GUARDED_BY(lock_);
    UdpOutbox udpOutbox_ OVELO_GUARDED_BY(lock_);
    bool cancelled_ OVELO_GUARDED_BY(lock_) = false;
    bool readerEnded_ OVELO_GUARDED_BY(lock_) = false;
    std::atomic<bool> isOver_ = false;
    CommandInterpreter interpreter_;
};

} // namespace ovelo
