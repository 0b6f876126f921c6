#pragma once

#include <ctime>
#include <string>

/// Dates as people write them, in local time.
///
/// The user's locale is the one of LC_ALL, else LC_TIME, else LANG, and is looked up at each call.
///
/// thread  any; the last text of each style is kept, so that asking again within a second costs
/// next to nothing
namespace ovelo::datetext {

/// Date and time in the short style of the user's locale; in the C locale "2024-01-31 23:59".
std::string shortStyle(std::time_t moment);

/// Date and time in the medium style of the user's locale; in the C locale "2024-01-31 23:59:59".
std::string mediumStyle(std::time_t moment);

} // namespace ovelo::datetext
