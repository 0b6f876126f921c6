#pragma once

#include <string>
#include <string_view>

namespace ovelo {

/// The text with "..." in place of the user and the password of each address in it. Libraries
/// repeat a source in what they say about it, which goes to the log and to the screen.
[[nodiscard]] std::string withoutCredentials(std::string_view text);

} // namespace ovelo
