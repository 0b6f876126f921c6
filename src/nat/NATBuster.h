#pragma once

#include "nat/MapAddr.h"
#include "nat/StunRegistration.h"
#include "nat/rendezvous.h"
#include "support/ServiceRequests.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovelo {

class HttpClient;
class Logger;
class Settings;

/// Learns our public UDP address, tells it to the rendezvous service, and asks that for peers.
///
/// Nothing is tried again here. The latest ten requests of each kind are tracked; the eleventh drops
/// the first, of which nothing is heard any more.
///
/// thread    regToStunServer: a worker's; everything else: main
/// lifetime  its end cancels what still runs; not from within a completion
class NATBuster final {
public:
    /// What it works with; all of it outlives the object.
    struct Environment {
        HttpClient& http;
        const Settings& settings; // "serviceUrl"
        Logger& log;
        StunRegistration::Functions stun;
        std::function<std::vector<std::string>()> stunServers;   // asked at each registration
        std::function<std::vector<std::string>()> hostAddresses; // of this computer
    };

    /// What a match request ends with: a piece of the reply, or "Failed".
    using Completion = std::function<void(const std::string& reply)>;

    explicit NATBuster(Environment environment);
    ~NATBuster() = default;
    NATBuster(const NATBuster&) = delete;
    NATBuster& operator=(const NATBuster&) = delete;

    /// See StunRegistration.
    bool regToStunServer(std::uint16_t localPort, std::optional<MapAddr>& mapAddr) const;

    /// Sends a registration for each of this host's addresses. return: true
    bool regToInstruducer(const std::string& access_id, const std::string& service_id, // sic
                          bool is_server, const std::string& udp_port, const std::string& mapped_ip,
                          const std::string& mapped_port, int nat_type);

    /// Sends one registration. return: whether it could be started
    bool regToInstruducer(const std::string& access_id, const std::string& service_id, // sic
                          bool is_server, const std::string& host_ip, const std::string& udp_port,
                          const std::string& mapped_ip, const std::string& mapped_port,
                          int nat_type);

    /// Asks for peers. A completion takes the place of the one before, for older requests, too.
    ///
    /// return  whether the request could be started; only then is the completion called, once for
    ///         each piece of the reply and never when the connection fails
    bool MatchInstruducer(const std::string& access_id, const std::string& service_id, // sic
                          bool is_server, Completion completed);

    /// Finds this host's addresses anew; registrations use what was found first.
    void loadHostIps();

    [[nodiscard]] const std::vector<std::string>& host_ips() const { return host_ips_; }
    [[nodiscard]] const ServiceRequests& regConnections() const { return regConnections_; }
    [[nodiscard]] const ServiceRequests& matchConnections() const { return matchConnections_; }

    /// The HTTP status of the latest response; 0 before the first.
    [[nodiscard]] std::int32_t ret_code() const { return ret_code_; }

private:
    bool sendRegistration(const rendezvous::Registration& registration);
    ServiceRequests::Listener listenerFor(std::string_view kind);
    void didReceiveData(std::string_view kind, std::string_view text);

    // In the product's own order.
    std::vector<std::string> host_ips_;
    ServiceRequests regConnections_;
    ServiceRequests matchConnections_;
    Completion matchCompleted_;
    std::int32_t ret_code_ = 0;

    const Environment environment_;
};

} // namespace ovelo
