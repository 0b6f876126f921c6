#pragma once

#include "platform/TCMPortMapper.h"
#include "platform/Timer.h"
#include "support/ServiceRequests.h"

#include <sigc++/sigc++.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

class HttpClient;
class Logger;
class Settings;

/// Has the router forward a public TCP port to the viewer port, and registers that port with the
/// rendezvous service under the user's account.
///
/// Runs by itself half a second after its creation and then every five minutes, unless the setting
/// "autoPortMap" is false; and whenever the user asks. The latest ten registrations are tracked.
///
/// errors    a run without a mapping ends silently, see reachability(), or with an alert when the
///           user asked for it; registrations tell the event log only
/// thread    main
/// lifetime  its end cancels the registrations; it may come from within its own alert
class TcpNatBuster final : public sigc::trackable {
public:
    /// What it works with; all of it outlives the object.
    struct Environment {
        TCMPortMapper& mapper;
        HttpClient& http;
        Settings& settings;
        Logger& log;

        /// Told "address:port" after each run with a mapping.
        std::function<void(const std::string& externalIpPort)> setExternalIpPort;

        /// Shows a message with an "OK" button; may run the main loop until it is closed.
        std::function<void(const std::string& message, const std::string& informativeText)> alert;

        /// Calls once after a delay, on the main thread.
        std::function<std::unique_ptr<Timer>(std::chrono::milliseconds, std::function<void()>)>
            timer = &Timer::once;
    };

    explicit TcpNatBuster(Environment environment);
    ~TcpNatBuster();
    TcpNatBuster(const TcpNatBuster&) = delete;
    TcpNatBuster& operator=(const TcpNatBuster&) = delete;

    /// Begins a run, unless one is under way.
    ///
    /// showDialog  whether its end is told to the user
    void startNatAutoConfig(bool showDialog);

    /// Begins an automatic run, and schedules the next one.
    void tcmMappingSel();

    /// True when a mapping exists whose public port is this one.
    static bool externalPortAlreadyUsed(std::uint16_t port,
                                        const std::vector<TCMPortMapping>& mappings);

    /// Registers the public port, if an account is set.
    void tcpRegInMainThread();

    /// Sends one registration.
    ///
    /// return  whether it was started; not without the setting "serviceUrl"
    bool regToInstruducer(const std::string& email, const std::string& password, // sic
                          const std::string& service_id, const std::string& ip,
                          const std::string& port);

    /// Why the port cannot be reached from the internet, in one plain sentence; "" when it can, as
    /// far as the router knows. Stays through a run until its outcome is known.
    [[nodiscard]] const std::string& reachability() const { return reachability_; }
    sigc::signal<void()>& reachabilityChanged() { return reachabilityChanged_; }

    /// 0 idle, 1 the router's table is being refreshed, 2 a mapping is being made.
    [[nodiscard]] std::int32_t mappingState() const { return mappingState_; }

    /// The HTTP status of the latest response; 0 before the first.
    [[nodiscard]] std::int32_t ret_code() const { return ret_code_; }

    [[nodiscard]] const ServiceRequests& regConnections() const { return regConnections_; }

private:
    enum MappingState : std::int32_t { Idle = 0, Refreshing = 1, MappingRequested = 2 };

    void portMapperDidReceiveUPNPMappingTable(); // does nothing
    void portMapperDidFinishWork();
    [[nodiscard]] std::optional<TCMPortMapping> findMapping(std::uint16_t localPort) const;
    void useMapping(const TCMPortMapping& mapping);
    void requestMapping(std::uint16_t localPort);
    void endRun(const std::optional<TCMPortMapping>& mapping);
    void showOutcome(const std::optional<TCMPortMapping>& mapping) const;
    void updateReachability(bool isMapped);
    void schedule(std::chrono::milliseconds delay);
    [[nodiscard]] bool isAutomatic() const;
    [[nodiscard]] ServiceRequests::Listener listener();

    // In the product's own order.
    ServiceRequests regConnections_;
    std::int32_t ret_code_ = 0;
    std::unique_ptr<Timer> tcmMappingTimer_;
    bool myShowDialog_ = false;
    std::int32_t mappingState_ = Idle;

    const Environment environment_;
    bool isShowingAlert_ = false;
    std::shared_ptr<const bool> life_ = std::make_shared<const bool>(true); // gone with the object
    std::string reachability_;
    sigc::signal<void()> reachabilityChanged_;
};

} // namespace ovelo
