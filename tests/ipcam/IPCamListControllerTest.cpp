#include "ipcam/IPCamListController.h"

#include "fakes/FakeAlerts.h"
#include "fakes/FakeCameraClients.h"
#include "fakes/FakeTimers.h"
#include "fakes/TemporaryFolder.h"
#include "fakes/TestLog.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"
#include "support/DriverSetting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace ovelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const CameraRecord kFirst{"first", "http://10.0.0.1/", "a", "b"};
const CameraRecord kSecond{"second", "http://10.0.0.2/", "", ""};
const CameraRecord kThird{"third", "http://10.0.0.3/", "", ""};

class IPCamListControllerTest : public ::testing::Test {
protected:
    IPCamListControllerTest() { MainThread::begin(); }
    ~IPCamListControllerTest() override { MainThread::end(); }

    void store(const std::vector<CameraRecord>& cameras) {
        settings.setString("ipcamlist", cameralist::format(cameras));
    }
    std::vector<CameraRecord> stored() const {
        return cameralist::parse(settings.string("ipcamlist").value_or("none")).cameras;
    }
    std::vector<CameraRecord> listed() const {
        std::vector<CameraRecord> records;
        for (const auto& camera : list->ipCamArray()) {
            records.push_back(camera->record());
        }
        return records;
    }

    void load() {
        list = std::make_unique<IPCamListController>(IPCamListController::Environment{
            settings, events.log(), alerts, driver, clients.factory(), clients.factory(),
            timers.factory()});
        list->reloadData().connect([this] { ++reloads; });
    }
    void loadWithDriver(const std::vector<CameraRecord>& cameras) {
        std::filesystem::create_directory(folder.path() / "IPCam.component");
        store(cameras);
        load();
    }

    TemporaryFolder folder;
    MemorySettings settings;
    TestLog events;
    FakeAlerts alerts;
    FakeCameraClients clients;
    FakeTimers timers;
    DriverSetting driver{{.alerts = alerts,
                          .paths = {.archive = folder.path() / "IPCam.component.zip",
                                    .component = folder.path() / "IPCam.component"},
                          .start = nullptr}};
    std::unique_ptr<IPCamListController> list;
    int reloads = 0;
};

TEST_F(IPCamListControllerTest, IsEmptyWithoutTheSetting) {
    load();

    EXPECT_EQ(list->numberOfRowsInTableView(), 0U);
    EXPECT_FALSE(list->enableDeleteEdit());
    EXPECT_FALSE(settings.contains("ipcamlist"));
}

TEST_F(IPCamListControllerTest, EmptyListIsStoredAsTheEmptyText) {
    loadWithDriver({kFirst});
    list->rowChangeHandler(0);
    list->deleteAction();

    EXPECT_EQ(settings.string("ipcamlist"), "");
    load();
    EXPECT_EQ(list->numberOfRowsInTableView(), 0U);
}

TEST_F(IPCamListControllerTest, FindsTheFirstOfExactlyThatName) {
    loadWithDriver({kFirst, {"second", "http://10.0.0.9/", "", ""}, kSecond});

    EXPECT_EQ(list->getIPCamWithName("second")->record().urlString, "http://10.0.0.9/");
    EXPECT_EQ(list->getIPCamWithName("Second"), nullptr);
    EXPECT_EQ(list->getIPCamWithName(""), nullptr);
}

TEST_F(IPCamListControllerTest, TableShowsAllFourValuesInClear) {
    loadWithDriver({kFirst, kSecond});

    EXPECT_EQ(list->numberOfRowsInTableView(), 2U);
    EXPECT_EQ(list->tableView("0", 0), "first");
    EXPECT_EQ(list->tableView("1", 0), "http://10.0.0.1/");
    EXPECT_EQ(list->tableView("2", 0), "a");
    EXPECT_EQ(list->tableView("3", 0), "b");
    EXPECT_EQ(list->tableView("0", 1), "second");
    EXPECT_EQ(list->tableView("4", 0), "");
    EXPECT_EQ(list->tableView("-1", 0), "");
    EXPECT_EQ(list->tableView("0", 2), "");
}

TEST_F(IPCamListControllerTest, SelectionEnablesTheButtons) {
    loadWithDriver({kFirst});
    int changes = 0;
    list->enableDeleteEditChanged().connect([&] { ++changes; });

    list->rowChangeHandler(0);
    EXPECT_TRUE(list->enableDeleteEdit());
    list->rowChangeHandler(std::nullopt);
    EXPECT_FALSE(list->enableDeleteEdit());
    EXPECT_EQ(changes, 2);
}

TEST_F(IPCamListControllerTest, AddWithTheDriverOpensThePanel) {
    loadWithDriver({});
    bool isShown = false;
    list->ipCamItemController().orderFront().connect([&] { isShown = true; });

    list->addAction();
    EXPECT_TRUE(isShown);
    list->ipCamItemController().setCam({"a", "u", "x", "p"});
    list->ipCamItemController().okAction();

    EXPECT_EQ(settings.string("ipcamlist"), "asegsegseg,usegsegseg,xsegsegseg,p");
    EXPECT_EQ(reloads, 1);
    EXPECT_THAT(alerts.asked, IsEmpty());
}

TEST_F(IPCamListControllerTest, AddWithoutTheDriverOffersToInstallIt) {
    load();
    bool isShown = false;
    list->ipCamItemController().orderFront().connect([&] { isShown = true; });

    list->addAction();

    EXPECT_FALSE(isShown);
    ASSERT_EQ(alerts.asked.size(), 1U);
    EXPECT_EQ(alerts.asked[0].message, "Install IPCam Driver? ");
}

TEST_F(IPCamListControllerTest, EditedCameraMovesToTheEnd) {
    loadWithDriver({kFirst, kSecond, kThird});
    list->rowChangeHandler(0);
    list->editAction();
    EXPECT_EQ(list->ipCamItemController().cam(), kFirst);
    list->ipCamItemController().okAction();

    EXPECT_THAT(listed(), ElementsAre(kSecond, kThird, kFirst));
    EXPECT_THAT(stored(), ElementsAre(kSecond, kThird, kFirst));
    EXPECT_FALSE(list->enableDeleteEdit());
}

TEST_F(IPCamListControllerTest, CancelledEditLeavesTheList) {
    loadWithDriver({kFirst, kSecond});
    list->rowChangeHandler(1);
    list->editAction();
    list->ipCamItemController().setCam({});
    list->ipCamItemController().cancelAction();

    EXPECT_THAT(listed(), ElementsAre(kFirst, kSecond));
    EXPECT_THAT(stored(), ElementsAre(kFirst, kSecond));
    EXPECT_EQ(reloads, 0);
}

TEST_F(IPCamListControllerTest, DeleteMakesTheRemainingCamerasAnew) {
    loadWithDriver({kFirst, kSecond});
    const ListedCameraPointer former = list->getIPCamWithName("second");
    list->rowChangeHandler(0);
    list->deleteAction();

    EXPECT_THAT(stored(), ElementsAre(kSecond));
    EXPECT_THAT(listed(), ElementsAre(kSecond));
    EXPECT_NE(list->getIPCamWithName("second"), former);
    EXPECT_EQ(reloads, 1);
}

TEST_F(IPCamListControllerTest, RowOutsideTheListIsNotEditedOrDeleted) {
    loadWithDriver({kFirst});
    bool isShown = false;
    list->ipCamItemController().orderFront().connect([&] { isShown = true; });
    for (const std::optional<std::size_t> row : {std::optional<std::size_t>(), {1}, {SIZE_MAX}}) {
        list->rowChangeHandler(row);
        list->editAction();
        list->deleteAction();
    }

    EXPECT_FALSE(isShown);
    EXPECT_THAT(stored(), ElementsAre(kFirst));
}

TEST_F(IPCamListControllerTest, CloseHidesThePanel) {
    load();
    int hidden = 0;
    list->orderOut().connect([&] { ++hidden; });
    list->closeAction();

    EXPECT_EQ(hidden, 1);
}

TEST_F(IPCamListControllerTest, DamagedListKeepsWhatIsWholeAndACopyOfTheRest) {
    const std::string damaged =
        cameralist::format({kFirst}) + "recrecrec,lostsegsegseg,http://10.0.0.8/";
    settings.setString("ipcamlist", damaged);
    load();

    EXPECT_THAT(listed(), ElementsAre(kFirst));
    EXPECT_EQ(settings.string("ipcamlist_damaged"), damaged);
    EXPECT_EQ(settings.string("ipcamlist"), damaged) << "nothing is written before a change";
    EXPECT_TRUE(events.contains("The list of network cameras is damaged; its text is kept under "
                                "\"ipcamlist_damaged\" in the settings.\n"));

    list->updateIpCam(kSecond, nullptr);
    EXPECT_THAT(stored(), ElementsAre(kFirst, kSecond));
    EXPECT_EQ(settings.string("ipcamlist_damaged"), damaged);
}

TEST_F(IPCamListControllerTest, SecondDamageIsKeptBesideTheFirst) {
    settings.setString("ipcamlist", "one");
    load();
    load();
    EXPECT_EQ(settings.string("ipcamlist_damaged"), "one");

    settings.setString("ipcamlist", "two");
    load();
    EXPECT_EQ(settings.string("ipcamlist_damaged"), "one\ntwo");
}

TEST_F(IPCamListControllerTest, WholeListKeepsNoCopy) {
    loadWithDriver({kFirst, kSecond});

    EXPECT_FALSE(settings.contains("ipcamlist_damaged"));
}

TEST_F(IPCamListControllerTest, ReadsAListWithoutQuotationMarks) {
    settings.setArray("ipcamlist", {"asegsegseg", "usegsegseg", "xsegsegseg", "p"});
    load();

    EXPECT_THAT(listed(), ElementsAre(CameraRecord{"a", "u", "x", "p"}));
}

TEST_F(IPCamListControllerTest, TakesOverWhatAnotherProcessWrites) {
    loadWithDriver({kFirst});
    store({kFirst, kSecond});
    settings.changed().emit();

    EXPECT_THAT(listed(), ElementsAre(kFirst, kSecond));
    EXPECT_EQ(reloads, 1);
}

TEST_F(IPCamListControllerTest, OwnWritesAndOtherSettingsDoNotReload) {
    loadWithDriver({kFirst});
    list->updateIpCam(kSecond, nullptr);
    const auto before = list->ipCamArray();
    settings.setString("port", "1727");
    settings.changed().emit();

    EXPECT_EQ(list->ipCamArray(), before);
    EXPECT_EQ(reloads, 1);
}

TEST_F(IPCamListControllerTest, EditFinishedAfterAReloadStillReplacesTheOriginal) {
    loadWithDriver({kFirst, kSecond});
    list->rowChangeHandler(0);
    list->editAction();
    store({kFirst, kSecond, kThird});
    settings.changed().emit();
    CameraRecord edited = kFirst;
    edited.name = "edited";
    list->ipCamItemController().setCam(edited);
    list->ipCamItemController().okAction();

    EXPECT_THAT(listed(), ElementsAre(kSecond, kThird, edited));
}

} // namespace
} // namespace ovelo
