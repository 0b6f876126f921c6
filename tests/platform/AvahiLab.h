#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace ovelo {

/// A private message bus with an Avahi daemon of its own, which sees nothing but its own loopback
/// network.
///
/// One for each process: the bus library reads the bus's address once.
class AvahiLab {
public:
    AvahiLab();
    ~AvahiLab();
    AvahiLab(const AvahiLab&) = delete;
    AvahiLab& operator=(const AvahiLab&) = delete;

    /// Why it cannot run here; empty when it can.
    static std::string obstacle();

    void startBus();
    void stopBus() { end(bus_); }
    void startDaemon();
    void stopDaemon() { end(daemon_); }

    /// Lets the daemon hang, and go on.
    void freezeDaemon() const;
    void thawDaemon() const;

    /// What avahi-browse finds of `type`, resolved.
    [[nodiscard]] std::string browse(const std::string& type) const;

    /// Announces a service as somebody else would; withdrawn by stopForeign().
    void announceForeign(const std::string& name, const std::string& type, int port);
    void stopForeign() { end(foreign_); }

private:
    pid_t spawn(const std::vector<std::string>& words) const;
    static void end(pid_t& pid);
    void write(const char* name, const std::string& text) const;

    std::filesystem::path folder_;
    pid_t bus_ = 0;
    pid_t daemon_ = 0;
    pid_t foreign_ = 0;
};

} // namespace ovelo
