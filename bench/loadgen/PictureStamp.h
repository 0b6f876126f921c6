#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace loadgen {

/// The wall clock in a picture, as a bar code that survives JPEG: 20 x 3 cells of 16 x 16 pixels at
/// y = 96 hold 48 bits of microseconds, an 8-bit check sum and the marker 1010. White is one, black
/// is zero.
constexpr std::uint64_t kStampMask = (std::uint64_t(1) << 48) - 1;

/// Draws the stamp into a 320 x 240 RGB picture.
void paintStamp(std::vector<std::uint8_t>& rgb, std::uint64_t us);

/// return  the microseconds (48 bits) in a JPEG, or -1 when it carries no readable stamp
/// thread  one only
std::int64_t readStamp(const std::uint8_t* jpeg, std::size_t size);

} // namespace loadgen
