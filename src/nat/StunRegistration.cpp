#include "nat/StunRegistration.h"

#include "nat/stunServerName.h"
#include "support/Logger.h"

#include <fmt/format.h>

#include <utility>

namespace ovelo {

namespace {

std::string dotted(std::uint32_t addr) {
    return fmt::format("{}.{}.{}.{}", addr >> 24U, (addr >> 16U) & 0xFFU, (addr >> 8U) & 0xFFU,
                       addr & 0xFFU);
}

/// A mapping that depends on the destination is of no use to a peer.
bool isReachable(NatType type) {
    switch (type) {
    case NatTypeOpen:
    case NatTypeIndependentFilter:
    case NatTypeDependentFilter:
    case NatTypePortDependentFilter:
    case NatTypeFirewall:
        return true;
    default:
        return false;
    }
}

} // namespace

StunRegistration::Functions StunRegistration::Functions::overTheNetwork(int wakeFd) {
    return {[wakeFd](const std::string& name, StunAddress4& server) {
                LookUpLimit limit;
                limit.wakeFd = wakeFd;
                return stunParseServerName(name.c_str(), server, limit);
            },
            [wakeFd](const StunAddress4& server, std::uint16_t port) {
                bool preservePort = false;
                bool hairpin = false;
                StunAddress4 mapped; // any interface
                return stunNatType(server, false, &preservePort, &hairpin, port, &mapped, wakeFd);
            },
            [wakeFd](const StunAddress4& server, StunAddress4& mapped, std::uint16_t port) {
                return stunOpenSocket(server, &mapped, port, nullptr, true, wakeFd).isOpen();
            }};
}

StunRegistration::StunRegistration(std::vector<std::string> servers, Functions functions,
                                   Logger& log)
    : servers_(std::move(servers))
    , functions_(std::move(functions))
    , log_(log) {
}

bool StunRegistration::regToStunServer(std::uint16_t localPort,
                                       std::optional<MapAddr>& mapAddr) const {
    const auto found = findServer(localPort);
    if (!found) {
        log_.write("regToStunServer():  unable to reg to any server"); // sic
        return false;
    }
    StunAddress4 mapped;
    if (!learnMapping(found->server, localPort, mapped)) {
        log_.write("Opened a stun socket pair FAILED");
        return false;
    }
    mapAddr.emplace("", dotted(mapped.addr), mapped.port, found->type);
    return isReachable(found->type);
}

/// The first server with which the tests could be run at all.
std::optional<StunRegistration::Found> StunRegistration::findServer(std::uint16_t localPort) const {
    for (const std::string& name : servers_) {
        log_.write(fmt::format("regToStunServer(): {}\n", name));
        Found found;
        if (!functions_.parseServerName(name, found.server)) {
            log_.write("regToStunServer(): not a valid host name\n");
            continue;
        }
        found.type = functions_.natType(found.server, localPort);
        log_.write(fmt::format("stunNatType(): {}\n", static_cast<int>(found.type)));
        if (found.type != NatTypeFailure) {
            return found;
        }
    }
    return std::nullopt;
}

bool StunRegistration::learnMapping(const StunAddress4& server, std::uint16_t localPort,
                                    StunAddress4& mapped) const {
    if (!functions_.openSocket(server, mapped, localPort)) {
        return false;
    }
    log_.write(fmt::format("stunOpenSocketPair(): Got port pair at {}: {}\n", dotted(mapped.addr),
                           mapped.port));
    if (mapped.port != localPort) {
        // For what it does to the router; what comes of it does not matter.
        StunAddress4 ignored;
        functions_.openSocket(server, ignored, mapped.port);
    }
    return true;
}

} // namespace ovelo
