#pragma once

#include <cstdint>
#include <span>
#include <vector>

/// H.264 as encoders give it, units between start codes (ITU-T H.264, Annex B), brought into the form
/// of movie files.
///
/// thread  any
namespace ovelo::h264 {

/// The same picture with the size of each unit before it; parameter sets, which stand in the
/// configuration, and delimiters left out.
[[nodiscard]] std::vector<std::uint8_t> sample(std::span<const std::uint8_t> byteStream);

/// The decoder's configuration (ISO 14496-15, 5.3.3.1); empty when there are no parameter sets.
[[nodiscard]] std::vector<std::uint8_t> configuration(std::span<const std::uint8_t> byteStream);

} // namespace ovelo::h264
