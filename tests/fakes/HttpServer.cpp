#include "fakes/HttpServer.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace ovelo {

namespace {

constexpr int kTurn = 10; // milliseconds, until a thread looks whether it shall stop

/// Reads requests off one connection.
class RequestReader {
public:
    RequestReader(int socket, std::stop_token stop) : socket_(socket), stop_(std::move(stop)) {}

    /// Nothing when the client has gone, or the server ends.
    std::optional<HttpServer::Request> next() {
        HttpServer::Request request;
        std::size_t end = std::string::npos;
        while ((end = kept_.find("\r\n\r\n")) == std::string::npos) {
            if (!readMore()) {
                return std::nullopt;
            }
        }
        request.head = take(end + 4);
        const std::size_t size = std::stoul("0" + request.header("Content-Length"));
        while (kept_.size() < size) {
            if (!readMore()) {
                return std::nullopt;
            }
        }
        request.body = take(size);
        return request;
    }

private:
    std::string take(std::size_t size) {
        std::string taken = kept_.substr(0, size);
        kept_.erase(0, size);
        return taken;
    }

    bool readMore() {
        while (!stop_.stop_requested()) {
            pollfd waiting{socket_, POLLIN, 0};
            if (::poll(&waiting, 1, kTurn) <= 0) {
                continue;
            }
            std::array<char, 4096> bytes{};
            const auto count = ::recv(socket_, bytes.data(), bytes.size(), 0);
            if (count <= 0) {
                return false;
            }
            kept_.append(bytes.data(), static_cast<std::size_t>(count));
            return true;
        }
        return false;
    }

    int socket_;
    std::stop_token stop_;
    std::string kept_;
};

} // namespace

std::string HttpServer::Request::header(std::string_view name) const {
    const std::string start = std::string(name) + ": ";
    for (auto at = head.find("\r\n"); at != std::string::npos; at = head.find("\r\n", at)) {
        at += 2;
        if (::strncasecmp(head.c_str() + at, start.c_str(), start.size()) == 0) {
            const auto value = at + start.size();
            return head.substr(value, head.find("\r\n", at) - value);
        }
    }
    return {};
}

bool HttpServer::Client::send(std::string_view bytes) {
    while (!bytes.empty() && !stop_.stop_requested()) {
        pollfd ready{socket_, POLLOUT, 0};
        if (::poll(&ready, 1, kTurn) <= 0) {
            continue;
        }
        const auto count = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count <= 0) {
            isClosing_ = true;
            return false;
        }
        sent_ += static_cast<std::size_t>(count);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return bytes.empty();
}

void HttpServer::Client::reply(const std::string& statusLine, const std::string& body,
                               const std::string& moreHeaders) {
    send("HTTP/1.1 " + statusLine + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
         moreHeaders + "\r\n" + body);
}

void HttpServer::Client::waitUntilGone() {
    isClosing_ = true;
    std::array<char, 256> bytes{};
    while (!stop_.stop_requested()) {
        pollfd waiting{socket_, POLLIN, 0};
        if (::poll(&waiting, 1, kTurn) > 0 && ::recv(socket_, bytes.data(), bytes.size(), 0) <= 0) {
            return;
        }
    }
}

HttpServer::HttpServer(Handler handler)
    : handler_(std::move(handler))
    , thread_([this](const std::stop_token& stop) { run(stop); }) {
}

HttpServer::~HttpServer() = default;

std::string HttpServer::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(listener_.port()) + path;
}

std::vector<HttpServer::Request> HttpServer::requests() const {
    const std::lock_guard lock(lock_);
    return requests_;
}

std::size_t HttpServer::requestCount() const {
    const std::lock_guard lock(lock_);
    return requests_.size();
}

HttpServer::Handler HttpServer::always(const std::string& statusLine, const std::string& body,
                                       const std::string& moreHeaders) {
    return [=](const Request&, Client& client) { client.reply(statusLine, body, moreHeaders); };
}

void HttpServer::run(const std::stop_token& stop) {
    std::vector<std::jthread> threads; // each is asked to stop and joined at the end
    while (!stop.stop_requested()) {
        if (FileDescriptor socket = listener_.accept(kTurn)) {
            const int on = 1;
            ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            const int number = connections_++;
            mostOpen_ = std::max(mostOpen_.load(), ++open_);
            threads.emplace_back(
                [this, number](const std::stop_token& own, FileDescriptor mine) {
                    serve(std::move(mine), number, own);
                },
                std::move(socket));
        }
    }
    for (auto& thread : threads) {
        thread.request_stop();
    }
}

void HttpServer::serve(FileDescriptor socket, int number, const std::stop_token& stop) {
    RequestReader reader(socket.get(), stop);
    Client client(socket.get(), stop);
    while (!client.isClosing()) {
        auto request = reader.next();
        if (!request) {
            break;
        }
        request->connection = number;
        record(*request);
        handler_(*request, client);
    }
    --open_;
}

void HttpServer::record(const Request& request) {
    const std::lock_guard lock(lock_);
    requests_.push_back(request);
}

} // namespace ovelo
