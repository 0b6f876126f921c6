#pragma once

#include <string>
#include <vector>

namespace ovelo {

class Settings;

/// The STUN servers of the setting "stunServers", in the order in which they are asked; public ones
/// when there is none. Any thread.
std::vector<std::string> stunServers(const Settings& settings);

} // namespace ovelo
