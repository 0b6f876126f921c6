#include "server/UdpServer.h"

#include "nat/NATBuster.h"
#include "nat/UdpStream.h"
#include "platform/MainThread.h"
#include "platform/Settings.h"
#include "platform/Threads.h"
#include "support/Logger.h"

#include <fmt/format.h>
#include <sys/eventfd.h>

#include <exception>
#include <utility>

namespace ovelo {

UdpServer::UdpServer(Environment environment)
    : environment_(std::move(environment))
    , wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , natBuster_(environment_.natBuster(wake_.get())) {
}

UdpServer::~UdpServer() {
    requestStop();
}

void UdpServer::start() {
    eventfd_t stale = 0;
    ::eventfd_read(wake_.get(), &stale);
    udpServerThread_.start([this](const std::stop_token& stop) { udpServerThread(stop); });
}

void UdpServer::requestStop() {
    udpServerThread_.requestStop(); // first: no stream is opened after the one that is closed here
    ::eventfd_write(wake_.get(), 1);
    const MutexLock lock(lock_);
    if (const auto stream = current_.lock()) {
        stream->close();
    }
}

void UdpServer::udpServerThread(const std::stop_token& stop) {
    settleThread("viewer-udp");
    while (!stop.stop_requested()) {
        Milliseconds rest = environment_.pauses.idle;
        try {
            rest = runRound(stop);
        } catch (const std::exception& failure) { // no memory, mostly
            environment_.log.write(
                fmt::format("udpServerThread() exception: {}\n", failure.what()));
        }
        pause(stop, rest);
    }
}

/// return  how long to rest before the next one
UdpServer::Milliseconds UdpServer::runRound(const std::stop_token& stop) {
    if (!registerWithStun()) {
        return environment_.pauses.idle;
    }
    MainThread::performAndWait([this, own = myMapAddr()] { runRegInMainThread(own); });
    pause(stop, environment_.pauses.brief); // until the service has answered
    const auto peer = firstPeer();
    return peer ? servePeer(*peer, stop) : environment_.pauses.idle;
}

bool UdpServer::registerWithStun() {
    std::optional<MapAddr> found;
    const bool isRegistered = natBuster_->regToStunServer(environment_.port, found);
    environment_.log.write(fmt::format("regToStunServer() returns: {:d}\n", isRegistered));
    if (isRegistered) {
        const MutexLock lock(lock_);
        myMapAddr_ = std::move(found);
    }
    return isRegistered;
}

UdpServer::Milliseconds UdpServer::servePeer(const MapAddr& peer, const std::stop_token& stop) {
    auto stream = openStream(peer, stop);
    if (!stream) {
        dropPeer(peer);
        return Milliseconds(0);
    }
    environment_.serve(std::move(stream));
    return environment_.pauses.brief;
}

std::shared_ptr<UdpStream> UdpServer::openStream(const MapAddr& peer, const std::stop_token& stop) {
    constexpr int kAttempts = 3;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        if (attempt > 0) {
            pause(stop, environment_.pauses.brief);
        }
        auto stream = std::make_shared<UdpStream>(environment_.log);
        if (!makeCurrent(stream, stop)) {
            return nullptr;
        }
        if (stream->StartP2P(environment_.port, peer.mappedAddr(), peer.mappedPort())) {
            return stream;
        }
        environment_.log.write("UDP StartP2P failed\n");
    }
    return nullptr;
}

/// return  false when the server has been stopped
bool UdpServer::makeCurrent(const std::shared_ptr<UdpStream>& stream, const std::stop_token& stop) {
    const MutexLock lock(lock_);
    current_ = stream;
    return !stop.stop_requested();
}

std::optional<MapAddr> UdpServer::firstPeer() const {
    const MutexLock lock(lock_);
    return peerUdpAddrList_.empty() ? std::nullopt : std::optional(peerUdpAddrList_.front());
}

/// Unless a newer list has taken its place.
void UdpServer::dropPeer(const MapAddr& peer) {
    const MutexLock lock(lock_);
    if (!peerUdpAddrList_.empty() && peerUdpAddrList_.front() == peer) {
        peerUdpAddrList_.erase(peerUdpAddrList_.begin());
    }
}

void UdpServer::pause(const std::stop_token& stop, Milliseconds length) {
    const MutexLock lock(lock_);
    stopped_.wait_for(lock_, stop, length, [] { return false; });
}

void UdpServer::runRegInMainThread(const std::optional<MapAddr>& mapAddr) {
    const auto now = environment_.clock.steady();
    if (lastStunRegDt_ && now - *lastStunRegDt_ < environment_.pauses.renew) {
        return;
    }
    lastStunRegDt_ = now;
    rendezvous::Registration own;
    own.access_id = environment_.settings.string("email").value_or("");
    if (mapAddr) {
        own.mapped_ip = mapAddr->mappedAddr();
        own.mapped_port = std::to_string(mapAddr->mappedPort());
        own.nat_type = mapAddr->nat_type();
    }
    natBuster_->regToInstruducer(own.access_id, own.service_id, true, own.udp_port, own.mapped_ip,
                                 own.mapped_port, own.nat_type);
    natBuster_->MatchInstruducer(own.access_id, own.service_id, false,
                                 [this](const std::string& reply) { matchCompleted(reply); });
}

void UdpServer::matchCompleted(const std::string& reply) {
    if (auto peers = rendezvous::peersOfMatchReply(reply)) {
        const MutexLock lock(lock_);
        peerUdpAddrList_ = std::move(*peers);
    }
}

std::vector<MapAddr> UdpServer::peerUdpAddrList() const {
    const MutexLock lock(lock_);
    return peerUdpAddrList_;
}

std::optional<MapAddr> UdpServer::myMapAddr() const {
    const MutexLock lock(lock_);
    return myMapAddr_;
}

} // namespace ovelo
