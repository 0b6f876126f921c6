// An item of the setting "stunServers", as an editor may have left it. Nothing is looked up.

#include "nat/stunServerName.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string name(reinterpret_cast<const char*>(data), size);
    const auto server = ovelo::stunSplitHostName(name.c_str(), ovelo::kStunDefaultPort);
    if (!server) {
        return 0;
    }
    const bool isSound =
        server->port >= 1024 && server->port < 65535 && server->host.size() <= 512 &&
        server->host.find(':') == std::string::npos && name.starts_with(server->host);
    if (!isSound) {
        std::abort();
    }
    return 0;
}
