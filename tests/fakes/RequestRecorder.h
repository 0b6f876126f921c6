#pragma once

#include "fakes/TcpFeeder.h"

#include <strings.h>

#include <array>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace ovelo {

/// An HTTP server on loopback that notes down what it is asked, one request a connection, and
/// answers all alike.
class RequestRecorder {
public:
    struct Request {
        std::string line; // without the line end
        std::string head; // the header lines
        std::string body;

        /// The value of a header, empty when it is not there.
        [[nodiscard]] std::string header(const std::string& name) const {
            std::size_t at = 0;
            while (at < head.size()) {
                const auto end = head.find("\r\n", at);
                const std::string one = head.substr(at, end - at);
                if (::strncasecmp(one.c_str(), (name + ": ").c_str(), name.size() + 2) == 0) {
                    return one.substr(name.size() + 2);
                }
                at = end + 2;
            }
            return {};
        }
    };

    explicit RequestRecorder(std::string status = "200 OK")
        : status_(std::move(status))
        , listener_(5)
        , thread_([this](const std::stop_token& stop) { run(stop); }) {}

    [[nodiscard]] std::string url() const {
        return "http://127.0.0.1:" + std::to_string(listener_.port());
    }

    [[nodiscard]] std::vector<Request> requests() const {
        const std::lock_guard lock(lock_);
        return requests_;
    }

private:
    static constexpr int kTurn = 20;      // milliseconds, until it looks whether it shall stop
    static constexpr int kPatience = 500; // turns without a byte

    void run(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            const FileDescriptor client = listener_.accept(kTurn);
            if (!client) {
                continue;
            }
            if (auto request = read(client.get(), stop)) {
                const std::lock_guard lock(lock_);
                requests_.push_back(*std::move(request));
            }
            const std::string answer =
                "HTTP/1.1 " + status_ + "\r\nContent-Length: 2\r\nConnection: close\r\n\r\nok";
            (void)::send(client.get(), answer.data(), answer.size(), MSG_NOSIGNAL);
        }
    }

    static bool readMore(int client, std::string& bytes, const std::stop_token& stop) {
        for (int turn = 0; turn < kPatience && !stop.stop_requested(); ++turn) {
            pollfd waiting{client, POLLIN, 0};
            if (::poll(&waiting, 1, kTurn) <= 0) {
                continue;
            }
            std::array<char, 65536> part{};
            const auto count = ::recv(client, part.data(), part.size(), 0);
            bytes.append(part.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
            return count > 0;
        }
        return false;
    }

    static std::optional<Request> read(int client, const std::stop_token& stop) {
        std::string bytes;
        std::size_t end = std::string::npos;
        while ((end = bytes.find("\r\n\r\n")) == std::string::npos) {
            if (!readMore(client, bytes, stop)) {
                return std::nullopt;
            }
        }
        const auto first = bytes.find("\r\n");
        Request request{bytes.substr(0, first), bytes.substr(first + 2, end - first),
                        bytes.substr(end + 4)};
        const std::size_t length = std::stoul("0" + request.header("Content-Length"));
        while (request.body.size() < length) {
            if (!readMore(client, request.body, stop)) {
                return std::nullopt;
            }
        }
        return request;
    }

    const std::string status_;
    const LoopbackListener listener_;
    mutable std::mutex lock_;
    std::vector<Request> requests_;
    std::jthread thread_;
};

} // namespace ovelo
