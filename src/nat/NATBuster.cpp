#include "nat/NATBuster.h"

#include "platform/Console.h"
#include "support/HttpUtil.h"
#include "support/Logger.h"
#include "support/ServiceAddress.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

namespace ovelo {

namespace {

constexpr std::size_t kTracked = 10;
constexpr std::string_view kRegistration = "registration";
constexpr std::string_view kMatch = "match";
constexpr int kHttpOk = 200;

} // namespace

NATBuster::NATBuster(Environment environment)
    : regConnections_(kTracked, listenerFor(kRegistration))
    , matchConnections_(kTracked, listenerFor(kMatch))
    , environment_(std::move(environment)) {
}

bool NATBuster::regToStunServer(std::uint16_t localPort, std::optional<MapAddr>& mapAddr) const {
    const StunRegistration registration(environment_.stunServers(), environment_.stun,
                                        environment_.log);
    return registration.regToStunServer(localPort, mapAddr);
}

void NATBuster::loadHostIps() {
    host_ips_.clear();
    for (const std::string& address : environment_.hostAddresses()) {
        environment_.log.write(fmt::format("NATBuster Host IP: {}\n", address));
        if (rendezvous::isUsableHostIp(address)) {
            environment_.log.write(fmt::format("NATBuster Adding Host IP: {}\n", address));
            host_ips_.push_back(address);
        }
    }
}

bool NATBuster::regToInstruducer(const std::string& access_id, const std::string& service_id,
                                 bool is_server, const std::string& udp_port,
                                 const std::string& mapped_ip, const std::string& mapped_port,
                                 int nat_type) {
    if (host_ips_.empty()) {
        loadHostIps();
    }
    for (const std::string& address : host_ips_) {
        sendRegistration({access_id, service_id, is_server, address, udp_port, mapped_ip,
                          mapped_port, nat_type});
    }
    return true;
}

bool NATBuster::regToInstruducer(const std::string& access_id, const std::string& service_id,
                                 bool is_server, const std::string& host_ip,
                                 const std::string& udp_port, const std::string& mapped_ip,
                                 const std::string& mapped_port, int nat_type) {
    return sendRegistration(
        {access_id, service_id, is_server, host_ip, udp_port, mapped_ip, mapped_port, nat_type});
}

bool NATBuster::sendRegistration(const rendezvous::Registration& registration) {
    const HttpRequest request = HttpUtil::createFormRequest(
        serviceAddress(environment_.settings, rendezvous::kRegistrationPath),
        rendezvous::registrationFields(registration));
    const bool isStarted = regConnections_.start(environment_.http, request);
    console::write(isStarted ? "Request submitted" : "Failed to submit request");
    return isStarted;
}

bool NATBuster::MatchInstruducer(const std::string& access_id, const std::string& service_id,
                                 bool is_server, Completion completed) {
    const HttpRequest request =
        HttpUtil::createFormRequest(serviceAddress(environment_.settings, rendezvous::kMatchPath),
                                    rendezvous::matchFields(access_id, service_id, is_server));
    if (!matchConnections_.start(environment_.http, request)) {
        environment_.log.write("UDP Reg Failed to submit request");
        return false;
    }
    environment_.log.write("UDP Reg Request submitted");
    matchCompleted_ = std::move(completed);
    return true;
}

/// kind  kRegistration or kMatch
ServiceRequests::Listener NATBuster::listenerFor(std::string_view kind) {
    ServiceRequests::Listener listener;
    listener.didReceiveResponse = [this, kind](int status, bool isTracked) {
        ret_code_ = status;
        if (isTracked) {
            environment_.log.write(
                fmt::format("UDP Reg Service {} HTTP return code: {}\n", kind, status));
        }
    };
    listener.didReceiveData = [this, kind](std::string_view text, bool isTracked) {
        if (isTracked) {
            didReceiveData(kind, text);
        }
    };
    listener.didFailWithError = [this, kind](const std::string& description, bool isTracked) {
        if (isTracked) {
            environment_.log.write(
                fmt::format("UDP Reg Service {} failed: {}\n", kind, description));
        }
    };
    return listener;
}

void NATBuster::didReceiveData(std::string_view kind, std::string_view text) {
    environment_.log.write(fmt::format("UDP Reg Service {} HTTP return: <{}>\n", kind, text));
    if (kind != kMatch || !matchCompleted_) {
        return;
    }
    // Kept: each piece by itself, so a reply in two pieces is a failure and half a reply.
    const bool isGood = ret_code_ == kHttpOk && text.find("OK") != std::string_view::npos;
    const Completion completed = matchCompleted_; // it may ask again, with another one
    completed(isGood ? std::string(text) : "Failed");
}

} // namespace ovelo
