#include "viewer/ScriptedServer.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>

namespace ovelo {

namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

} // namespace

ScriptedServer::ScriptedServer() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* plain = reinterpret_cast<sockaddr*>(&address);
    require(::bind(listener_.get(), plain, size) == 0, "bind");
    require(::listen(listener_.get(), 5) == 0, "listen");
    require(::getsockname(listener_.get(), plain, &size) == 0, "getsockname");
    port_ = ntohs(address.sin_port);
}

bool ScriptedServer::waitReadable(int fd, double seconds) const {
    pollfd waiting{fd, POLLIN, 0};
    return ::poll(&waiting, 1, static_cast<int>(seconds * 1000)) == 1;
}

bool ScriptedServer::accept() {
    if (!waitReadable(listener_.get(), 5)) {
        return false;
    }
    client_.reset(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    heard_.clear();
    const int on = 1; // each piece arrives by itself, at once
    ::setsockopt(client_.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return client_.isOpen() && hear() == "Hello,";
}

void ScriptedServer::say(std::string_view text) {
    say(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

void ScriptedServer::say(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::send(client_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        require(count > 0, "send");
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
}

std::optional<std::string> ScriptedServer::hear(double seconds) {
    for (;;) {
        if (const auto lineFeed = heard_.find('\n'); lineFeed != std::string::npos) {
            std::string line = heard_.substr(0, lineFeed);
            heard_.erase(0, lineFeed + 1);
            return line;
        }
        std::array<char, 4096> buffer{};
        if (!waitReadable(client_.get(), seconds)) {
            return std::nullopt;
        }
        const ssize_t count = ::recv(client_.get(), buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            return std::nullopt;
        }
        heard_.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

void ScriptedServer::reset() {
    const linger abort{1, 0};
    ::setsockopt(client_.get(), SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
    client_.reset();
}

} // namespace ovelo
