// What comes back when network cameras are searched for, and what they then reply.

#include "ipcam/onvif/DiscoveryMessage.h"
#include "ipcam/onvif/OnvifMessage.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    for (const auto& camera : ovelo::discovery::probeMatches(text, "1")) {
        if (camera.addresses.empty() || !camera.addresses.front().starts_with("http")) {
            std::abort();
        }
    }
    for (const auto& reply : {ovelo::onvif::mediaAddress(text), ovelo::onvif::profileToken(text),
                              ovelo::onvif::uri(text)}) {
        if (reply && reply.value().empty()) {
            std::abort();
        }
    }
    return 0;
}
