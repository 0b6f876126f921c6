#include "server/Socket.h"

#include <netinet/tcp.h>
#include <sys/socket.h>

namespace ovelo {

std::unique_ptr<Socket> Socket::socket(Logger& log) {
    return std::make_unique<Socket>(log);
}

std::unique_ptr<Socket> Socket::acceptConnectionAndKeepListening() {
    sockaddr_in remote{};
    const int accepted = acceptDescriptor(remote);
    return std::make_unique<Socket>(accepted, remote, log());
}

void Socket::prepareForViewer() {
    // A picture is about 10 KB. The kernel doubles the size for its own book-keeping.
    constexpr int kSendBuffer = 96 * 1024;
    constexpr int kIdleSeconds = 30;            // until the first probe of a silent peer
    constexpr int kProbeSeconds = 10;           // between probes
    constexpr int kProbes = 3;                  // unanswered, until the peer counts as gone
    constexpr int kUnackedMilliseconds = 60000; // sent, never acknowledged: RFC 5482
    setOption(SOL_SOCKET, SO_SNDBUF, kSendBuffer);
    setOption(SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(IPPROTO_TCP, TCP_KEEPIDLE, kIdleSeconds);
    setOption(IPPROTO_TCP, TCP_KEEPINTVL, kProbeSeconds);
    setOption(IPPROTO_TCP, TCP_KEEPCNT, kProbes);
    setOption(IPPROTO_TCP, TCP_USER_TIMEOUT, kUnackedMilliseconds);
}

} // namespace ovelo
