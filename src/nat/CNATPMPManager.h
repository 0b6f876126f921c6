#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

namespace ovelo {

class Logger;

/// Asks the router of the default route for its address and for mappings by NAT-PMP. For tools and
/// trials; the program itself has its ports forwarded by TcpNatBuster.
///
/// One session with the router, from creation to end.
///
/// thread  one; a request keeps a core busy until the router answers or, after two minutes, is given
///         up
class CNATPMPManager final {
public:
    using Address = std::array<std::uint8_t, 4>; // in the order in which it is written

    enum class Protocol : std::uint8_t { Udp = 1, Tcp = 2 }; // as in RFC 6886, 3.3

    explicit CNATPMPManager(Logger& log);
    ~CNATPMPManager();
    CNATPMPManager(const CNATPMPManager&) = delete;
    CNATPMPManager& operator=(const CNATPMPManager&) = delete;

    /// Asks for the router's address on the internet. return: nothing when it does not tell it
    std::optional<Address> externalAddress();

    /// Asks for a mapping.
    ///
    /// lifetime  in seconds; 0 removes it
    /// error     may be null; out: what the library says, 0 on success
    /// return    whether it was made
    bool openPortForProtocol(Protocol protocol, std::uint16_t privatePort, std::uint16_t publicPort,
                             std::uint32_t lifetime, int* error);

    /// The last address that was told; 0.0.0.0 before.
    [[nodiscard]] const Address& publicAddress() const { return publicAddress_; }

private:
    struct Session; // the library's

    std::unique_ptr<Session> session_;
    Address publicAddress_{};

    Logger& log_;
};

} // namespace ovelo
