// The life of a UDP session: the server's UDP thread and the session's reader.

#include "nat/UdpStream.h"
#include "platform/MainThread.h"
#include "platform/Utf8.h"
#include "server/NetworkInstance.h"
#include "server/SessionHost.h"
#include "server/SocketException.h"
#include "support/Logger.h"

#include <fmt/format.h>

#include <stdexcept>
#include <thread>

namespace ovelo {

void NetworkInstance::startUdpConnection(std::shared_ptr<UdpStream> stream) {
    if (adopt(stream)) {
        MainThread::performAndWait([this, &stream] {
            environment_.network.setNetworkStatus(
                fmt::format("Accepted connection (U) {}", stream->GetClient()));
        });
        std::jthread reader;
        try {
            greet(kUdp);
            reader = std::jthread([this] { readThread(kUdp); });
            superviseUdp();
        } catch (const std::exception& failure) {
            environment_.log.write(fmt::format("readThread() exception: {}", failure.what()));
        }
        stream->close(); // wakes the reader, which is joined here
    }
    tearDownUdp();
}

std::shared_ptr<UdpStream> NetworkInstance::udpStream() const {
    const MutexLock lock(lock_);
    return udpStream_;
}

bool NetworkInstance::adopt(const std::shared_ptr<UdpStream>& stream) {
    const MutexLock lock(lock_);
    udpStream_ = stream;
    udpAuthenticated_ = false;
    udpStarted_ = false;
    return !cancelled_;
}

/// errors  std::runtime_error when the viewer has been silent for too long
void NetworkInstance::superviseUdp() {
    udp_read_count_ = 0;
    std::uint32_t remembered = 0;
    while (sleepOrFlushUdp(environment_.clock.steady() + environment_.udpWatchdogPeriod)) {
        const std::uint32_t count = udp_read_count_;
        if (count == remembered) {
            throw std::runtime_error("No response: assuming client disconnect.");
        }
        remembered = count;
    }
}

/// Sleeps until the time has come, and meanwhile finishes what the system had no room for.
///
/// return  false when the session ends
bool NetworkInstance::sleepOrFlushUdp(Clock::Steady until) {
    constexpr auto kRetry = std::chrono::milliseconds(5);
    while (environment_.clock.steady() < until) {
        bool isWaiting = false;
        {
            const MutexLock lock(lock_);
            changed_.wait_until(lock_, until, [this]() OVELO_NO_ANALYSIS {
                return cancelled_ || readerEnded_ || !udpStream_ || udpOutbox_.isWaiting();
            });
            if (cancelled_ || readerEnded_ || !udpStream_) {
                return false;
            }
            isWaiting = udpOutbox_.isWaiting();
        }
        if (isWaiting) {
            pauseUnlessEnded(kRetry);
            flushUdp();
        }
    }
    return true;
}

void NetworkInstance::flushUdp() {
    try {
        const MutexLock lock(lock_);
        if (udpStream_) {
            udpOutbox_.flush(*udpStream_);
        }
    } catch (const SocketException& failure) {
        sendFailed("sendBinaryData", failure);
    }
}

void NetworkInstance::writeUdpLocked(const std::string& text) {
    if (!udpStream_) {
        return;
    }
    if (!udpOutbox_.sendText(*udpStream_, text)) {
        environment_.log.write("sendText() dropped a text that finds no room in a datagram\n");
    }
    if (udpOutbox_.isWaiting()) {
        changed_.notify_all();
    }
}

void NetworkInstance::dropUdpLocked() {
    udpAuthenticated_ = false;
    udpStarted_ = false;
    if (udpStream_) {
        udpStream_->close(); // wakes the reader
        udpStream_.reset();
        changed_.notify_all();
    }
}

/// Kept: unlike a TCP session it neither tells the document nor leaves the registry.
void NetworkInstance::tearDownUdp() {
    MainThread::performAndWait(
        [this] { environment_.network.setNetworkStatus("Waiting for connection..."); });
    const MutexLock lock(lock_);
    dropUdpLocked();
    isOver_ = true;
}

/// return  false when there is no stream to read from
bool NetworkInstance::readOneUdpLine() {
    const std::shared_ptr<UdpStream> stream = udpStream();
    if (!stream || stream->isClosed()) {
        return false;
    }
    std::string line;
    if (!stream->ReadLine(line)) {
        pauseUnlessEnded(std::chrono::milliseconds(1)); // failures may come as fast as datagrams
        return true;                                    // silence is the watchdog's business
    }
    if (!isUtf8(line)) {
        environment_.log.write("ReadLine() dropped a line that is not UTF-8 text\n");
        return true;
    }
    interpreter_.prccessLine(line, kUdp);
    ++udp_read_count_;
    return true;
}

} // namespace ovelo
