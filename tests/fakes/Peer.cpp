#include "fakes/Peer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace ovelo {

namespace {

using Clock = std::chrono::steady_clock;

int remaining(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::max<std::int64_t>(left, 0));
}

} // namespace

Peer::Peer(std::uint16_t port, int receiveBuffer)
    : fd_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (receiveBuffer > 0) {
        ::setsockopt(fd(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("peer cannot connect");
    }
}

void Peer::send(std::string_view text) const {
    while (!text.empty()) {
        const ssize_t sent = ::send(fd(), text.data(), text.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return; // the server has closed, which the test sees when it reads
        }
        text.remove_prefix(static_cast<std::size_t>(sent));
    }
}

Peer::Received Peer::receive(Clock::time_point deadline) {
    pollfd readable{fd(), POLLIN, 0};
    if (::poll(&readable, 1, remaining(deadline)) != 1) {
        return Received::Nothing;
    }
    std::array<char, 65536> buffer{};
    const ssize_t count = ::recv(fd(), buffer.data(), buffer.size(), 0);
    if (count <= 0) {
        return Received::Closed;
    }
    pending_.append(buffer.data(), static_cast<std::size_t>(count));
    return Received::Some;
}

std::optional<std::string> Peer::line(std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    std::size_t end = pending_.find('\n');
    while (end == std::string::npos) {
        if (receive(deadline) != Received::Some) {
            return std::nullopt;
        }
        end = pending_.find('\n');
    }
    std::string text = pending_.substr(0, end);
    pending_.erase(0, end + 1);
    return text;
}

std::string Peer::bytes(std::size_t count, std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    while (pending_.size() < count && receive(deadline) == Received::Some) {
    }
    std::string text = pending_.substr(0, count);
    pending_.erase(0, text.size());
    return text;
}

bool Peer::staysSilent(std::chrono::milliseconds duration) {
    return pending_.empty() && receive(Clock::now() + duration) == Received::Nothing;
}

bool Peer::isClosedByServer(std::chrono::milliseconds limit) {
    const auto deadline = Clock::now() + limit;
    Received received = Received::Some;
    while (received == Received::Some) {
        pending_.clear();
        received = receive(deadline);
    }
    return received == Received::Closed;
}

void Peer::shutdownWriting() const {
    ::shutdown(fd(), SHUT_WR);
}

void Peer::reset() {
    const linger hard{1, 0};
    ::setsockopt(fd(), SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
    fd_.reset();
}

} // namespace ovelo
