#pragma once

#include "platform/Clock.h"
#include "platform/Data.h"

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>

namespace ovelo {

class AbstractSocket;

/// What goes out to one viewer on TCP, without ever waiting for it.
///
/// Whatever the socket does not take at once is kept, and flush() goes on with it later. While
/// something is kept, a new picture is refused (late pictures are dropped, not queued), while sound,
/// which would be heard to be missing, and texts wait in line, so that the stream stays whole.
///
/// errors  SocketException of the socket; also when more text comes while too much waits (one long
///         text alone is never too much), and when the peer has taken nothing for kStallLimit.
///         What is kept stays kept then, for the stream is whole still.
/// thread  one at a time
class Outbox {
public:
    static constexpr auto kStallLimit = std::chrono::seconds(6);
    static constexpr std::size_t kMostText = std::size_t{256} * 1024;
    static constexpr std::size_t kMostSound = std::size_t{64} * 1024; // 32 s of AAC, 8 s of PCM

    explicit Outbox(const Clock& clock) : clock_(clock) {}

    /// Sends a header and its payload in one call; false when it was refused because something is
    /// kept.
    bool sendBinary(AbstractSocket& socket, std::string_view header, const Data& payload);

    /// The same, but waits in line; false when it was refused because too much waits.
    bool sendInLine(AbstractSocket& socket, std::string_view header, const Data& payload);

    void sendText(AbstractSocket& socket, std::string_view text);

    /// True when something is kept.
    [[nodiscard]] bool isWaiting() const { return !segments_.empty(); }

    /// Sends of what is kept as much as the socket takes now.
    void flush(AbstractSocket& socket);

private:
    /// Text of its own or shared bytes; `sent` of them are gone already.
    struct Segment {
        std::string text;
        Data data;
        std::size_t sent = 0;
        std::size_t sound = 0; // size of shared bytes that came in line

        [[nodiscard]] const void* rest() const;
        [[nodiscard]] std::size_t restSize() const;
    };

    void keep(Segment segment);
    bool transmit(AbstractSocket& socket, std::string_view header, const Data& payload);
    void drop(std::size_t sent);
    void noteRefusal(AbstractSocket& socket);
    void checkProgress(AbstractSocket& socket, bool sentSomething);

    std::deque<Segment> segments_;
    std::size_t textBytes_ = 0;  // of texts in segments_, sent parts included
    std::size_t soundBytes_ = 0; // of shared bytes in segments_ that came in line
    bool refused_ = false;       // the socket took nothing of the last picture or sound
    std::size_t unacknowledged_ = 0;
    Clock::Steady lastProgress_;
    const Clock& clock_;
};

} // namespace ovelo
