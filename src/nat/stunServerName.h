#pragma once

#include "nat/stun.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

/// Names of STUN servers: a host, which a colon and a port may follow.
namespace ovelo {

inline constexpr std::uint16_t kStunDefaultPort = 3478;
inline constexpr std::uint16_t kStunFailedPort = 65535; // of a server name that leads nowhere

/// How long a look-up may take, and what ends it early.
struct LookUpLimit {
    std::chrono::milliseconds time = std::chrono::seconds(10);
    int wakeFd = -1; // readable: no more waiting
};

/// A server name taken apart.
struct StunHostAndPort {
    std::string host;
    std::uint16_t port = 0;
};

/// Takes a name apart, without any look-up; at most 512 bytes of it count.
///
/// return  nothing when the port is not from 1024 to 65534
std::optional<StunHostAndPort> stunSplitHostName(const char* name, std::uint16_t defaultPort);

/// Finds a server's address; the default port is 3478.
///
/// name    not null
/// return  false, and the port 65535, when there is none
/// thread  any; waits for the name service
bool stunParseServerName(const char* name, StunAddress4& address, const LookUpLimit& limit = {});

/// The same for any default port; on failure `ip` and `port` stay as they were.
bool stunParseHostName(const char* name, std::uint32_t& ip, std::uint16_t& port,
                       std::uint16_t defaultPort, const LookUpLimit& limit = {});

} // namespace ovelo
