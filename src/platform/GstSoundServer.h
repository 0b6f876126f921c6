#pragma once

#include <string>
#include <vector>

namespace ovelo {

/// Where the user's sound server can be reached, as far as the environment and the custom tell.
[[nodiscard]] std::vector<std::string> soundServerSockets();

/// Tells one run of a sound server from another, and from none: different whenever one of the
/// sockets was made, made anew or removed. A few system calls.
[[nodiscard]] std::string soundServerState(const std::vector<std::string>& sockets);

} // namespace ovelo
