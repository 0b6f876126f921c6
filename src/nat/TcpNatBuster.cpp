#include "nat/TcpNatBuster.h"

#include "nat/Reachability.h"
#include "platform/Numbers.h"
#include "platform/Settings.h"
#include "support/HttpUtil.h"
#include "support/Logger.h"
#include "support/ServiceAddress.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kTracked = 10;
constexpr auto kFirstRun = 500ms;
constexpr auto kNextRun = 300s;
constexpr std::uint16_t kDefaultPort = 1726;
constexpr int kMostPort = 65535;
constexpr int kMultipliedBelow = 9001;
constexpr int kCandidates = 10;
constexpr std::string_view kPath = "/Tcp/RegisterWS.aspx";
constexpr const char* kServiceId = "Ovelo";
constexpr const char* kExternalPort = "externalTcpPort";
constexpr const char* kAutomatic = "autoPortMap";

/// The port that the viewer server listens on.
std::uint16_t localPort(const Settings& settings) {
    const auto text = settings.string("port");
    return text ? static_cast<std::uint16_t>(numbers::leadingInteger(*text)) : kDefaultPort;
}

/// The port to ask the router for: the local one, or one that resembles it and is free.
std::uint16_t desiredPort(std::uint16_t localPort, const std::vector<TCMPortMapping>& mappings) {
    int port = localPort;
    const auto isUsed = [&] {
        return TcpNatBuster::externalPortAlreadyUsed(static_cast<std::uint16_t>(port), mappings);
    };
    if (!isUsed()) {
        return localPort;
    }
    // From 6554 on the product is no port number; the neighbours of the port itself are, then.
    if (port < kMultipliedBelow && port * 10 + kCandidates <= kMostPort) {
        port *= 10;
    }
    for (int i = 0; i < kCandidates && port < kMostPort; ++i) {
        ++port;
        if (!isUsed()) {
            break;
        }
    }
    return static_cast<std::uint16_t>(port);
}

} // namespace

TcpNatBuster::TcpNatBuster(Environment environment)
    : regConnections_(kTracked, listener())
    , environment_(std::move(environment)) {
    environment_.mapper.didReceiveUPNPMappingTable().connect(
        sigc::mem_fun(*this, &TcpNatBuster::portMapperDidReceiveUPNPMappingTable));
    environment_.mapper.didFinishWork().connect(
        sigc::mem_fun(*this, &TcpNatBuster::portMapperDidFinishWork));
    updateReachability(false);
    schedule(kFirstRun);
}

TcpNatBuster::~TcpNatBuster() = default;

void TcpNatBuster::schedule(std::chrono::milliseconds delay) {
    tcmMappingTimer_ = environment_.timer(delay, [this] { tcmMappingSel(); });
}

bool TcpNatBuster::isAutomatic() const {
    return !environment_.settings.contains(kAutomatic) || environment_.settings.boolean(kAutomatic);
}

void TcpNatBuster::tcmMappingSel() {
    schedule(kNextRun);
    if (isAutomatic()) {
        startNatAutoConfig(false);
    }
}

void TcpNatBuster::startNatAutoConfig(bool showDialog) {
    if (mappingState_ != Idle) {
        return;
    }
    myShowDialog_ = showDialog;
    environment_.mapper.refresh();
    environment_.mapper.start();
    mappingState_ = Refreshing;
}

void TcpNatBuster::portMapperDidReceiveUPNPMappingTable() {
}

void TcpNatBuster::portMapperDidFinishWork() {
    if (isShowingAlert_) {
        return; // the run is over but for the user's click
    }
    const std::uint16_t port = localPort(environment_.settings);
    const auto mapping = findMapping(port);
    if (mapping) {
        useMapping(*mapping);
    } else if (mappingState_ == Refreshing && port != 0) {
        requestMapping(port);
        return;
    }
    updateReachability(mapping.has_value());
    endRun(mapping);
}

std::optional<TCMPortMapping> TcpNatBuster::findMapping(std::uint16_t localPort) const {
    for (const TCMPortMapping& mapping : environment_.mapper.portMappings()) {
        if (mapping.mappingStatus == TCMPortMapping::Status::Mapped && localPort != 0 &&
            mapping.localPort == localPort) {
            return mapping;
        }
    }
    return std::nullopt;
}

void TcpNatBuster::useMapping(const TCMPortMapping& mapping) {
    environment_.mapper.keepPortMapping(mapping);
    if (environment_.settings.integer(kExternalPort) != mapping.externalPort) {
        environment_.settings.setInteger(kExternalPort, mapping.externalPort);
        tcpRegInMainThread();
    }
    const std::string address = environment_.mapper.externalIPAddress();
    if (!address.empty()) {
        environment_.setExternalIpPort(fmt::format("{}:{}", address, mapping.externalPort));
    }
}

bool TcpNatBuster::externalPortAlreadyUsed(std::uint16_t port,
                                           const std::vector<TCMPortMapping>& mappings) {
    return std::any_of(mappings.begin(), mappings.end(), [port](const TCMPortMapping& mapping) {
        return mapping.mappingStatus == TCMPortMapping::Status::Mapped &&
               mapping.externalPort == port;
    });
}

void TcpNatBuster::requestMapping(std::uint16_t localPort) {
    const std::uint16_t external = desiredPort(localPort, environment_.mapper.portMappings());
    environment_.mapper.addPortMapping(
        TCMPortMapping::portMappingWithLocalPort(localPort, external));
    environment_.mapper.start();
    mappingState_ = MappingRequested;
}

void TcpNatBuster::endRun(const std::optional<TCMPortMapping>& mapping) {
    if (std::exchange(myShowDialog_, false)) {
        const std::weak_ptr<const bool> life = life_;
        isShowingAlert_ = true;
        showOutcome(mapping);
        if (life.expired()) {
            return; // the program was ended while the alert was open
        }
        isShowingAlert_ = false;
    }
    mappingState_ = Idle;
}

void TcpNatBuster::showOutcome(const std::optional<TCMPortMapping>& mapping) const {
    const auto alert = environment_.alert; // outlives this object, if need be
    if (mapping) {
        alert(fmt::format("Port forwarding is successfully configured. External IP Address:  {}:{}",
                          environment_.mapper.externalIPAddress(), mapping->externalPort),
              "You may now connect using your external IP address, or using a matching "
              "E-Mail/Password on your iPhone/iPod.");
    } else {
        alert("Unable to auto-configure port forwarding.",
              "Please make sure UPnP is turned on using your router's configuration tool.");
    }
}

void TcpNatBuster::updateReachability(bool isMapped) {
    const TCMPortMapper& mapper = environment_.mapper;
    std::string text =
        mapper.trouble() == PortMapperTrouble::NotAsked && !isAutomatic()
            ? "The router is not asked by itself; the automatic configuration is switched off."
            : reachability::problem(mapper.trouble(), isMapped, mapper.externalIPAddress());
    if (text != reachability_) {
        reachability_ = std::move(text);
        reachabilityChanged_.emit();
    }
}

void TcpNatBuster::tcpRegInMainThread() {
    const Settings& settings = environment_.settings;
    const std::string email = settings.string("email").value_or("");
    const std::string password = settings.string("password").value_or("");
    if (email.empty() || password.empty()) {
        return;
    }
    const int port =
        settings.contains(kExternalPort) ? settings.integer(kExternalPort) : kDefaultPort;
    regToInstruducer(email, password, kServiceId, "", std::to_string(port));
}

bool TcpNatBuster::regToInstruducer(const std::string& email, const std::string& password,
                                    const std::string& service_id, const std::string& ip,
                                    const std::string& port) {
    const HttpRequest request = HttpUtil::createFormRequest(
        serviceAddress(environment_.settings, kPath), {{"email", email},
                                                       {"password", password},
                                                       {"service_id", service_id},
                                                       {"ip", ip},
                                                       {"port", port}});
    if (!regConnections_.start(environment_.http, request)) {
        environment_.log.write("Failed to submit request");
        return false;
    }
    environment_.log.write(fmt::format("TCP Reg Request submitted, port {}", port));
    return true;
}

/// Kept: heard of to their end, also those that are not tracked any more.
ServiceRequests::Listener TcpNatBuster::listener() {
    return {
        .didReceiveResponse =
            [this](int status, bool) {
                ret_code_ = status;
                environment_.log.write(
                    fmt::format("TCP Reg Service registration HTTP return code: {}\n", status));
            },
        .didReceiveData =
            [this](std::string_view text, bool) {
                environment_.log.write(
                    fmt::format("TCP Reg Service registration HTTP return: <{}>\n", text));
            },
        .didFailWithError =
            [this](const std::string& description, bool) {
                environment_.log.write(
                    fmt::format("Service registration failed: {}\n", description));
            },
    };
}

} // namespace ovelo
