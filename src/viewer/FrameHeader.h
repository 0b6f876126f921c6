#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <string_view>

namespace ovelo {

enum class BlockKind { Picture, Sound };

/// The line that announces a binary block: "Frame,17,10240,1706745599,0" or "Audio,...".
struct FrameHeader {
    BlockKind kind = BlockKind::Picture;
    std::uint32_t frameID = 0; // counted for each kind from 0; gaps are pictures that were dropped
    std::uint32_t length = 0;  // bytes that follow the line
    std::uint32_t timeStamp = 0; // seconds since 1970
    bool reportNeeded = false;

    friend bool operator==(const FrameHeader&, const FrameHeader&) = default;
};

/// The longest block that is received; what claims to be longer ends the connection.
inline constexpr std::uint32_t kMaxBlockLength = 16 * 1024 * 1024;

/// True when `line`, without its line feed, announces a block, well formed or not.
[[nodiscard]] bool announcesBlock(std::string_view line);

/// Reads a line for which announcesBlock() holds.
///
/// errors  malformed or longer than kMaxBlockLength: where the next line begins is then unknown
Result<FrameHeader> parseFrameHeader(std::string_view line);

} // namespace ovelo
