#include "support/ServiceAddress.h"

#include "platform/Settings.h"

namespace ovelo {

std::string serviceAddress(const Settings& settings, std::string_view path) {
    std::string address = settings.string("serviceUrl").value_or("");
    while (address.ends_with('/')) {
        address.pop_back();
    }
    return address.empty() ? address : address.append(path);
}

} // namespace ovelo
