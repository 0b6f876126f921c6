#pragma once

#include "fakes/TcpFeeder.h"

#include <poll.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace ovelo {

/// A network camera on loopback that sends JPEG pictures over HTTP, 20 a second, to one viewer at a
/// time.
class MjpegServer {
public:
    /// port  0 for any
    explicit MjpegServer(std::vector<std::string> pictures, std::uint16_t port = 0)
        : pictures_(std::move(pictures))
        , listener_(5, port)
        , thread_([this](const std::stop_token& stop) { run(stop); }) {}

    [[nodiscard]] bool isListening() const { return listener_.isListening(); }
    [[nodiscard]] std::uint16_t port() const { return listener_.port(); }
    [[nodiscard]] int connections() const { return connections_; }

    /// Keeps the connection, but sends nothing any more.
    void stall() { isStalled_ = true; }

private:
    void run(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            const FileDescriptor viewer = listener_.accept(20);
            if (viewer) {
                ++connections_;
                serve(viewer.get(), stop);
            }
        }
    }

    void serve(int viewer, const std::stop_token& stop) {
        bool isWell = sendText(viewer, "HTTP/1.0 200 OK\r\nConnection: close\r\nContent-Type: "
                                       "multipart/x-mixed-replace; boundary=picture\r\n\r\n");
        for (std::size_t i = 0; isWell && !stop.stop_requested(); ++i) {
            const std::string& picture = pictures_[i % pictures_.size()];
            if (!isStalled_) {
                isWell = sendText(
                    viewer, "--picture\r\nContent-Type: image/jpeg\r\nContent-Length: " +
                                std::to_string(picture.size()) + "\r\n\r\n" + picture + "\r\n");
            }
            isWell = isWell && isThere(viewer);
            std::this_thread::sleep_for(std::chrono::milliseconds(50)); // its pace
        }
    }

    /// Reads away the request; false when the viewer has gone.
    static bool isThere(int viewer) {
        char bytes[1024];
        pollfd waiting{viewer, POLLIN, 0};
        return ::poll(&waiting, 1, 0) == 0 || ::recv(viewer, bytes, sizeof bytes, 0) > 0;
    }

    static bool sendText(int viewer, const std::string& text) {
        return ::send(viewer, text.data(), text.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(text.size());
    }

    const std::vector<std::string> pictures_;
    LoopbackListener listener_;
    std::atomic<int> connections_ = 0;
    std::atomic<bool> isStalled_ = false;
    std::jthread thread_;
};

} // namespace ovelo
