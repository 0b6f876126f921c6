#pragma once

#include "platform/Result.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ovelo {

/// The way to one server, as a stream of bytes in each direction. Only connect() waits.
///
/// thread  write(): any, one at a time; everything else: one at a time
class ViewerConnection {
public:
    virtual ~ViewerConnection() = default;

    /// Connects, at most for `timeout`; closes what was open before.
    ///
    /// wakeFd  the wait ends early when it is readable
    /// return  none when connected, else why not
    [[nodiscard]] virtual std::optional<Failure> connect(const std::string& host,
                                                         std::uint16_t port,
                                                         std::chrono::milliseconds timeout,
                                                         int wakeFd) = 0;

    /// Takes what has arrived.
    ///
    /// buffer  may be used for it
    /// return  what it is, until the next call; empty when nothing is there now
    /// errors  the server has closed the connection, or it broke
    [[nodiscard]] virtual Result<std::span<const std::uint8_t>>
    read(std::span<std::uint8_t> buffer) = 0;

    /// Gives the system as much of `lines`, whole lines each with its line feed, as it takes now.
    ///
    /// return  that length, perhaps 0
    /// errors  the connection broke
    [[nodiscard]] virtual Result<std::size_t> write(std::string_view lines) = 0;

    virtual void close() = 0;
    [[nodiscard]] virtual int fd() const = 0;

    /// True when what is sent may be lost on the way, and nobody tells when the other side is gone.
    [[nodiscard]] virtual bool isLossy() const = 0;
};

} // namespace ovelo
