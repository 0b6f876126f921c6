#include "platform/Settings.h"

#include "platform/Assert.h"

namespace ovelo {

namespace {

std::unique_ptr<Settings>& installed() {
    static std::unique_ptr<Settings> instance;
    return instance;
}

} // namespace

Settings& Settings::sharedInstance() {
    OVELO_ASSERT(installed() != nullptr, "settings are installed before they are used");
    return *installed();
}

void Settings::install(std::unique_ptr<Settings> settings) {
    installed() = std::move(settings);
}

} // namespace ovelo
