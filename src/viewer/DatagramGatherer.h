#pragma once

#include "platform/Data.h"
#include "viewer/FrameHeader.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>

namespace ovelo {

/// Makes of a server's datagrams the stream that it would send over TCP, of which every line and
/// block is whole: what a lost, doubled or misplaced datagram has damaged is left out.
///
/// A line is "HEADER", the line and "TRAILER" in one datagram. A block is "HEADER", its header line,
/// "TRAILER", its bytes and "TRAILER" in datagrams of kDatagram bytes, the last one shorter. They
/// bear no numbers: where two have changed places, or the rest of a block is lost together with the
/// beginning of the next, a block of the right shape may be damaged all the same. The picture check
/// finds that.
///
/// thread  one at a time
class DatagramGatherer {
public:
    static constexpr std::string_view kHeader = "HEADER";
    static constexpr std::string_view kTrailer = "TRAILER";
    static constexpr std::string_view kProbe = "UDPUDPUDPUDP";
    static constexpr std::size_t kDatagram = 1000;             // of a block
    static constexpr std::uint32_t kLongestBlock = 512 * 1024; // longer ones do not get through

    /// Tells whether a picture can be decoded without a fault.
    using PictureCheck = std::function<bool(std::span<const std::uint8_t> picture)>;

    /// isWholePicture  empty: every picture of the right shape will do
    explicit DatagramGatherer(PictureCheck isWholePicture = {})
        : isWholePicture_(std::move(isWholePicture)) {}

    /// Takes a datagram.
    ///
    /// return  a line with its line feed, or a block behind its header line, when it is whole now;
    ///         until the next call
    std::span<const std::uint8_t> take(std::span<const std::uint8_t> datagram);

    /// Blocks that were left out.
    [[nodiscard]] std::size_t damaged() const { return damaged_; }

private:
    using Bytes = ovelo::Bytes;
    using View = std::span<const std::uint8_t>;

    View takeLine(std::string_view text);
    bool beginBlock(std::string_view text, View datagram);
    View continueBlock(View datagram);
    View finishBlock();
    void giveUp();
    [[nodiscard]] bool isKnownPart(View datagram) const;

    PictureCheck isWholePicture_;
    Bytes output_;
    Bytes message_;                     // of the block that is being gathered
    std::size_t whole_ = 0;             // its size when it is whole; 0: no block is
    std::size_t begin_ = 0;             // of its bytes in message_
    std::optional<FrameHeader> header_; // of that block or, when none is gathered, the last
    std::size_t damaged_ = 0;
};

} // namespace ovelo
