#pragma once

#include "platform/AudioQueue.h"
#include "platform/Data.h"

#include <cstdint>
#include <span>

namespace ovelo {

/// The message for a buffer of samples: the samples themselves.
[[nodiscard]] Data pcmMessage(std::span<const std::uint8_t> bytes);

/// The message for a buffer of packets: how many, the size and the place of each, and the size of
/// all, as text; one zero byte; the packets.
[[nodiscard]] Data aacMessage(std::uint32_t packets,
                              std::span<const AudioPacketDescription> descriptions,
                              std::span<const std::uint8_t> bytes);

} // namespace ovelo
