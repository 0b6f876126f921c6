#include "nat/stunServerName.h"

#include "platform/Assert.h"
#include "platform/Console.h"
#include "platform/HostLookup.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <cstdlib>
#include <cstring>

namespace ovelo {

namespace {

constexpr std::size_t kMostName = 512;
constexpr long kLeastPort = 1024;
constexpr long kPortLimit = 65535;

/// The number that the whole text is, held to the limits of long; nothing if it is none.
std::optional<long> wholeNumber(const std::string& text) {
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0') {
        return std::nullopt;
    }
    return number;
}

} // namespace

std::optional<StunHostAndPort> stunSplitHostName(const char* name, std::uint16_t defaultPort) {
    std::string host(name, ::strnlen(name, kMostName));
    long port = defaultPort;
    const std::size_t colon = host.find(':');
    if (colon != std::string::npos) {
        port = wholeNumber(host.substr(colon + 1)).value_or(port);
        host.resize(colon);
    }
    if (port < kLeastPort || port >= kPortLimit) {
        return std::nullopt;
    }
    return StunHostAndPort{std::move(host), static_cast<std::uint16_t>(port)};
}

bool stunParseServerName(const char* name, StunAddress4& address, const LookUpLimit& limit) {
    OVELO_ASSERT(name != nullptr, "name");
    if (stunParseHostName(name, address.addr, address.port, kStunDefaultPort, limit)) {
        return true;
    }
    address.port = kStunFailedPort;
    return false;
}

bool stunParseHostName(const char* name, std::uint32_t& ip, std::uint16_t& port,
                       std::uint16_t defaultPort, const LookUpLimit& limit) {
    const auto server = stunSplitHostName(name, defaultPort);
    if (!server) {
        return false;
    }
    const HostLookup found = lookUpHost(server->host, limit.time, limit.wakeFd);
    if (!found.succeeded()) {
        console::write(fmt::format("error was {}", found.error));
        return false;
    }
    ip = ntohl(found.address);
    port = server->port;
    return true;
}

} // namespace ovelo
