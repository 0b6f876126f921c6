#include "viewer/TcpConnection.h"

#include "platform/Polling.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace ovelo {

namespace {

/// What we sent and the server's computer did not acknowledge for this long means that it is gone.
constexpr int kUserTimeout = 15000; // milliseconds

std::string errorText(int error) {
    return std::generic_category().message(error);
}

/// Small commands leave at once, and a computer that vanished is noticed.
void setOptions(int fd) {
    const int on = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    ::setsockopt(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, &kUserTimeout, sizeof kUserTimeout);
}

/// Waits until a connection that was begun stands.
std::optional<Failure> awaitConnection(int fd, std::chrono::milliseconds timeout, int wakeFd) {
    std::array<pollfd, 2> waiting{pollfd{fd, POLLOUT, 0}, pollfd{wakeFd, POLLIN, 0}};
    pollFor(waiting, timeout);
    if (waiting[1].revents != 0) {
        return Failure{"interrupted"};
    }
    if (waiting[0].revents == 0) {
        return Failure{"no answer within the time allowed"};
    }
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size);
    return error == 0 ? std::nullopt : std::optional(Failure{errorText(error)});
}

} // namespace

std::optional<Failure> TcpConnection::connect(const std::string& host, std::uint16_t port,
                                              std::chrono::milliseconds timeout, int wakeFd) {
    close();
    const auto begin = std::chrono::steady_clock::now();
    const auto address = lookUpIpv4(host, timeout, wakeFd);
    if (!address) {
        return Failure{address.error()};
    }
    const auto spent = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - begin);
    auto failure = open(address.value(), port,
                        std::max(timeout - spent, std::chrono::milliseconds(0)), wakeFd);
    if (failure) {
        close();
    }
    return failure;
}

std::optional<Failure> TcpConnection::open(Ipv4Address address, std::uint16_t port,
                                           std::chrono::milliseconds timeout, int wakeFd) {
    socket_.reset(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket_) {
        return Failure{errorText(errno)};
    }
    setOptions(socket_.get());
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(port);
    peer.sin_addr.s_addr = address;
    if (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0) {
        return std::nullopt;
    }
    const int error = errno;
    if (error != EINPROGRESS) {
        return Failure{errorText(error)};
    }
    return awaitConnection(socket_.get(), timeout, wakeFd);
}

Result<std::span<const std::uint8_t>> TcpConnection::read(std::span<std::uint8_t> buffer) {
    const ssize_t count = ::recv(socket_.get(), buffer.data(), buffer.size(), 0);
    const int error = errno;
    if (count > 0) {
        return std::span<const std::uint8_t>(buffer.first(static_cast<std::size_t>(count)));
    }
    if (count == 0) {
        return Failure{"the server closed the connection"};
    }
    if (error == EAGAIN || error == EWOULDBLOCK || error == EINTR) {
        return std::span<const std::uint8_t>();
    }
    return Failure{errorText(error)};
}

Result<std::size_t> TcpConnection::write(std::string_view lines) {
    const ssize_t count = ::send(socket_.get(), lines.data(), lines.size(), MSG_NOSIGNAL);
    const int error = errno;
    if (count >= 0) {
        return static_cast<std::size_t>(count);
    }
    if (error == EAGAIN || error == EWOULDBLOCK || error == EINTR) {
        return std::size_t{0};
    }
    return Failure{errorText(error)};
}

} // namespace ovelo
