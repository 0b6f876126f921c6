#include "platform/HostAddresses.h"

#include "platform/CHandle.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>

#include <algorithm>
#include <array>

namespace ovelo {

namespace {

bool isReachable(const ifaddrs& interface) {
    return interface.ifa_addr != nullptr && interface.ifa_addr->sa_family == AF_INET &&
           (interface.ifa_flags & IFF_UP) != 0 && (interface.ifa_flags & IFF_LOOPBACK) == 0;
}

using Interfaces = CHandle<ifaddrs, &::freeifaddrs>;

/// Null when the system does not tell.
Interfaces interfaces() {
    ifaddrs* first = nullptr;
    return Interfaces(::getifaddrs(&first) == 0 ? first : nullptr);
}

/// Empty for an address of another family.
std::string textOf(const sockaddr* address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (address != nullptr && address->sa_family == AF_INET) {
        const auto* const ipv4 = reinterpret_cast<const sockaddr_in*>(address);
        ::inet_ntop(AF_INET, &ipv4->sin_addr, text.data(), text.size());
    }
    if (address != nullptr && address->sa_family == AF_INET6) {
        const auto* const ipv6 = reinterpret_cast<const sockaddr_in6*>(address);
        ::inet_ntop(AF_INET6, &ipv6->sin6_addr, text.data(), text.size());
    }
    return text.data();
}

} // namespace

std::string localAddress() {
    const Interfaces all = interfaces();
    for (const ifaddrs* interface = all.get(); interface != nullptr;
         interface = interface->ifa_next) {
        if (isReachable(*interface)) {
            return textOf(interface->ifa_addr);
        }
    }
    return "127.0.0.1";
}

std::vector<std::string> hostAddresses() {
    std::vector<std::string> texts;
    const Interfaces all = interfaces();
    for (const ifaddrs* interface = all.get(); interface != nullptr;
         interface = interface->ifa_next) {
        const std::string text = textOf(interface->ifa_addr);
        if (!text.empty() && std::find(texts.begin(), texts.end(), text) == texts.end()) {
            texts.push_back(text);
        }
    }
    return texts;
}

} // namespace ovelo
