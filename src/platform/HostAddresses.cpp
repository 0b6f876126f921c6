#include "platform/HostAddresses.h"

#include "platform/CHandle.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>

#include <array>

namespace ovelo {

namespace {

bool isReachable(const ifaddrs& interface) {
    return interface.ifa_addr != nullptr && interface.ifa_addr->sa_family == AF_INET &&
           (interface.ifa_flags & IFF_UP) != 0 && (interface.ifa_flags & IFF_LOOPBACK) == 0;
}

} // namespace

std::string localAddress() {
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) {
        return "127.0.0.1";
    }
    const CHandle<ifaddrs, &::freeifaddrs> interfaces(first);
    for (const ifaddrs* interface = first; interface != nullptr; interface = interface->ifa_next) {
        if (isReachable(*interface)) {
            const auto* address = reinterpret_cast<const sockaddr_in*>(interface->ifa_addr);
            std::array<char, INET_ADDRSTRLEN> text{};
            ::inet_ntop(AF_INET, &address->sin_addr, text.data(), text.size());
            return text.data();
        }
    }
    return "127.0.0.1";
}

} // namespace ovelo
