#pragma once

#include "platform/Router.h"

namespace ovelo {

/// The router of the default route, if it speaks NAT-PMP (RFC 6886). It tells no table.
class NatPmpRouter final : public Router {
public:
    /// Asks the default route's router; hasNetwork is false without one.
    static RouterSearch find(const RouterLimit& limit);

    RouterAnswer readAddress(std::string& address, const RouterLimit& limit) override;
    std::optional<std::vector<RouterEntry>> readTable(const RouterLimit& limit) override;
    RouterAnswer map(std::uint16_t localPort, std::uint16_t& externalPort,
                     std::chrono::seconds lease, const RouterLimit& limit) override;
    RouterAnswer unmap(std::uint16_t localPort, std::uint16_t externalPort,
                       const RouterLimit& limit) override;
    [[nodiscard]] std::string localAddress() const override { return {}; }
};

} // namespace ovelo
