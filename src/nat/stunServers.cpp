#include "nat/stunServers.h"

#include "platform/Settings.h"

namespace ovelo {

std::vector<std::string> stunServers(const Settings& settings) {
    if (const auto servers = settings.array("stunServers")) {
        return *servers;
    }
    // They answer from another address and port when they are asked to, which most do not.
    return {"stun.voipbuster.com", "stun.voipstunt.com", "stun.voipgate.com",
            "stun.sipgate.net:10000"};
}

} // namespace ovelo
