#pragma once

#include "nat/LineQueue.h"
#include "platform/FileDescriptor.h"
#include "platform/Mutex.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace ovelo {

class Logger;

/// Lines and blocks in the datagrams of one UDP socket, without any promise that they arrive.
///
/// A line is "HEADER", the text, "TRAILER" in one datagram; a block is its bytes and "TRAILER" in
/// datagrams of at most kMostDatagram bytes. What else reaches the port is skipped. The peer is
/// whoever sent last.
///
/// Opened once, by StartServer() or StartP2P(), then read and written. The port is free again only
/// when the object is gone.
///
/// errors  false, and a line in the event log
/// thread  writes: any; opening and reads: one at a time; close() and lockPeer(): any
class UdpStream final {
public:
    static constexpr std::string_view kHeader = LineQueue::kHeader;
    static constexpr std::string_view kTrailer = LineQueue::kTrailer;
    static constexpr std::string_view kProbe = "UDPUDPUDPUDP";
    static constexpr std::size_t kMostDatagram = 1000; // of a block

    /// How long to wait, and how often; tests are less patient.
    struct Patience {
        std::chrono::milliseconds read = std::chrono::seconds(5); // of silence
        std::chrono::milliseconds answer = std::chrono::seconds(1);
        std::chrono::milliseconds retry{5}; // between two attempts to send the same datagram
    };

    /// Without a socket.
    explicit UdpStream(Logger& log);
    UdpStream(Logger& log, const Patience& patience);

    /// Takes an open socket over.
    UdpStream(FileDescriptor socket, Logger& log, const Patience& patience);

    ~UdpStream();
    UdpStream(const UdpStream&) = delete;
    UdpStream& operator=(const UdpStream&) = delete;

    /// Waits for peers at a local port.
    bool StartServer(std::uint16_t port);

    /// Punches a hole towards a peer: up to 10 probes, until something answers.
    ///
    /// peer_ip  dotted; anything else fails at once, as does a port that is none
    bool StartP2P(std::uint16_t port, const std::string& peer_ip, int peer_port);

    /// Waits for a line; false after 5 seconds of silence.
    bool ReadLine(std::string& result);

    /// state  what is looked for first: 0 the header, 1 the line feed, 2 the trailer
    bool ReadLine(std::string& result, int state);

    /// Fills the whole block, or fails after 5 seconds of silence.
    bool ReadBlock(std::span<std::uint8_t> block);

    /// Sends a line; waits for room. return: whether the system took it
    bool writeString(std::string_view text);

    /// Sends a block. A datagram that the system does not take is sent again and again, until it
    /// does or the stream is closed; so this may wait for as long as the network is away.
    bool writeData(std::span<const std::uint8_t> data);

    /// The peer's dotted address; empty before there was one.
    [[nodiscard]] std::string GetClient() const;

    // Our own additions.

    /// Ends whoever waits in here, now and later.
    void close();
    [[nodiscard]] bool isClosed() const { return closed_; }

    /// From now on only the present peer is heard: other senders' datagrams count as not received.
    /// Called by the reader, for whom the peer is the sender of what it has just read.
    void lockPeer() { isPeerLocked_ = true; }

    /// Sends of a whole message (a block and kTrailer) what the system takes now, from `offset` on,
    /// datagram by datagram. Never waits, unless for a writeData() in another thread.
    ///
    /// return  where to go on; message.size() when all of it is gone
    [[nodiscard]] std::size_t writeSome(std::span<const std::uint8_t> message, std::size_t offset);

    /// Sends a line if there is room now. Never waits, unless for a writeData() in another thread.
    ///
    /// return  false when the system did not take it
    [[nodiscard]] bool tryWriteString(std::string_view text);

    /// The local port, host byte order; 0 when not bound.
    [[nodiscard]] std::uint16_t localPort() const;

private:
    enum class Received { Some, Nothing, TimedOut, NotForUs };

    /// An IPv4 address and port in network byte order; small enough to be read and written whole.
    struct Address {
        std::uint32_t ip = 0;
        std::uint16_t port = 0;
        std::uint16_t isSet = 0;

        friend bool operator==(const Address&, const Address&) = default;
    };

    bool open(std::uint16_t port, bool reuseAddress);
    bool probe();

    bool receiveMore();
    bool fill(std::span<std::uint8_t> rest);
    Received receive(std::span<std::uint8_t> buffer, std::chrono::milliseconds limit,
                     std::size_t& count);
    Received receiveOne(std::span<std::uint8_t> buffer, std::size_t& count);
    [[nodiscard]] bool waitReadable(std::chrono::steady_clock::time_point deadline) const;

    int sendNext(std::span<const std::uint8_t> message, std::size_t& offset) const;
    int send(std::span<const std::uint8_t> datagram) const;
    void pauseBeforeRetry(int error) const;

    // In the product's own order.
    FileDescriptor sock_id_;
    std::atomic<Address> cli_name_{Address{}}; // the reader writes it, writers read it
    LineQueue queue_;                          // the reader's

    Logger& log_;
    const Patience patience_;
    const FileDescriptor wake_; // readable: closed
    std::atomic<bool> closed_ = false;
    std::atomic<bool> isPeerLocked_ = false;
    Mutex lock_{LockRank::Transport}; // held for a whole message
};

} // namespace ovelo
