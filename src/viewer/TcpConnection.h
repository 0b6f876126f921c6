#pragma once

#include "platform/FileDescriptor.h"
#include "platform/HostLookup.h"
#include "platform/Result.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ovelo {

/// One TCP connection over IPv4 to a server. Only connect() waits.
///
/// thread  one at a time
class TcpConnection {
public:
    /// Connects, at most for `timeout`; closes what was open before.
    ///
    /// wakeFd  the wait ends early when it is readable
    /// return  none when connected, else why not
    [[nodiscard]] std::optional<Failure> connect(const std::string& host, std::uint16_t port,
                                                 std::chrono::milliseconds timeout, int wakeFd);

    /// Takes what has arrived.
    ///
    /// return  its length; 0 when nothing is there now
    /// errors  the server has closed the connection, or it broke
    [[nodiscard]] Result<std::size_t> read(std::span<std::uint8_t> buffer);

    /// Gives the system as much of `bytes` as it takes now.
    ///
    /// return  that length, perhaps 0
    /// errors  the connection broke
    [[nodiscard]] Result<std::size_t> write(std::string_view bytes);

    void close() { socket_.reset(); }
    [[nodiscard]] bool isOpen() const { return socket_.isOpen(); }
    [[nodiscard]] int fd() const { return socket_.get(); }

private:
    std::optional<Failure> open(Ipv4Address address, std::uint16_t port,
                                std::chrono::milliseconds timeout, int wakeFd);

    FileDescriptor socket_;
};

} // namespace ovelo
