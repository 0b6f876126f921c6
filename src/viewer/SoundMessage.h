#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <span>
#include <vector>

namespace ovelo {

/// What a sound block with packets of their own sizes holds: "2,200,0,0,180,200,0,380", a zero byte
/// and 380 bytes. The text is the number of packets; for each its size, the low and the high half of
/// its offset; and the size of all together.
struct SoundMessage {
    /// The most packets in one block. Real ones have about twenty; of silence, whose packets are a
    /// few bytes, some hundreds fit into a block.
    static constexpr std::uint32_t kMaxPackets = 1024;

    /// In the order in which they are played; none is empty.
    ///
    /// lifetime  as long as the block that was read
    std::vector<std::span<const std::uint8_t>> packets;

    /// Reads a block. Packets may have gaps between them, but each begins where the one before it
    /// ends or later, and none is empty or reaches beyond the block: so a block of few bytes
    /// makes little work.
    ///
    /// errors  anything else, with the reason
    static Result<SoundMessage> parse(std::span<const std::uint8_t> block);
};

} // namespace ovelo
