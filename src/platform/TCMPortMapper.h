#pragma once

#include <sigc++/sigc++.h>

#include <cstdint>
#include <string>
#include <vector>

namespace ovelo {

/// One forwarded TCP port of the router.
struct TCMPortMapping {
    enum class Status { Unmapped, Mapped };

    /// A mapping to be asked for.
    static TCMPortMapping portMappingWithLocalPort(std::uint16_t localPort,
                                                   std::uint16_t desiredExternalPort) {
        return {Status::Unmapped, localPort, desiredExternalPort};
    }

    Status mappingStatus = Status::Unmapped;
    std::uint16_t localPort = 0;    // of this computer; 0: leads to another one
    std::uint16_t externalPort = 0; // of the router; the desired one while unmapped

    friend bool operator==(const TCMPortMapping&, const TCMPortMapping&) = default;
};

/// What keeps a router from forwarding.
enum class PortMapperTrouble {
    None,
    NotAsked,     // no search yet
    NoNetwork,    // this computer has no way out
    NoRouter,     // or one that forwards nothing on request
    NotConnected, // the router is not connected to the internet
    NotTalking,   // the router was found; its answers fail or make no sense
    Refused,      // it does not forward the port
};

/// Asks the home router to forward TCP ports to this computer, and keeps them forwarded.
///
/// Work runs aside; its outcome is kept here and told by didFinishWork() on the main thread. Mappings
/// that were added are renewed before the router would forget them, and made again when it did; a
/// change that comes of that is told by didFinishWork(), too.
///
/// errors    see trouble()
/// thread    main
/// lifetime  the end of the object removes its mappings; see stop()
class TCMPortMapper {
public:
    TCMPortMapper() = default;
    virtual ~TCMPortMapper() = default;
    TCMPortMapper(const TCMPortMapper&) = delete;
    TCMPortMapper& operator=(const TCMPortMapper&) = delete;

    /// Has the next start() ask the router for its mappings and its address.
    virtual void refresh() = 0;

    /// Begins what was asked for; didFinishWork() follows, once for what was asked for until then.
    virtual void start() = 0;

    /// Begins to remove the mappings that were added, without waiting. Nothing is told any more, and
    /// nothing can be started. The object's end waits until that is done, at most one second from here.
    virtual void stop() = 0;

    /// The router's whole table for TCP; with a router that tells none, our own mappings.
    [[nodiscard]] virtual std::vector<TCMPortMapping> portMappings() const = 0;

    /// Has the next start() ask for a mapping, in place of an earlier one from the same local port.
    virtual void addPortMapping(const TCMPortMapping& mapping) = 0;

    /// Treats a mapping of the table as added here if an earlier run of the program, which has not
    /// ended properly, left it; others, such as the user's own, are left alone.
    virtual void keepPortMapping(const TCMPortMapping& mapping) = 0;

    /// Of the router, dotted; "" when not known.
    [[nodiscard]] virtual std::string externalIPAddress() const = 0;

    [[nodiscard]] virtual PortMapperTrouble trouble() const = 0;

    /// The router's table has come.
    sigc::signal<void()>& didReceiveUPNPMappingTable() { return didReceiveUPNPMappingTable_; }

    /// All work is done. A call may start the next.
    sigc::signal<void()>& didFinishWork() { return didFinishWork_; }

private:
    sigc::signal<void()> didReceiveUPNPMappingTable_;
    sigc::signal<void()> didFinishWork_;
};

} // namespace ovelo
