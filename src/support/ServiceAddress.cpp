#include "support/ServiceAddress.h"

#include "platform/Settings.h"

namespace ovelo {

namespace {

std::string address(const Settings& settings, std::string_view key, std::string_view path) {
    std::string base = settings.string(key).value_or("");
    while (base.ends_with('/')) {
        base.pop_back();
    }
    return base.empty() ? base : base.append(path);
}

} // namespace

std::string serviceAddress(const Settings& settings, std::string_view path) {
    return address(settings, "serviceUrl", path);
}

std::string webAddress(const Settings& settings, std::string_view path) {
    return address(settings, "webUrl", path);
}

} // namespace ovelo
