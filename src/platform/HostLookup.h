#pragma once

#include "platform/Result.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace ovelo {

/// An IPv4 address in network byte order.
using Ipv4Address = std::uint32_t;

/// How the look-up of a host name ended.
struct HostLookup {
    Ipv4Address address = 0;
    int error = 0;    // EAI_...: EAI_AGAIN without an answer in time, EAI_INTR when woken
    std::string text; // the error in words

    [[nodiscard]] bool succeeded() const { return error == 0; }
};

/// Finds the IPv4 address of a host name or of a dotted address.
///
/// The resolver may be stuck for longer than anybody wants to wait: it then ends on a thread of its
/// own.
///
/// wakeFd  the wait ends early when it is readable; -1 for none
/// errors  unknown name, time-out, woken
/// thread  any; waits
HostLookup lookUpHost(const std::string& host, std::chrono::milliseconds timeout, int wakeFd);

/// The same for those who need no error number.
Result<Ipv4Address> lookUpIpv4(const std::string& host, std::chrono::milliseconds timeout,
                               int wakeFd);

} // namespace ovelo
