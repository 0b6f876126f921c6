#pragma once

#include <mutex>
#include <vector>

namespace ovelo {

/// The sockets of one exchange with a server, which another thread may break off: whoever waits for
/// one of them goes on at once.
///
/// thread  any; its lock is a leaf
class BreakableSockets final {
public:
    /// return  a new socket, -1 when there is none to be had or all was broken off
    int open(int family, int type, int protocol);

    /// Closes a socket of open().
    void close(int socket);

    /// Ends every connection, and those to come.
    void breakOff();

private:
    std::mutex lock_;
    std::vector<int> sockets_;
    bool isBroken_ = false;
};

} // namespace ovelo
