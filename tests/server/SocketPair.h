#pragma once

#include "server/Socket.h"

#include <memory>

namespace ovelo {

/// Two connected sockets of the product, over loopback.
struct SocketPair {
    explicit SocketPair(Logger& log) : listener(Socket::socket(log)), client(Socket::socket(log)) {
        listener->listenOnPort(0);
        client->connectToHostName("127.0.0.1", listener->localPort());
        server = listener->acceptConnectionAndKeepListening();
    }

    std::unique_ptr<Socket> listener;
    std::unique_ptr<Socket> client;
    std::unique_ptr<Socket> server;
};

} // namespace ovelo
