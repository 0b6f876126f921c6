#pragma once

#include "platform/Clock.h"

#include <string>

namespace ovelo {

class AutoUpdateUtil;
class Settings;
class UserAlerts;

/// When to look for a newer version: from the menu, and once a week at the start. Also forgets the
/// phones that are notified.
///
/// thread  main
class AutoUpdater final {
public:
    /// What it works with; all of it outlives the object and the alerts that it has shown.
    struct Environment {
        Settings& settings; // "webUrl", "lastUpdateCheckDt", "devList"
        const Clock& clock;
        UserAlerts& alerts;
        AutoUpdateUtil& updates;
        std::string bundleVersion; // MyUtil::getBundleVersion
    };

    explicit AutoUpdater(Environment environment);

    /// The menu's check, which tells its outcome; also that there is no web site to ask.
    void checkForUpdates();

    /// Asks, and on "OK" removes the setting "devList".
    void clearDevices();

    /// The start's check: silent, and only when more than 7 days lie between now and the time that is
    /// stored under "lastUpdateCheckDt", or none is stored. Stores the time.
    void checkForUpdatesWeekly();

private:
    [[nodiscard]] bool isDue() const;
    [[nodiscard]] std::string manifestAddress() const;

    const Environment environment_;
};

} // namespace ovelo
