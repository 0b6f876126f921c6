#pragma once

#include "platform/FileDescriptor.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <vector>

namespace ovelo {

/// A listener on a free port of loopback.
class LoopbackListener {
public:
    explicit LoopbackListener(int backlog, std::uint16_t wantedPort = 0)
        : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const int on = 1;
        ::setsockopt(socket_.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(wantedPort);
        socklen_t size = sizeof address;
        auto* any = reinterpret_cast<sockaddr*>(&address);
        isListening_ = ::bind(socket_.get(), any, size) == 0 &&
                       ::listen(socket_.get(), backlog) == 0 &&
                       ::getsockname(socket_.get(), any, &size) == 0;
        port_ = ntohs(address.sin_port);
    }

    [[nodiscard]] bool isListening() const { return isListening_; }
    [[nodiscard]] std::uint16_t port() const { return port_; }
    [[nodiscard]] int socket() const { return socket_.get(); }

    /// The next connection, when one comes in time.
    [[nodiscard]] FileDescriptor accept(int milliseconds) const {
        pollfd waiting{socket_.get(), POLLIN, 0};
        if (::poll(&waiting, 1, milliseconds) <= 0) {
            return {};
        }
        return FileDescriptor(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    }

private:
    FileDescriptor socket_;
    std::uint16_t port_ = 0;
    bool isListening_ = false;
};

/// A peer that answers no one: its queue of connections is full.
class FullListener {
public:
    FullListener() : listener_(0) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(listener_.port());
        for (auto& one : fill_) {
            one.reset(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
            (void)::connect(one.get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
        }
    }
    [[nodiscard]] std::uint16_t port() const { return listener_.port(); }

private:
    LoopbackListener listener_;
    std::array<FileDescriptor, 4> fill_;
};

/// A camera that sends raw RGB pictures of 320 x 240 to the one who connects.
class TcpFeeder {
public:
    [[nodiscard]] std::uint16_t port() const { return listener_.port(); }

    /// Sends one picture of the colour (red, 100, 200).
    bool send(std::uint8_t red) {
        if (!peer_) {
            peer_ = listener_.accept(5000);
        }
        std::vector<std::uint8_t> picture;
        picture.reserve(kSize);
        while (picture.size() < kSize) {
            picture.insert(picture.end(), {red, 100, 200});
        }
        return sendAll(picture.data(), kSize - 1) && sendLast(&picture[kSize - 1]);
    }

    /// When the last byte of the latest picture was given to the system.
    [[nodiscard]] std::chrono::steady_clock::time_point lastByte() const { return lastByte_; }

private:
    static constexpr std::size_t kSize = 320 * 240 * 3;

    bool sendLast(const std::uint8_t* byte) {
        lastByte_ = std::chrono::steady_clock::now();
        return sendAll(byte, 1);
    }

    bool sendAll(const std::uint8_t* bytes, std::size_t size) {
        while (size > 0) {
            const ssize_t sent = ::send(peer_.get(), bytes, size, MSG_NOSIGNAL);
            if (sent <= 0) {
                return false;
            }
            bytes += sent;
            size -= static_cast<std::size_t>(sent);
        }
        return true;
    }

    LoopbackListener listener_{5};
    FileDescriptor peer_;
    std::atomic<std::chrono::steady_clock::time_point> lastByte_{};
};

} // namespace ovelo
