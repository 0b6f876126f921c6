#pragma once

#include <string>
#include <string_view>

namespace ovelo {

/// The SHA-1 digest of some bytes, in Base64: what network cameras want to see of a password.
///
/// thread  any
std::string sha1Base64(std::string_view bytes);

/// Any bytes in Base64, without line ends.
std::string base64Of(std::string_view bytes);

} // namespace ovelo
