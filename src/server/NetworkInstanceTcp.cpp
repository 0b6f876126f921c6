// The life of a TCP session: the session thread and its reader. Greeting and reader thread are the
// same for UDP.

#include "platform/Console.h"
#include "platform/MainThread.h"
#include "platform/Threads.h"
#include "server/NetworkInstance.h"
#include "server/SessionHost.h"
#include "server/Socket.h"
#include "server/SocketException.h"
#include "server/ViewerDocument.h"
#include "support/Logger.h"

#include <fmt/format.h>

#include <thread>

namespace ovelo {

void NetworkInstance::startTcpConnection(std::shared_ptr<Socket> socket) {
    if (adopt(socket)) {
        MainThread::performAndWait([this, &socket] {
            environment_.network.setNetworkStatus(
                fmt::format("Accepted connection (T) from {}", socket->remoteHostName()));
        });
        std::jthread reader;
        try {
            greet(kTcp);
            reader = std::jthread([this] { readThread(kTcp); });
            superviseTcp(*socket);
        } catch (const SocketException& failure) {
            environment_.log.write(
                fmt::format("readThread() exception: {}: {}", failure.name(), failure.reason()));
        } catch (const std::exception& failure) { // no thread to be had
            environment_.log.write(fmt::format("readThread() exception: {}", failure.what()));
        }
        socket->shutdown(); // wakes the reader, which is joined here
    }
    tearDown(*socket);
}

bool NetworkInstance::adopt(const std::shared_ptr<Socket>& socket) {
    const MutexLock lock(lock_);
    tcpClientSocket_ = socket;
    return !cancelled_;
}

void NetworkInstance::greet(int connection_type) {
    const bool needsPassword = !getPassword().empty();
    const std::string version = versionLine();
    const MutexLock lock(lock_); // nothing may come between greeting and version
    if (needsPassword) {
        writeLocked("CONNECTED,PASS\n", connection_type);
        return;
    }
    writeLocked("CONNECTED\n", connection_type);
    (connection_type == kTcp ? tcpAuthenticated_ : udpAuthenticated_) = true;
    (connection_type == kTcp ? tcpStarted_ : udpStarted_) = true;
    writeLocked(version, connection_type);
}

void NetworkInstance::superviseTcp(Socket& socket) {
    while (socket.isConnected() && socket.isWritable()) {
        tcp_read_count_ = 0;
        watchWhileLinesCome(socket);
        const MutexLock lock(lock_);
        if (cancelled_ || readerEnded_) {
            return;
        }
    }
}

void NetworkInstance::watchWhileLinesCome(Socket& socket) {
    std::uint32_t remembered = 0;
    bool linesCame = true;
    while (linesCame) {
        sleepOrFlush(socket, environment_.clock.steady() + kWatchdogPeriod);
        const std::uint32_t count = tcp_read_count_;
        const MutexLock lock(lock_);
        linesCame = count != remembered && !cancelled_ && !readerEnded_;
        remembered = count;
    }
}

/// Sleeps until the time has come or the session ends, and meanwhile finishes what a viewer had no
/// room for.
void NetworkInstance::sleepOrFlush(Socket& socket, Clock::Steady until) {
    // A crawling viewer makes room in steps too small for the system to call the socket writable.
    constexpr auto kRetry = std::chrono::milliseconds(250);
    while (environment_.clock.steady() < until) {
        bool waiting = false;
        {
            const MutexLock lock(lock_);
            changed_.wait_until(lock_, until, [this]() OVELO_NO_ANALYSIS {
                return cancelled_ || readerEnded_ || outbox_.isWaiting();
            });
            if (cancelled_ || readerEnded_) {
                return;
            }
            waiting = outbox_.isWaiting();
        }
        if (waiting) {
            socket.waitWritable(kRetry);
            if (!flush(socket)) {
                // A broken connection counts as writable. The reader, which ends the session then,
                // may be busy with a command for long.
                pauseUnlessEnded(kRetry);
            }
        }
    }
}

/// return  false when the send failed
bool NetworkInstance::flush(Socket& socket) {
    try {
        const MutexLock lock(lock_);
        outbox_.flush(socket);
        return true;
    } catch (const SocketException& failure) {
        sendFailed("sendBinaryData", failure);
        return false;
    }
}

void NetworkInstance::pauseUnlessEnded(std::chrono::milliseconds length) {
    const MutexLock lock(lock_);
    changed_.wait_for(lock_, length,
                      [this]() OVELO_NO_ANALYSIS { return cancelled_ || readerEnded_; });
}

void NetworkInstance::tearDown(Socket& socket) {
    MainThread::performAndWait([this] {
        environment_.document.clientDisconnected();
        environment_.network.setNetworkStatus("Waiting for connection...");
    });
    socket.close();
    {
        const MutexLock lock(lock_);
        tcpClientSocket_.reset();
        tcpAuthenticated_ = false;
        tcpStarted_ = false;
    }
    environment_.network.networkInstanceExitSel(*this);
}

void NetworkInstance::readThread(int connection_type) {
    settleThread("viewer-reader");
    try {
        while (readOneLine(connection_type)) {
        }
    } catch (const SocketException& failure) {
        dropTcp();
        environment_.log.write(
            fmt::format("readThread() exception: {}: {}\n", failure.name(), failure.reason()));
    } catch (const std::exception& failure) { // no memory, or a command that failed
        dropTcp();
        environment_.log.write(fmt::format("readThread() exception: {}\n", failure.what()));
    }
    setReaderEnded();
}

/// return  false when there is no connection to read from
bool NetworkInstance::readOneLine(int connection_type) {
    return connection_type == kTcp ? readOneTcpLine() : readOneUdpLine();
}

bool NetworkInstance::readOneTcpLine() {
    const std::shared_ptr<Socket> connection = socket();
    if (!connection || !connection->isConnected()) {
        console::write("readThread() breaking");
        return false;
    }
    std::string line;
    if (ReadLine(*connection, line)) {
        interpreter_.prccessLine(line, kTcp);
        ++tcp_read_count_;
    } else {
        console::write("readThread() ReadLine() failed");
    }
    return true;
}

/// return  false when the peer has closed, or had to be closed
bool NetworkInstance::ReadLine(Socket& socket, std::string& line) {
    for (;;) {
        switch (tcpDataBuffer_.next(line)) {
        case LineBuffer::Result::Line:
            return true;
        case LineBuffer::Result::TooLong:
            environment_.log.write("ReadLine() dropped a line of 2048 bytes or more\n");
            break;
        case LineBuffer::Result::NotText:
            environment_.log.write("ReadLine() dropped a line that is not UTF-8 text\n");
            break;
        case LineBuffer::Result::None:
            if (tcpDataBuffer_.isFlooded()) {
                environment_.log.write("ReadLine() closing: more than 1 MiB without a line feed\n");
                socket.close();
            }
            if (!socket.isConnected()) {
                return false;
            }
            socket.readData(&tcpDataBuffer_.bytes());
            break;
        }
    }
}

void NetworkInstance::dropTcp() {
    const std::shared_ptr<Socket> connection = socket();
    if (connection) {
        connection->close();
    }
    const MutexLock lock(lock_);
    tcpClientSocket_.reset();
}

void NetworkInstance::setReaderEnded() {
    {
        const MutexLock lock(lock_);
        readerEnded_ = true;
    }
    changed_.notify_all();
}

} // namespace ovelo
