#pragma once

#include <string>

namespace ovelo {

/// The computer's first IPv4 address that others can reach, dotted; else "127.0.0.1". Any thread.
std::string localAddress();

} // namespace ovelo
