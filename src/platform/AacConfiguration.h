#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ovelo {

/// Samples of each channel in a packet of AAC.
inline constexpr std::size_t kAacPacketSamples = 1024;

/// The two bytes (five for an unusual rate) with which a decoder of low-complexity AAC is set up:
/// AudioSpecificConfig of ISO/IEC 14496-3, 1.6.2.1.
[[nodiscard]] std::vector<std::uint8_t> aacConfiguration(int rate, int channels);

} // namespace ovelo
