#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ovelo {

/// Tells why a text is not an INI file, or nothing when it is one.
///
/// Everything that a reader would have to throw away, and a later write would destroy, is a reason:
/// bytes that are no text, a line that is neither "key=value" nor a section nor a comment, a
/// quotation that does not end.
[[nodiscard]] std::optional<std::string> damageOfIniText(std::string_view text);

} // namespace ovelo
