#pragma once

#include "server/AbstractSocket.h"

#include <memory>

namespace ovelo {

/// A stream socket that can accept clients and go on listening.
class Socket final : public AbstractSocket {
public:
    using AbstractSocket::AbstractSocket;

    /// A fresh socket.
    static std::unique_ptr<Socket> socket(Logger& log);

    /// Waits for a client; this object goes on listening.
    [[nodiscard]] std::unique_ptr<Socket> acceptConnectionAndKeepListening();

    /// Prepares an accepted viewer's connection: small writes leave at once, the send buffer holds
    /// several pictures, and a peer that has vanished is noticed. What the system refuses stays as
    /// it was.
    void prepareForViewer();
};

} // namespace ovelo
