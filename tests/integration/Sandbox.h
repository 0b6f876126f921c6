#pragma once

#include <string>

namespace ovelo {

/// Puts the whole test program into a network of its own that has loopback alone, so that nothing
/// of what it starts can reach anybody else.
///
/// return  empty when done, else why it cannot be done
std::string enterSandbox();

} // namespace ovelo
