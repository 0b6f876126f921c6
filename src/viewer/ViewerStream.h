#pragma once

#include "platform/Data.h"
#include "viewer/FrameHeader.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>

namespace ovelo {

/// A binary block with the line that announced it.
struct ViewerBlock {
    FrameHeader header;
    Bytes bytes; // header.length of them
};

/// Cuts what a server sends into text lines and binary blocks.
///
/// Keeps at most one unfinished line or block, so garbage cannot make it grow without limit. After
/// an error it takes nothing more, for it does not know where the next line begins.
///
/// thread  one at a time
class ViewerStream {
public:
    /// A text line without its line feed, or a block.
    using Item = std::variant<std::string, ViewerBlock>;

    /// The longest text line that is accepted, without its line feed: a list of some 200 000
    /// recordings.
    static constexpr std::size_t kMaxLine = std::size_t{8} * 1024 * 1024;

    /// Takes bytes from the front of `input` until an item is complete or nothing is left.
    ///
    /// input   is shortened by what was taken; call again with the rest until there is no item
    /// return  the item that became complete; none when more bytes are needed, or after an error
    [[nodiscard]] std::optional<Item> take(std::span<const std::uint8_t>& input);

    /// Why the stream cannot be read any further; empty as long as it can.
    [[nodiscard]] const std::string& error() const { return error_; }

private:
    std::optional<Item> takeLine(std::span<const std::uint8_t>& input);
    std::optional<Item> takeBlock(std::span<const std::uint8_t>& input);
    std::optional<Item> finishLine();
    std::optional<Item> finishBlock();

    std::string line_;                  // the beginning of an unfinished line
    std::optional<FrameHeader> header_; // of the block that is being received
    Bytes block_;                       // the beginning of that block
    std::string error_;
};

} // namespace ovelo
