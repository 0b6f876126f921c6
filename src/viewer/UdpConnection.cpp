#include "viewer/UdpConnection.h"

#include "platform/Polling.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace ovelo {

namespace {

/// A burst of several pictures; they are read late when the computer is busy.
constexpr int kReceiveBuffer = 512 * 1024;

std::string errorText(int error) {
    return std::generic_category().message(error);
}

sockaddr_in socketAddress(std::uint32_t ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ip;
    address.sin_port = port;
    return address;
}

} // namespace

UdpConnection::UdpConnection(std::uint16_t localPort, DatagramGatherer::PictureCheck isWholePicture)
    : localPort_(localPort)
    , gatherer_(std::move(isWholePicture)) {
}

std::optional<Failure> UdpConnection::connect(const std::string& host, std::uint16_t port,
                                              std::chrono::milliseconds timeout, int wakeFd) {
    close();
    const auto deadline = Clock::now() + timeout;
    const auto address = lookUpIpv4(host, timeout, wakeFd);
    if (!address) {
        return Failure{address.error()};
    }
    server_ = Address{address.value(), htons(port), 0};
    isServerKnown_ = false;
    auto failure = open();
    if (!failure) {
        failure = punch(deadline, wakeFd);
    }
    if (failure) {
        close();
    }
    return failure;
}

std::optional<Failure> UdpConnection::open() {
    socket_.reset(::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const sockaddr_in local = socketAddress(htonl(INADDR_ANY), htons(localPort_));
    if (!socket_ ||
        ::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        return Failure{errorText(errno)};
    }
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    return std::nullopt;
}

/// Sends probes until something comes.
std::optional<Failure> UdpConnection::punch(Clock::time_point deadline, int wakeFd) {
    std::array<pollfd, 2> waiting{pollfd{socket_.get(), POLLIN, 0}, pollfd{wakeFd, POLLIN, 0}};
    while (Clock::now() < deadline) {
        send(DatagramGatherer::kProbe);
        pollFor(waiting, std::min<Clock::duration>(deadline - Clock::now(), kProbePeriod));
        if (waiting[1].revents != 0) {
            return Failure{"interrupted"};
        }
        if (waiting[0].revents != 0 && adoptSender()) {
            send(DatagramGatherer::kProbe); // ours before may have met a closed door
            return std::nullopt;
        }
    }
    return Failure{"no answer within the time allowed"};
}

/// Looks who sent, and leaves the datagram to read(): it may be the greeting already.
bool UdpConnection::adoptSender() {
    sockaddr_in from{};
    socklen_t size = sizeof from;
    if (::recvfrom(socket_.get(), nullptr, 0, MSG_PEEK, reinterpret_cast<sockaddr*>(&from), &size) <
        0) {
        return false;
    }
    server_ = Address{from.sin_addr.s_addr, from.sin_port, 0};
    return true;
}

/// What the system does not take is lost, as it might be on the way. return: false without room
bool UdpConnection::send(std::string_view datagram) const {
    const Address server = server_;
    const sockaddr_in to = socketAddress(server.ip, server.port);
    return ::sendto(socket_.get(), datagram.data(), datagram.size(), MSG_NOSIGNAL,
                    reinterpret_cast<const sockaddr*>(&to), sizeof to) >= 0 ||
           errno != EAGAIN;
}

Result<std::span<const std::uint8_t>> UdpConnection::read(std::span<std::uint8_t> buffer) {
    for (bool isEmpty = false; !isEmpty;) {
        const auto datagram = receiveOne(buffer, isEmpty);
        const auto whole = gatherer_.take(datagram);
        if (!whole.empty()) {
            isServerKnown_ = true;
            return whole;
        }
    }
    return std::span<const std::uint8_t>();
}

/// isEmpty  becomes true when nothing is left
/// return   a datagram of the server, or nothing
std::span<const std::uint8_t> UdpConnection::receiveOne(std::span<std::uint8_t> buffer,
                                                        bool& isEmpty) {
    sockaddr_in from{};
    socklen_t size = sizeof from;
    const ssize_t count = ::recvfrom(socket_.get(), buffer.data(), buffer.size(), 0,
                                     reinterpret_cast<sockaddr*>(&from), &size);
    if (count < 0) {
        isEmpty = true; // an error of the network is a loss like others
        return {};
    }
    const Address sender{from.sin_addr.s_addr, from.sin_port, 0};
    const auto datagram = buffer.first(static_cast<std::size_t>(count));
    if (isServerKnown_) {
        return sender == server_.load() ? datagram : std::span<std::uint8_t>();
    }
    server_ = sender;
    const std::string_view text(reinterpret_cast<const char*>(datagram.data()), datagram.size());
    if (text == DatagramGatherer::kProbe) {
        send(DatagramGatherer::kProbe); // it is still waiting for ours
    }
    return datagram;
}

Result<std::size_t> UdpConnection::write(std::string_view lines) {
    std::size_t sent = 0;
    while (sent < lines.size()) {
        const std::size_t end = lines.find('\n', sent) + 1;
        std::string datagram(DatagramGatherer::kHeader);
        datagram.append(lines.substr(sent, end - sent)).append(DatagramGatherer::kTrailer);
        if (end == 0 || !send(datagram)) {
            break;
        }
        sent = end;
    }
    return sent;
}

std::uint16_t UdpConnection::localPort() const {
    sockaddr_in local{};
    socklen_t size = sizeof local;
    if (::getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&local), &size) != 0) {
        return 0;
    }
    return ntohs(local.sin_port);
}

} // namespace ovelo
