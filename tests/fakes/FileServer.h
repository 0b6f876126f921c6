#pragma once

#include "fakes/TcpFeeder.h"

#include <string>
#include <string_view>
#include <thread>

namespace ovelo {

/// An HTTP server on loopback that has one file, and sends it as fast as it is taken to one client
/// at a time.
class FileServer {
public:
    explicit FileServer(std::string content)
        : content_(std::move(content))
        , listener_(5)
        , thread_([this](const std::stop_token& stop) { run(stop); }) {}

    [[nodiscard]] std::uint16_t port() const { return listener_.port(); }

private:
    static constexpr int kTurn = 20; // milliseconds, until it looks whether it shall stop

    void run(const std::stop_token& stop) const {
        while (!stop.stop_requested()) {
            const FileDescriptor client = listener_.accept(kTurn);
            if (client) {
                const std::string head =
                    "HTTP/1.0 200 OK\r\nConnection: close\r\nContent-Length: " +
                    std::to_string(content_.size()) + "\r\n\r\n";
                readRequest(client.get());
                sendAll(client.get(), head + content_, stop);
            }
        }
    }

    /// Closing with something unread would cut the answer off.
    static void readRequest(int client) {
        std::array<char, 4096> bytes{};
        std::string request;
        while (request.find("\r\n\r\n") == std::string::npos) {
            const auto count = ::recv(client, bytes.data(), bytes.size(), 0);
            if (count <= 0) {
                return;
            }
            request.append(bytes.data(), static_cast<std::size_t>(count));
        }
    }

    static void sendAll(int client, std::string_view left, const std::stop_token& stop) {
        while (!left.empty() && !stop.stop_requested()) {
            pollfd ready{client, POLLOUT, 0};
            if (::poll(&ready, 1, kTurn) <= 0) {
                continue;
            }
            const auto count =
                ::send(client, left.data(), left.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            if (count <= 0) {
                return;
            }
            left.remove_prefix(static_cast<std::size_t>(count));
        }
    }

    const std::string content_;
    const LoopbackListener listener_;
    std::jthread thread_;
};

} // namespace ovelo
