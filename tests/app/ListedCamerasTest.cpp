#include "app/ListedCameras.h"

#include "fakes/FakeAlerts.h"
#include "fakes/FakeCameraClients.h"
#include "fakes/FakeTimers.h"
#include "fakes/TestLog.h"
#include "ipcam/IPCamListController.h"
#include "platform/MemorySettings.h"
#include "support/DriverSetting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace ovelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ListedCamerasTest : public ::testing::Test {
protected:
    ListedCamerasTest() {
        list.updateIpCam({"porch", "http://10.0.0.1/", "", ""}, nullptr);
        list.updateIpCam({"yard", "http://10.0.0.2/", "", ""}, nullptr);
    }

    std::string names() const {
        std::string names;
        for (const auto& camera : cameras.cameras()) {
            names += camera.name + " " + camera.urlString + "\n";
        }
        return names;
    }

    MemorySettings settings;
    TestLog events;
    FakeAlerts alerts;
    FakeCameraClients clients;
    FakeTimers timers;
    DriverSetting driver{{.alerts = alerts, .paths = {}, .start = nullptr}};
    IPCamListController list{{settings, events.log(), alerts, driver, clients.factory(),
                              clients.factory(), timers.factory()}};
    ListedCameras cameras{list};
};

TEST_F(ListedCamerasTest, AreTheListInItsOrderAlsoAfterAnEdit) {
    EXPECT_EQ(names(), "porch http://10.0.0.1/\nyard http://10.0.0.2/\n");

    list.updateIpCam({"door", "http://10.0.0.3/", "", ""}, list.getIPCamWithName("porch"));

    EXPECT_EQ(names(), "yard http://10.0.0.2/\ndoor http://10.0.0.3/\n");
}

TEST_F(ListedCamerasTest, StartAndStopTheOneOfThatName) {
    cameras.start("yard");
    cameras.stop("yard");

    EXPECT_THAT(clients.calls(), ElementsAre("start yard", "stop yard"));
}

TEST_F(ListedCamerasTest, UnknownNameStartsNothing) {
    cameras.start("attic");
    cameras.stop("attic");

    EXPECT_THAT(clients.calls(), IsEmpty());
}

TEST_F(ListedCamerasTest, PlayingOneGoesOnWhenItIsDeletedAndCanBeStopped) {
    cameras.start("porch");
    list.rowChangeHandler(0);
    list.deleteAction();
    EXPECT_THAT(clients.calls(), ElementsAre("start porch"));

    cameras.stop("porch");
    EXPECT_THAT(clients.calls(), ElementsAre("start porch", "stop porch"));
}

TEST_F(ListedCamerasTest, SecondStartStopsTheFirst) {
    cameras.start("porch");
    cameras.start("yard");

    EXPECT_THAT(clients.calls(), ElementsAre("start porch", "stop porch", "start yard"));
}

} // namespace
} // namespace ovelo
