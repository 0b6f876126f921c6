#pragma once

#include "nat/MapAddr.h"
#include "nat/stunNatType.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

class Logger;

/// Learns the public address of a UDP port, and the kind of NAT, from the first STUN server that
/// can be asked.
///
/// thread  a worker's; waits for up to half a minute
class StunRegistration final {
public:
    /// What a server is asked; tests answer in its place.
    struct Functions {
        std::function<bool(const std::string& name, StunAddress4& server)> parseServerName;
        std::function<NatType(const StunAddress4& server, std::uint16_t port)> natType;
        std::function<bool(const StunAddress4& server, StunAddress4& mapped, std::uint16_t port)>
            openSocket; // and closes it

        /// Asks real servers, until wakeFd is readable.
        static Functions overTheNetwork(int wakeFd);
    };

    /// servers  names as in "host" or "host:port", in the order in which they are asked
    StunRegistration(std::vector<std::string> servers, Functions functions, Logger& log);

    /// mapAddr  replaced when a public address was learned, whatever the result
    /// return   whether a peer can reach the port after a hole was punched
    bool regToStunServer(std::uint16_t localPort, std::optional<MapAddr>& mapAddr) const;

private:
    struct Found {
        StunAddress4 server;
        NatType type = NatTypeUnknown;
    };

    [[nodiscard]] std::optional<Found> findServer(std::uint16_t localPort) const;
    bool learnMapping(const StunAddress4& server, std::uint16_t localPort,
                      StunAddress4& mapped) const;

    const std::vector<std::string> servers_;
    const Functions functions_;
    Logger& log_;
};

} // namespace ovelo
