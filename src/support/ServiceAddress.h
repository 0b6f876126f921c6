#pragma once

#include <string>
#include <string_view>

namespace ovelo {

class Settings;

/// The address of a web service: the base URL of the setting "serviceUrl", without slashes at its
/// end, and a path.
///
/// path    with a slash at its beginning
/// return  "" without the setting: a request to it cannot be started
[[nodiscard]] std::string serviceAddress(const Settings& settings, std::string_view path);

} // namespace ovelo
