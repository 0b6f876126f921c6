#pragma once

#include "platform/Result.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace ovelo {

/// An IPv4 address in network byte order.
using Ipv4Address = std::uint32_t;

/// Finds the IPv4 address of a host name or of a dotted address.
///
/// The resolver may be stuck for longer than anybody wants to wait: it then ends on a thread of its
/// own.
///
/// wakeFd  the wait ends early when it is readable
/// errors  unknown name, time-out, woken
/// thread  any; waits
Result<Ipv4Address> lookUpIpv4(const std::string& host, std::chrono::milliseconds timeout,
                               int wakeFd);

} // namespace ovelo
