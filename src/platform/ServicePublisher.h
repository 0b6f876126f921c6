#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace ovelo {

/// A service announced on the local network by multicast DNS service discovery (RFC 6763).
struct PublishedService {
    std::string domain; // "": the network's own
    std::string type;   // "_lumenwatch._tcp"
    std::string name;
    std::uint16_t port = 0;
};

/// Announces one service as long as it lives, and again whenever the responder comes back.
///
/// thread  main; the delegate is called there
class ServicePublisher {
public:
    class Delegate {
    public:
        virtual ~Delegate() = default;
        /// The responder has taken the service.
        virtual void netServiceWillPublish(const PublishedService& service) = 0;
        /// The service is not announced; told once for each new reason, and tried again by itself.
        virtual void netServiceDidNotPublish(const PublishedService& service, int errorCode) = 0;
        /// The announcement was withdrawn.
        virtual void netServiceDidStop(const PublishedService& service) = 0;
    };

    ServicePublisher() = default;
    virtual ~ServicePublisher() = default;
    ServicePublisher(const ServicePublisher&) = delete;
    ServicePublisher& operator=(const ServicePublisher&) = delete;

    virtual void publish() = 0;

    /// Withdraws the announcement. Nothing is told after it but netServiceDidStop, once, before it
    /// returns.
    virtual void stop() = 0;

    /// return  null when the library cannot be used at all
    static std::unique_ptr<ServicePublisher> create(const PublishedService& service,
                                                    Delegate& delegate);
};

} // namespace ovelo
