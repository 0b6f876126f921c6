// What a router, or somebody in its place, may answer to a search, a question for its description and
// a call.

#include "platform/UpnpMessages.h"

#include <cstdint>
#include <cstdlib>
#include <string>

using namespace ovelo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr const char* kSender = "10.0.0.1";
    constexpr const char* kPlace = "http://10.0.0.1:5000/rootDesc.xml";
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto isThere = [](const std::string& url) { // the scheme in any case
        const std::string rest = url.substr(std::string("http://").size());
        return rest == kSender || rest.starts_with(std::string(kSender) + ":") ||
               rest.starts_with(std::string(kSender) + "/");
    };
    if (const auto location = upnp::location(text, kSender)) {
        if (!isThere(*location) || location->find('\n') != std::string::npos) {
            std::abort();
        }
    }
    for (const upnp::Service& service : upnp::services(text, kPlace)) {
        if (!isThere(service.controlUrl) ||
            service.type.find_first_of("\r\n\"<>&") != std::string::npos) {
            std::abort();
        }
        (void)upnp::soapBody(service, "Act", {{"A", "1"}});
    }
    const upnp::Values values = upnp::soapValues(text);
    (void)upnp::errorCode(values);
    if (const auto entry = upnp::entry(values)) {
        if (entry->externalPort == 0 || entry->internalPort == 0 || entry->lease.count() < 0) {
            std::abort();
        }
    }
    return 0;
}
