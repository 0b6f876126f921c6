#pragma once

#include "platform/CHandle.h"
#include "platform/Data.h"
#include "platform/Mutex.h"

#include <netinet/in.h>
#include <sys/uio.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <shared_mutex>
#include <span>
#include <string>
#include <string_view>

namespace ovelo {

class Logger;

/// One IPv4 TCP socket, synchronous. Every failure is a SocketException whose name begins with
/// "Socket: ".
///
/// Fresh, then listening or connected, then closed for good: every operation on a closed one throws
/// "Socket: Bad socket descriptor".
///
/// thread  any; writes are serialised, reads belong to one thread at a time. close() wakes whoever
/// waits in here,
///         and the descriptor's number is not given back to the system before they have left.
class AbstractSocket {
public:
    static constexpr std::uint32_t kReadBufferSize = 4096;
    static constexpr int kPendingConnections = 5;

    /// A fresh socket.
    explicit AbstractSocket(Logger& log);

    /// Adopts an accepted descriptor.
    AbstractSocket(int fd, const sockaddr_in& remoteAddress, Logger& log);

    virtual ~AbstractSocket();
    AbstractSocket(const AbstractSocket&) = delete;
    AbstractSocket& operator=(const AbstractSocket&) = delete;

    /// Gives the receive buffer another size; what was in it is lost.
    void setReadBufferSize(std::uint32_t size);
    [[nodiscard]] std::uint32_t readBufferSize() const { return readBufferSize_; }

    /// The peer: the name given to connect, or the accepted peer's dotted address; empty when
    /// unconnected.
    [[nodiscard]] std::string remoteHostName() const;

    /// The peer's port: as given to connect (host byte order), or as accepted (network byte order).
    [[nodiscard]] std::uint16_t remotePort() const { return remotePort_; }

    [[nodiscard]] bool isConnected() const { return connected_; }
    [[nodiscard]] bool isListening() const { return listening_; }

    /// Shuts both directions down and closes. Safe to repeat.
    void close();

    /// Binds, with the address free for reuse. address: IPv4, host byte order.
    void bindTo(std::uint32_t address, std::uint16_t port);

    void listenOnPort(std::uint16_t port);
    void listenOnPort(std::uint16_t port, int maxPendingConnections);

    /// Waits for a client and turns this listening object into the connected one.
    void acceptConnection();

    void connectToHostName(const std::string& hostName, std::uint16_t port);

    void setBlocking(bool blocking);

    /// Whether a read, or a write, would find something to do now. Never waits.
    [[nodiscard]] bool isReadable() const;
    [[nodiscard]] bool isWritable() const;

    /// Receives once, at most readBufferSize() bytes, and appends them to `buffer`.
    ///
    /// return  bytes received; 0 when nothing is pending (still connected) or the peer has closed
    /// (not any more) errors  "Socket: Invalid buffer" without a buffer
    std::int32_t readData(Bytes* buffer);

    /// Sends all bytes; waits for room in a blocking socket.
    void writeData(std::span<const std::uint8_t> data);

    /// Logs the text and sends it.
    void writeString(std::string_view text);

    /// The dotted text of an address in network byte order.
    static std::string dottedIPFromAddress(const in_addr& address);

    // Our own additions.

    /// Sends what the system takes without waiting, in one gathered call.
    ///
    /// return  bytes taken, 0 when there is no room now
    [[nodiscard]] std::size_t writeSome(std::span<const iovec> parts);

    /// Waits until isWritable() or the time is over.
    bool waitWritable(std::chrono::milliseconds limit) const;

    /// Bytes that were written and not yet acknowledged by the peer.
    [[nodiscard]] std::size_t unacknowledged() const;

    /// Ends both directions, so that whoever waits in here returns. Nothing when closed.
    void shutdown() const;

    /// The local port, host byte order; 0 when not bound.
    [[nodiscard]] std::uint16_t localPort() const;

    /// Writes the line that announces a text to the event log.
    void logText(std::string_view text) const;

protected:
    /// Waits for a client. return: its descriptor, which the caller owns.
    int acceptDescriptor(sockaddr_in& remoteAddress) const;

    /// Sets an option of type int; false when the system refuses.
    bool setOption(int level, int name, int value) const;

    [[nodiscard]] Logger& log() const { return log_; }

private:
    void allocReadBuffer();
    [[nodiscard]] bool poll(short events, std::chrono::milliseconds limit) const;
    void checkConnected() const;
    int checkedDescriptor() const;

    std::atomic<bool> connected_ = false;
    std::atomic<bool> listening_ = false;
    CHandle<std::uint8_t, &std::free> readBuffer_;
    std::uint32_t readBufferSize_ = kReadBufferSize;
    std::string remoteHostName_; // guarded by lifetime_
    std::atomic<std::uint16_t> remotePort_ = 0;
    std::atomic<int> socketfd_ = -1; // changes only while lifetime_ is held alone

    Logger& log_;
    Mutex writeLock_{LockRank::Transport};
    mutable std::shared_mutex lifetime_; // shared while the descriptor is in use; a leaf
};

} // namespace ovelo
