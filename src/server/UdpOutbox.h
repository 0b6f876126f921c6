#pragma once

#include "platform/Clock.h"
#include "platform/Data.h"

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>

namespace ovelo {

class UdpStream;

/// What goes out to one viewer in datagrams, without ever waiting for it.
///
/// A block is "HEADER", its header line, "TRAILER", its bytes and "TRAILER". What the system does
/// not take at once is kept, and flush() goes on with it later; while something is kept, a new
/// picture is refused, while sound and texts wait in line, so that nothing comes between the
/// datagrams of a block.
///
/// errors  SocketException when the system has taken nothing for kStallLimit; what is kept stays so
/// thread  one at a time
class UdpOutbox final {
public:
    static constexpr auto kStallLimit = std::chrono::seconds(6);
    static constexpr std::size_t kMostWaiting = std::size_t{64} * 1024; // bytes of sound and text
    static constexpr std::size_t kLongestText = 65000;                  // of one datagram

    explicit UdpOutbox(const Clock& clock) : clock_(clock) {}

    /// Sends a picture; false when it was refused because something is kept.
    bool sendBinary(UdpStream& stream, std::string_view header, const Data& payload);

    /// The same for sound, which waits in line; false when it was refused because too much waits.
    bool sendInLine(UdpStream& stream, std::string_view header, const Data& payload);

    /// Sends a text, which waits in line; false when too much waits, or it fits into no datagram.
    bool sendText(UdpStream& stream, std::string_view text);

    /// True when something is kept.
    [[nodiscard]] bool isWaiting() const { return !messages_.empty(); }

    /// Sends of what is kept as much as the system takes now.
    void flush(UdpStream& stream);

private:
    /// A text, or a block of which the first `sent` bytes are gone.
    struct Message {
        std::string text;
        Bytes block;
        std::size_t sent = 0;

        [[nodiscard]] std::size_t size() const { return text.size() + block.size(); }
    };

    [[nodiscard]] bool hasRoomFor(std::size_t size) const;
    void keep(Message message);
    static bool transmit(UdpStream& stream, Message& message);

    std::deque<Message> messages_;
    std::size_t bytes_ = 0; // of messages_, sent parts included
    Clock::Steady lastProgress_;
    const Clock& clock_;
};

} // namespace ovelo
