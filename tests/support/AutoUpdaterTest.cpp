#include "support/AutoUpdater.h"

#include "fakes/FakeAlerts.h"
#include "fakes/FakeClock.h"
#include "fakes/FakeHttp.h"
#include "fakes/TestLog.h"
#include "platform/MemorySettings.h"
#include "support/AutoUpdateUtil.h"
#include "support/UtcText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AutoUpdaterTest : public ::testing::Test {
protected:
    AutoUpdaterTest() { settings.setString("webUrl", "http://127.0.0.1"); }

    void rememberCheckBefore(std::chrono::seconds age) {
        settings.setString("lastUpdateCheckDt", utctext::of(FakeClock::kStart - age.count()));
    }

    MemorySettings settings;
    FakeClock clock;
    FakeAlerts alerts;
    FakeHttp http;
    TestLog events;
    AutoUpdateUtil updates{{http, events.log(), alerts, [](const std::string&) { return true; }}};
    AutoUpdater updater{{settings, clock, alerts, updates, "1.0.0"}};
};

TEST_F(AutoUpdaterTest, MenuAsksTheWebSiteAndTellsTheOutcome) {
    updater.checkForUpdates();

    ASSERT_EQ(http.exchanges.size(), 1U);
    EXPECT_EQ(http.exchanges[0]->request.url, "http://127.0.0.1/iphone/ovelo/AutoUpdateMac.txt");
    EXPECT_EQ(updates.currentVersion(), "1.0.0");
    EXPECT_TRUE(updates.showError());
    EXPECT_FALSE(settings.contains("lastUpdateCheckDt"));
}

TEST_F(AutoUpdaterTest, MenuSaysThatThereIsNoWebSite) {
    settings.remove("webUrl");

    updater.checkForUpdates();

    EXPECT_EQ(alerts.told.size(), 1U);
    EXPECT_TRUE(events.contains("checkForUpdate: failed to create request."));
}

TEST_F(AutoUpdaterTest, FirstStartMakesASilentCheckAndStoresTheTime) {
    updater.checkForUpdatesWeekly();

    EXPECT_EQ(http.exchanges.size(), 1U);
    EXPECT_FALSE(updates.showError());
    EXPECT_EQ(settings.string("lastUpdateCheckDt"), "2023-11-14T22:13:20Z");
}

TEST_F(AutoUpdaterTest, CheckOfExactlyAWeekAgoIsRecentEnough) {
    rememberCheckBefore(604800s);
    updater.checkForUpdatesWeekly();
    EXPECT_THAT(http.exchanges, IsEmpty());

    rememberCheckBefore(604801s);
    updater.checkForUpdatesWeekly();
    EXPECT_EQ(http.exchanges.size(), 1U);
    EXPECT_EQ(settings.string("lastUpdateCheckDt"), utctext::of(FakeClock::kStart));
}

TEST_F(AutoUpdaterTest, TimeFarAheadOrUnreadableDoesNotPreventChecksForEver) {
    rememberCheckBefore(-604800s);
    updater.checkForUpdatesWeekly();
    EXPECT_THAT(http.exchanges, IsEmpty());

    rememberCheckBefore(-604801s);
    updater.checkForUpdatesWeekly();
    ASSERT_EQ(http.exchanges.size(), 1U);
    http.respond(0, 200);

    settings.setString("lastUpdateCheckDt", "yesterday");
    updater.checkForUpdatesWeekly();
    EXPECT_EQ(http.exchanges.size(), 2U);
}

TEST_F(AutoUpdaterTest, TimeIsStoredAlsoWhenTheRequestCouldNotBeMade) {
    settings.remove("webUrl");

    updater.checkForUpdatesWeekly();

    EXPECT_TRUE(settings.contains("lastUpdateCheckDt"));
    EXPECT_THAT(alerts.told, IsEmpty());
}

TEST_F(AutoUpdaterTest, ClearsTheDevicesOnOk) {
    settings.setArray("devList", {"a", "b"});

    updater.clearDevices();
    ASSERT_EQ(alerts.asked.size(), 1U);
    EXPECT_EQ(alerts.asked[0].message, "Clear previously connected devices?");
    EXPECT_EQ(alerts.asked[0].informativeText,
              "Ovelo stores previously connected devices, so it can send Push Notifications to "
              "those devices.  Do you want to remove those devices from Ovelo on this computer?  A "
              "device will be stored again when it connects to Ovelo on this computer.");
    EXPECT_EQ(alerts.asked[0].defaultButton, "Cancel");
    EXPECT_EQ(alerts.asked[0].otherButton, "OK");
    alerts.answer(true);

    EXPECT_FALSE(settings.contains("devList"));
}

TEST_F(AutoUpdaterTest, KeepsTheDevicesOnCancel) {
    settings.setArray("devList", {"a", "b"});

    updater.clearDevices();
    alerts.answer(false);

    EXPECT_EQ(settings.array("devList"), (Settings::Array{"a", "b"}));
}

} // namespace
} // namespace ovelo
