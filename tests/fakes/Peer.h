#pragma once

#include "platform/FileDescriptor.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ovelo {

/// The other end of a connection: a plain TCP client on loopback, with nothing of the product in
/// it.
class Peer {
public:
    /// Connects; receiveBuffer bounds what the kernel holds for a peer that does not read (0: the
    /// system's own).
    explicit Peer(std::uint16_t port, int receiveBuffer = 0);

    [[nodiscard]] int fd() const { return fd_.get(); }
    void send(std::string_view text) const;

    /// The next line without its line feed; nothing when none comes in time or the server has
    /// closed.
    std::optional<std::string> line(std::chrono::milliseconds limit = std::chrono::seconds(5));

    /// Exactly so many bytes; fewer when they do not come in time.
    std::string bytes(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(5));

    /// True when nothing arrives for that long.
    bool staysSilent(std::chrono::milliseconds duration);

    /// True when the server closes within the limit; what it sends before is thrown away.
    bool isClosedByServer(std::chrono::milliseconds limit = std::chrono::seconds(5));

    /// Ends our direction; the server's stays open.
    void shutdownWriting() const;

    /// Closes with a reset instead of an orderly end.
    void reset();

    void close() { fd_.reset(); }

private:
    enum class Received { Some, Nothing, Closed };
    Received receive(std::chrono::steady_clock::time_point deadline);

    FileDescriptor fd_;
    std::string pending_;
};

} // namespace ovelo
