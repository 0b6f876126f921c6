#include "nat/Reachability.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace ovelo::reachability {

namespace {

struct Range {
    std::uint32_t first;
    std::uint32_t mask;
};

constexpr std::array kPrivateRanges{
    Range{0x00000000, 0xFF000000}, // 0.0.0.0/8: none
    Range{0x0A000000, 0xFF000000}, // 10.0.0.0/8
    Range{0x64400000, 0xFFC00000}, // 100.64.0.0/10: shared by a provider's customers (RFC 6598)
    Range{0x7F000000, 0xFF000000}, // 127.0.0.0/8
    Range{0xA9FE0000, 0xFFFF0000}, // 169.254.0.0/16: no address was given
    Range{0xAC100000, 0xFFF00000}, // 172.16.0.0/12
    Range{0xC0A80000, 0xFFFF0000}, // 192.168.0.0/16
    Range{0xE0000000, 0xE0000000}, // 224.0.0.0/3: nobody's
};

std::string troubleText(PortMapperTrouble trouble) {
    switch (trouble) {
    case PortMapperTrouble::NotAsked:
        return "The router has not been asked yet.";
    case PortMapperTrouble::NoNetwork:
        return "This computer has no way to the internet.";
    case PortMapperTrouble::NoRouter:
        return "No router was found that forwards ports: UPnP and NAT-PMP may be turned off in it.";
    case PortMapperTrouble::NotConnected:
        return "The router says that it is not connected to the internet.";
    case PortMapperTrouble::NotTalking:
        return "The router was found, but does not answer as it should.";
    case PortMapperTrouble::Refused:
    case PortMapperTrouble::None:
        break;
    }
    return "The router refuses to forward a port to this computer.";
}

} // namespace

bool isPrivate(const std::string& address) {
    in_addr parsed{};
    if (::inet_pton(AF_INET, address.c_str(), &parsed) != 1) {
        return true;
    }
    const std::uint32_t ip = ntohl(parsed.s_addr);
    return std::any_of(kPrivateRanges.begin(), kPrivateRanges.end(),
                       [ip](const Range& range) { return (ip & range.mask) == range.first; });
}

std::string problem(PortMapperTrouble trouble, bool isMapped, const std::string& externalAddress) {
    // Who is behind two routers is told so, whatever else they say: nothing else would help.
    if (!externalAddress.empty() && isPrivate(externalAddress)) {
        return fmt::format(
            "The router is itself behind another one: its outer address {} cannot be "
            "reached from the internet.",
            externalAddress);
    }
    if (!isMapped || trouble == PortMapperTrouble::NotConnected) {
        return troubleText(trouble);
    }
    return externalAddress.empty() ? "The router does not tell its address on the internet." : "";
}

} // namespace ovelo::reachability
