#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace ovelo {

/// A service that somebody announces on the local network.
struct FoundService {
    std::string name;
    std::string host; // a dotted IPv4 address
    std::uint16_t port = 0;
};

/// Looks for services of one type as long as it lives (RFC 6763).
class ServiceBrowser {
public:
    /// Called on the browser's own thread, once for each service.
    using Found = std::function<void(const FoundService&)>;

    ServiceBrowser() = default;
    virtual ~ServiceBrowser() = default;
    ServiceBrowser(const ServiceBrowser&) = delete;
    ServiceBrowser& operator=(const ServiceBrowser&) = delete;

    /// return  null when there is no responder on this computer
    static std::unique_ptr<ServiceBrowser> create(const std::string& type, Found found);
};

} // namespace ovelo
