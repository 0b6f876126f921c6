#include "platform/UpnpRouter.h"

#include "platform/UpnpHttp.h"
#include "platform/UpnpSearch.h"

#include <fmt/format.h>

#include <utility>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr auto kSearch = 2500ms;
constexpr auto kRequest = 5s;
constexpr auto kTable = 15s;
constexpr int kHttpOk = 200;

// Errors of the port mapping service (UPnP Forum, WANIPConnection).
constexpr int kConflict = 718;
constexpr int kOnlyPermanent = 725;
constexpr int kNoSuchEntry = 714;

} // namespace

RouterSearch UpnpRouter::find(const RouterLimit& limit) {
    const upnp::SearchResult heard = upnp::search(limit.within(kSearch));
    RouterSearch found{nullptr, heard.hasNetwork};
    for (const std::string& location : heard.locations) {
        const auto description = upnp::exchange(location, {}, {}, limit.within(kRequest));
        if (!description || description->status != kHttpOk) {
            continue;
        }
        for (upnp::Service& service : upnp::services(description->body, location)) {
            auto router =
                std::make_unique<UpnpRouter>(std::move(service), description->localAddress);
            if (router->isConnected(limit)) {
                found.router = std::move(router);
                return found;
            }
            if (!found.router) {
                found.router = std::move(router);
            }
        }
    }
    return found;
}

UpnpRouter::UpnpRouter(upnp::Service service, std::string localAddress)
    : service_(std::move(service))
    , localAddress_(std::move(localAddress)) {
}

UpnpRouter::Reply UpnpRouter::call(std::string_view action, const upnp::Arguments& arguments,
                                   const RouterLimit& limit) {
    const auto reply =
        upnp::exchange(service_.controlUrl, upnp::soapBody(service_, action, arguments),
                       {"Content-Type: text/xml; charset=\"utf-8\"",
                        fmt::format("SOAPAction: \"{}#{}\"", service_.type, action), "Expect:"},
                       limit.within(kRequest));
    Reply result;
    if (!reply) {
        return result;
    }
    localAddress_ = reply->localAddress;
    result.values = upnp::soapValues(reply->body);
    result.error = upnp::errorCode(result.values);
    if (reply->status == kHttpOk) {
        result.answer = RouterAnswer::Done;
    } else if (result.error != 0) {
        result.answer = result.error == kConflict ? RouterAnswer::Taken : RouterAnswer::Refused;
    }
    return result;
}

bool UpnpRouter::isConnected(const RouterLimit& limit) {
    const Reply reply = call("GetStatusInfo", {}, limit);
    const auto status = reply.values.find("NewConnectionStatus");
    return reply.answer == RouterAnswer::Done && status != reply.values.end() &&
           (status->second == "Connected" || status->second == "Up");
}

RouterAnswer UpnpRouter::readAddress(std::string& address, const RouterLimit& limit) {
    const Reply reply = call("GetExternalIPAddress", {}, limit);
    const auto told = reply.values.find("NewExternalIPAddress");
    address = told == reply.values.end() ? "" : upnp::addressOrNothing(told->second);
    if (reply.answer == RouterAnswer::Silent) {
        return reply.answer;
    }
    if (address == "0.0.0.0") {
        address.clear();
    }
    // Many routers tell the address that they had while they have none.
    return address.empty() || !isConnected(limit) ? RouterAnswer::NotConnected : RouterAnswer::Done;
}

std::optional<std::vector<RouterEntry>> UpnpRouter::readTable(const RouterLimit& limit) {
    const RouterLimit all = limit.within(kTable);
    std::vector<RouterEntry> table;
    for (std::size_t index = 0; index < kMostEntries; ++index) {
        const Reply reply = call("GetGenericPortMappingEntry",
                                 {{"NewPortMappingIndex", std::to_string(index)}}, all);
        if (reply.answer != RouterAnswer::Done) {
            break; // the end, in one of several words
        }
        if (auto entry = upnp::entry(reply.values)) {
            table.push_back(std::move(*entry));
        }
    }
    return table;
}

RouterAnswer UpnpRouter::map(std::uint16_t localPort, std::uint16_t& externalPort,
                             std::chrono::seconds lease, const RouterLimit& limit) {
    const auto ask = [&](std::chrono::seconds duration) {
        return call("AddPortMapping",
                    {{"NewRemoteHost", ""},
                     {"NewExternalPort", std::to_string(externalPort)},
                     {"NewProtocol", "TCP"},
                     {"NewInternalPort", std::to_string(localPort)},
                     {"NewInternalClient", localAddress_},
                     {"NewEnabled", "1"},
                     {"NewPortMappingDescription", kDescription},
                     {"NewLeaseDuration", std::to_string(duration.count())}},
                    limit);
    };
    Reply reply = ask(lease);
    if (reply.error == kOnlyPermanent) {
        reply = ask(0s);
    }
    return reply.answer;
}

RouterAnswer UpnpRouter::unmap(std::uint16_t /*localPort*/, std::uint16_t externalPort,
                               const RouterLimit& limit) {
    const Reply reply = call("DeletePortMapping",
                             {{"NewRemoteHost", ""},
                              {"NewExternalPort", std::to_string(externalPort)},
                              {"NewProtocol", "TCP"}},
                             limit);
    return reply.error == kNoSuchEntry ? RouterAnswer::Done : reply.answer;
}

} // namespace ovelo
