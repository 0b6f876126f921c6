#pragma once

#include "platform/FileDescriptor.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace ovelo {

/// A server on the loopback that says and expects what a test tells it, in the test's own thread.
///
/// It listens from the beginning, so a client can connect before accept() is called.
class ScriptedServer {
public:
    ScriptedServer();

    [[nodiscard]] std::uint16_t port() const { return port_; }

    /// Takes the next client in place of the last one; false when none comes within five seconds,
    /// or when it does not say Hello at once.
    bool accept();

    void say(std::string_view text);
    void say(std::span<const std::uint8_t> bytes);

    /// The next line of the client without its line feed; none when none comes within `seconds`.
    std::optional<std::string> hear(double seconds = 5);

    /// Ends the client's connection in an orderly way.
    void hangUp() { client_.reset(); }

    /// Ends it so that the client's next read fails.
    void reset();

private:
    bool waitReadable(int fd, double seconds) const;

    FileDescriptor listener_;
    FileDescriptor client_;
    std::uint16_t port_ = 0;
    std::string heard_;
};

} // namespace ovelo
