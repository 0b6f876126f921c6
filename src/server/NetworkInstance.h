#pragma once

#include "platform/Clock.h"
#include "platform/Data.h"
#include "platform/Mutex.h"
#include "server/CommandInterpreter.h"
#include "server/CommandSession.h"
#include "server/FrameDelay.h"
#include "server/LineBuffer.h"
#include "server/Outbox.h"

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
    struct Environment {
        ViewerDocument& document;
        SessionHost& network;
        Settings& settings;
        Logger& log;
        const Clock& clock;
    };

    /// How long a silent viewer is left alone before its connection is looked at.
    static constexpr auto kWatchdogPeriod = std::chrono::seconds(5);

    explicit NetworkInstance(const Environment& environment);
    ~NetworkInstance() override;
    NetworkInstance(const NetworkInstance&) = delete;
    NetworkInstance& operator=(const NetworkInstance&) = delete;

    /// The whole life of a TCP session: returns when it is over. On a thread of its own.
    void startTcpConnection(std::shared_ptr<Socket> socket);

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

    [[nodiscard]] float frameRateWait() const { return frame_rate_wait_; }
    [[nodiscard]] float frameDelay() const { return frameDelay_.delay(); }

private:
    static constexpr int kTcp = 0; // connection_type
    using BlockWriter = bool (Outbox::*)(AbstractSocket&, std::string_view, const Data&);

    void sendBlock(BlockWriter write, const Data& data, std::string_view desc,
                   const SyncData& syncData);

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
    void greet();
    void superviseTcp(Socket& socket);
    void watchWhileLinesCome(Socket& socket);
    void sleepOrFlush(Socket& socket, Clock::Steady until);
    bool flush(Socket& socket);
    void pauseUnlessEnded(std::chrono::milliseconds length);
    void tearDown(Socket& socket);

    // The reader thread.
    void readThread(int connection_type);
    bool readOneLine(int connection_type);
    bool ReadLine(Socket& socket, std::string& line);
    void dropTcp();

    [[nodiscard]] std::shared_ptr<Socket> socket() const;
    [[nodiscard]] std::string versionLine() const;
    void writeLocked(const std::string& text) OVELO_REQUIRES(lock_);
    void sendFailed(const char* operation, const SocketException& failure);
    void setReaderEnded();

    // In the product's own order.
    std::shared_ptr<Socket> tcpClientSocket_ OVELO_GUARDED_BY(lock_); // shared with who is using it
    std::atomic<bool> tcpAuthenticated_ = false;
    std::atomic<bool> tcpStarted_ = false;
    std::atomic<std::uint32_t> tcp_read_count_ = 0;
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
    bool cancelled_ OVELO_GUARDED_BY(lock_) = false;
    bool readerEnded_ OVELO_GUARDED_BY(lock_) = false;
    CommandInterpreter interpreter_;
};

} // namespace ovelo
