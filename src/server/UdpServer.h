#pragma once

#include "nat/MapAddr.h"
#include "platform/Clock.h"
#include "platform/FileDescriptor.h"
#include "platform/Mutex.h"
#include "server/ServedThread.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

class Logger;
class NATBuster;
class Settings;
class UdpStream;

/// Reaches viewers behind home routers, one at a time: learns our public UDP address, tells it to
/// the rendezvous service, and punches a hole towards whoever the service says wants to connect.
///
/// thread  main, unless said otherwise
class UdpServer final {
public:
    /// How long it rests; tests are less patient.
    struct Pauses {
        std::chrono::milliseconds idle = std::chrono::seconds(30);  // nothing learned, or nobody
        std::chrono::milliseconds brief = std::chrono::seconds(5);  // for an answer; to a new try
        std::chrono::milliseconds renew = std::chrono::seconds(30); // least between registrations
    };

    /// What it works with; all of it outlives the object.
    struct Environment {
        /// Makes the rendezvous' user, whose waits end when wakeFd is readable.
        std::function<std::unique_ptr<NATBuster>(int wakeFd)> natBuster;
        const Settings& settings; // "email"
        Logger& log;
        const Clock& clock;

        /// Serves the viewer at the other end until it is gone or the stream is closed. On the UDP
        /// thread.
        std::function<void(std::shared_ptr<UdpStream> stream)> serve;

        std::uint16_t port = kPort;
        Pauses pauses = {};
    };

    static constexpr std::uint16_t kPort = 1726;

    explicit UdpServer(Environment environment);
    ~UdpServer();
    UdpServer(const UdpServer&) = delete;
    UdpServer& operator=(const UdpServer&) = delete;

    void start();

    /// Ends every wait of the thread at once, and the session that it serves.
    void requestStop();

    /// Joins the thread; see ServedThread.
    void finish(std::chrono::milliseconds patience) { udpServerThread_.finish(patience); }

    [[nodiscard]] bool isStarted() const { return udpServerThread_.isStarted(); }
    [[nodiscard]] bool hasEnded() const { return udpServerThread_.hasEnded(); }

    /// Registers the address and asks for peers, unless it did less than 30 seconds ago.
    ///
    /// mapAddr  ours; none: what a router that changes nothing would make of it
    void runRegInMainThread(const std::optional<MapAddr>& mapAddr);

    /// Takes the peers of a match reply; one that names nobody leaves those that are known.
    void matchCompleted(const std::string& reply);

    /// The peers that are still to be tried. Any thread.
    [[nodiscard]] std::vector<MapAddr> peerUdpAddrList() const;

    /// Our own public address, once it was learned. Any thread.
    [[nodiscard]] std::optional<MapAddr> myMapAddr() const;

private:
    using Milliseconds = std::chrono::milliseconds;

    void udpServerThread(const std::stop_token& stop);
    Milliseconds runRound(const std::stop_token& stop);
    bool registerWithStun();
    Milliseconds servePeer(const MapAddr& peer, const std::stop_token& stop);
    std::shared_ptr<UdpStream> openStream(const MapAddr& peer, const std::stop_token& stop);
    bool makeCurrent(const std::shared_ptr<UdpStream>& stream, const std::stop_token& stop);
    std::optional<MapAddr> firstPeer() const;
    void dropPeer(const MapAddr& peer);
    void pause(const std::stop_token& stop, Milliseconds length);

    const Environment environment_;
    const FileDescriptor wake_;                  // readable: the waits of the registration end
    std::optional<Clock::Steady> lastStunRegDt_; // main thread

    mutable Mutex lock_{LockRank::Threads};
    std::condition_variable_any stopped_;
    std::vector<MapAddr> peerUdpAddrList_ OVELO_GUARDED_BY(lock_);
    std::optional<MapAddr> myMapAddr_ OVELO_GUARDED_BY(lock_);
    std::weak_ptr<UdpStream> current_ OVELO_GUARDED_BY(lock_); // the port is free when it is gone
    const std::unique_ptr<NATBuster> natBuster_;
    ServedThread udpServerThread_; // last: ends before what it uses
};

} // namespace ovelo
