#pragma once

#include "platform/FileDescriptor.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ovelo {

/// The other end of a UDP path: a plain socket on loopback, with nothing of the product in it.
class UdpPeer {
public:
    /// ip  dotted; the address to bind
    explicit UdpPeer(const char* ip = "127.0.0.1", std::uint16_t port = 0)
        : fd_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const sockaddr_in local = address(ip, port);
        isBound_ = ::bind(fd_.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0;
    }

    [[nodiscard]] bool isBound() const { return isBound_; }
    [[nodiscard]] int fd() const { return fd_.get(); }

    [[nodiscard]] std::uint16_t port() const {
        sockaddr_in local{};
        socklen_t size = sizeof local;
        ::getsockname(fd_.get(), reinterpret_cast<sockaddr*>(&local), &size);
        return ntohs(local.sin_port);
    }

    void send(std::string_view bytes, std::uint16_t port, const char* ip = "127.0.0.1") const {
        const sockaddr_in to = address(ip, port);
        ::sendto(fd_.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                 sizeof to);
    }

    /// Sends to whom the last datagram came from.
    void reply(std::string_view bytes) const {
        ::sendto(fd_.get(), bytes.data(), bytes.size(), 0,
                 reinterpret_cast<const sockaddr*>(&sender_), sizeof sender_);
    }

    /// The next datagram; nothing when none comes in time.
    std::optional<std::string>
    receive(std::chrono::milliseconds limit = std::chrono::milliseconds(5000)) {
        pollfd waiting{fd_.get(), POLLIN, 0};
        if (::poll(&waiting, 1, static_cast<int>(limit.count())) <= 0) {
            return std::nullopt;
        }
        socklen_t size = sizeof sender_;
        const ssize_t count = ::recvfrom(fd_.get(), buffer_.data(), buffer_.size(), 0,
                                         reinterpret_cast<sockaddr*>(&sender_), &size);
        if (count < 0) {
            return std::nullopt;
        }
        return std::string(buffer_.data(), static_cast<std::size_t>(count));
    }

    /// Sender of the last datagram, host byte order.
    [[nodiscard]] std::uint16_t senderPort() const { return ntohs(sender_.sin_port); }
    [[nodiscard]] std::uint32_t senderIp() const { return ntohl(sender_.sin_addr.s_addr); }

private:
    static sockaddr_in address(const char* ip, std::uint16_t port) {
        sockaddr_in result{};
        result.sin_family = AF_INET;
        ::inet_pton(AF_INET, ip, &result.sin_addr);
        result.sin_port = htons(port);
        return result;
    }

    FileDescriptor fd_;
    bool isBound_ = false;
    sockaddr_in sender_{};
    std::array<char, 65536> buffer_{};
};

} // namespace ovelo
