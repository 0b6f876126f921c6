#pragma once

#include <string>
#include <string_view>

namespace ovelo {

/// The characters of a text of one byte each in the MacRoman encoding.
///
/// Kept: texts that come in as UTF-8 are read this way too, so that beyond ASCII each of their
/// bytes is a character.
[[nodiscard]] std::u32string fromMacRoman(std::string_view text);

} // namespace ovelo
