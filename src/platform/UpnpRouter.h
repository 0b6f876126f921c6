#pragma once

#include "platform/Router.h"
#include "platform/UpnpMessages.h"

#include <string>
#include <string_view>

namespace ovelo {

/// A router that speaks UPnP.
///
/// miniupnpc reads what it says; the search and the requests are our own, for those of the library
/// can neither be interrupted nor are they bounded against a device that answers without end.
class UpnpRouter final : public Router {
public:
    /// Looks for one in the local network, at best one that is connected.
    static RouterSearch find(const RouterLimit& limit);

    UpnpRouter(upnp::Service service, std::string localAddress);

    RouterAnswer readAddress(std::string& address, const RouterLimit& limit) override;
    std::optional<std::vector<RouterEntry>> readTable(const RouterLimit& limit) override;
    RouterAnswer map(std::uint16_t localPort, std::uint16_t& externalPort,
                     std::chrono::seconds lease, const RouterLimit& limit) override;
    RouterAnswer unmap(std::uint16_t localPort, std::uint16_t externalPort,
                       const RouterLimit& limit) override;
    [[nodiscard]] std::string localAddress() const override { return localAddress_; }

    /// Whether it says that it is connected to the internet.
    bool isConnected(const RouterLimit& limit);

private:
    struct Reply {
        RouterAnswer answer = RouterAnswer::Silent;
        int error = 0; // of UPnP
        upnp::Values values;
    };

    Reply call(std::string_view action, const upnp::Arguments& arguments, const RouterLimit& limit);

    const upnp::Service service_;
    std::string localAddress_;
};

} // namespace ovelo
