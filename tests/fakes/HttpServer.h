#pragma once

#include "fakes/TcpFeeder.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace ovelo {

/// A web server on loopback whose replies a test writes itself, each connection on a thread of its
/// own.
class HttpServer {
public:
    /// One request, as it came.
    struct Request {
        std::string head; // with the empty line at its end
        std::string body;
        int connection = 0; // counted from 0

        [[nodiscard]] std::string firstLine() const { return head.substr(0, head.find("\r\n")); }
        [[nodiscard]] bool has(const std::string& line) const {
            return head.find("\r\n" + line + "\r\n") != std::string::npos;
        }

        /// The value of a header, in whatever case its name came; empty without it.
        [[nodiscard]] std::string header(std::string_view name) const;
    };

    /// Where a reply goes.
    class Client {
    public:
        Client(int socket, std::stop_token stop) : socket_(socket), stop_(std::move(stop)) {}

        /// False when the client has gone or the server ends.
        bool send(std::string_view bytes);

        /// A whole reply on a connection that stays open.
        void reply(const std::string& statusLine, const std::string& body,
                   const std::string& moreHeaders = {});

        /// Ends the connection after this reply.
        void close() { isClosing_ = true; }

        /// Waits until the client has closed the connection, or the server ends.
        void waitUntilGone();

        [[nodiscard]] bool isClosing() const { return isClosing_; }
        [[nodiscard]] std::size_t sent() const { return sent_; }

    private:
        int socket_;
        std::stop_token stop_;
        std::size_t sent_ = 0;
        bool isClosing_ = false;
    };

    using Handler = std::function<void(const Request& request, Client& client)>;

    /// handler  called on the connections' threads
    explicit HttpServer(Handler handler);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    [[nodiscard]] std::string url(const std::string& path = "/") const;

    /// Every request until now.
    [[nodiscard]] std::vector<Request> requests() const;
    [[nodiscard]] std::size_t requestCount() const;

    [[nodiscard]] int connections() const { return connections_; }
    [[nodiscard]] int openConnections() const { return open_; }
    [[nodiscard]] int mostOpenConnections() const { return mostOpen_; }

    /// What a reply of this kind looks like.
    static Handler always(const std::string& statusLine, const std::string& body,
                          const std::string& moreHeaders = {});

private:
    void run(const std::stop_token& stop);
    void serve(FileDescriptor socket, int number, const std::stop_token& stop);
    void record(const Request& request);

    const Handler handler_;
    LoopbackListener listener_{128};
    mutable std::mutex lock_;
    std::vector<Request> requests_; // guarded by lock_
    std::atomic<int> connections_ = 0;
    std::atomic<int> open_ = 0;
    std::atomic<int> mostOpen_ = 0;
    std::jthread thread_;
};

} // namespace ovelo
