#include "support/AutoUpdater.h"

#include "platform/Settings.h"
#include "support/AutoUpdateUtil.h"
#include "support/ServiceAddress.h"
#include "support/UserAlerts.h"
#include "support/UtcText.h"

#include <cstdint>
#include <cstdlib>
#include <utility>

namespace ovelo {

namespace {

constexpr std::int64_t kWeek = 604'800; // seconds
constexpr const char* kDateKey = "lastUpdateCheckDt";

} // namespace

AutoUpdater::AutoUpdater(Environment environment) : environment_(std::move(environment)) {
}

std::string AutoUpdater::manifestAddress() const {
    return webAddress(environment_.settings, "/iphone/ovelo/AutoUpdateMac.txt");
}

void AutoUpdater::checkForUpdates() {
    const std::string address = manifestAddress();
    environment_.updates.checkForUpdate(environment_.bundleVersion, address, true);
    if (address.empty()) {
        environment_.alerts.tell("Unable to check for update. ",
                                 "The setting \"webUrl\" names the web site that is asked.", {});
    }
}

void AutoUpdater::clearDevices() {
    environment_.alerts.ask(
        {"Clear previously connected devices?",
         "Ovelo stores previously connected devices, so it can send Push Notifications to those "
         "devices.  Do you want to remove those devices from Ovelo on this computer?  A device "
         "will be stored again when it connects to Ovelo on this computer.",
         "Cancel", "OK"},
        [&settings = environment_.settings](bool otherButtonPressed) {
            if (otherButtonPressed) {
                settings.remove("devList");
            }
        });
}

void AutoUpdater::checkForUpdatesWeekly() {
    if (!isDue()) {
        return;
    }
    environment_.updates.checkForUpdate(environment_.bundleVersion, manifestAddress(), false);
    environment_.settings.setString(kDateKey, utctext::of(environment_.clock.timeOfDay().seconds));
}

bool AutoUpdater::isDue() const {
    const auto last = utctext::parse(environment_.settings.string(kDateKey).value_or(""));
    // A clock that was set back may have left a time to come.
    return !last || std::abs(environment_.clock.timeOfDay().seconds - *last) > kWeek;
}

} // namespace ovelo
