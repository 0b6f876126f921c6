#pragma once

#include <optional>
#include <string>

namespace ovelo {

/// Asks on the terminal of this process, without showing what is typed.
///
/// question  printed on the terminal, not on standard output
/// return    none when there is no terminal, or the user gave up with Ctrl+C, Ctrl+D or an empty
/// answer
std::optional<std::string> askPassword(const std::string& question);

} // namespace ovelo
