#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// Dates as the settings store has them, "2024-01-31T22:59:58Z".
///
/// thread  any
namespace ovelo::utctext {

/// seconds  since 1970, of the years 0 to 9999
std::string of(std::int64_t seconds);

/// return  seconds since 1970; nothing for a text of another form, or no date
std::optional<std::int64_t> parse(const std::string& text);

} // namespace ovelo::utctext
