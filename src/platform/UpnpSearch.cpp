#include "platform/UpnpSearch.h"

#include "platform/FileDescriptor.h"
#include "platform/Polling.h"
#include "platform/UpnpMessages.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>

namespace ovelo::upnp {

namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

constexpr auto kAfterFirst = 500ms; // for the others
constexpr auto kRepeat = 800ms;     // datagrams get lost
constexpr unsigned char kHops = 2;
constexpr std::array kTargets{
    "urn:schemas-upnp-org:device:InternetGatewayDevice:1",
    "urn:schemas-upnp-org:device:InternetGatewayDevice:2",
    "urn:schemas-upnp-org:service:WANIPConnection:1",
    "urn:schemas-upnp-org:service:WANPPPConnection:1",
};

bool ask(int fd) {
    sockaddr_in everyRouter{};
    everyRouter.sin_family = AF_INET;
    everyRouter.sin_port = htons(1900);
    everyRouter.sin_addr.s_addr = htonl(0xEFFFFFFA); // 239.255.255.250
    bool isSent = false;
    for (const char* target : kTargets) {
        const std::string request = searchRequest(target);
        isSent =
            ::sendto(fd, request.data(), request.size(), 0,
                     reinterpret_cast<const sockaddr*>(&everyRouter), sizeof everyRouter) > 0 ||
            isSent;
    }
    return isSent;
}

/// Takes one datagram, if there is one.
void receive(int fd, std::vector<std::string>& locations) {
    std::array<char, 1500> buffer{};
    std::array<char, INET_ADDRSTRLEN> text{};
    sockaddr_in sender{};
    socklen_t size = sizeof sender;
    const ssize_t count = ::recvfrom(fd, buffer.data(), buffer.size(), MSG_DONTWAIT,
                                     reinterpret_cast<sockaddr*>(&sender), &size);
    if (count <= 0 || ::inet_ntop(AF_INET, &sender.sin_addr, text.data(), text.size()) == nullptr) {
        return;
    }
    const auto url = location({buffer.data(), static_cast<std::size_t>(count)}, text.data());
    if (url && locations.size() < kMostLocations &&
        std::find(locations.begin(), locations.end(), *url) == locations.end()) {
        locations.push_back(*url);
    }
}

} // namespace

SearchResult search(const RouterLimit& limit) {
    SearchResult result;
    const FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ::setsockopt(socket.get(), IPPROTO_IP, IP_MULTICAST_TTL, &kHops, sizeof kHops);
    if (!ask(socket.get())) {
        result.hasNetwork = false;
        return result;
    }
    RouterLimit waiting = limit;
    auto askAgain = Steady::now() + kRepeat;
    while (waiting.left().count() > 0 && result.locations.size() < kMostLocations) {
        std::array<pollfd, 2> ready{pollfd{socket.get(), POLLIN, 0},
                                    pollfd{limit.wakeFd, POLLIN, 0}};
        const auto round = waiting.within(
            std::chrono::duration_cast<std::chrono::milliseconds>(askAgain - Steady::now()));
        if (pollFor(ready, round.left()) != 0 || ready[1].revents != 0) {
            break;
        }
        const bool isFirst = result.locations.empty();
        if (ready[0].revents != 0) {
            receive(socket.get(), result.locations);
        }
        if (isFirst && !result.locations.empty()) {
            waiting = limit.within(kAfterFirst);
        }
        if (Steady::now() >= askAgain) {
            ask(socket.get());
            askAgain += kRepeat;
        }
    }
    return result;
}

} // namespace ovelo::upnp
