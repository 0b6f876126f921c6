#include "platform/BreakableSockets.h"

#include <sys/socket.h>
#include <unistd.h>

namespace ovelo {

int BreakableSockets::open(int family, int type, int protocol) {
    const std::lock_guard lock(lock_);
    if (isBroken_) {
        return -1;
    }
    const int socket = ::socket(family, type | SOCK_CLOEXEC, protocol);
    if (socket >= 0) {
        sockets_.push_back(socket);
    }
    return socket;
}

void BreakableSockets::close(int socket) {
    // Under the lock, so that breakOff() never meets a number that is somebody else's by now.
    const std::lock_guard lock(lock_);
    std::erase(sockets_, socket);
    ::close(socket);
}

void BreakableSockets::breakOff() {
    const std::lock_guard lock(lock_);
    isBroken_ = true;
    for (const int socket : sockets_) {
        ::shutdown(socket, SHUT_RDWR);
    }
}

} // namespace ovelo
