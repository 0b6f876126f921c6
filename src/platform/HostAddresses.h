#pragma once

#include <string>
#include <vector>

namespace ovelo {

/// The computer's first IPv4 address that others can reach, dotted; else "127.0.0.1". Any thread.
std::string localAddress();

/// All of the computer's addresses as text, IPv6 and loopback ones too, each once. Any thread.
std::vector<std::string> hostAddresses();

} // namespace ovelo
