#include "ui/CameraListPanel.h"

#include "fakes/FakeAlerts.h"
#include "fakes/FakeCameraClients.h"
#include "fakes/FakeTimers.h"
#include "fakes/TemporaryFolder.h"
#include "fakes/TestLog.h"
#include "ipcam/IPCamListController.h"
#include "platform/MemorySettings.h"
#include "support/DriverSetting.h"
#include "ui/CameraItemPanel.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QtTest>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace ovelo {
namespace {

using ::testing::ElementsAre;

class CameraListPanelTest : public ::testing::Test {
protected:
    CameraListPanelTest() {
        installDriver();
        settings_.setString("ipcamlist",
                            cameralist::format({{"porch", "http://10.0.0.1/", "me", "secret"},
                                                {"yard", "http://10.0.0.2/", "", ""}}));
        list_.loadIpCamArray();
        list_.reloadData().emit();
        panel_.show();
    }

    void installDriver() {
        std::filesystem::create_directory(folder_.path() / "IPCam.component");
        driver_.loadDriverStatus();
    }
    void removeDriver() {
        std::filesystem::remove(folder_.path() / "IPCam.component");
        driver_.loadDriverStatus();
    }

    template <typename Widget>
    Widget& child(const char* name) {
        auto* found = panel_.findChild<Widget*>(QLatin1String(name));
        if (found == nullptr) {
            throw std::runtime_error(std::string("no child is called ") + name);
        }
        return *found;
    }
    QTableWidget& table() { return child<QTableWidget>("cameraTable"); }
    CameraItemPanel& item() { return *panel_.findChild<CameraItemPanel*>(); }
    void press(const char* name) { child<QPushButton>(name).click(); }
    void pressInItem(QDialogButtonBox::StandardButton button) {
        item().findChild<QDialogButtonBox*>()->button(button)->click();
    }
    void enter(const char* name, const char* text) {
        auto& edit = child<QLineEdit>(name);
        edit.selectAll();
        QTest::keyClick(&edit, Qt::Key_Delete);
        QTest::keyClicks(&edit, QLatin1String(text));
    }
    std::vector<std::string> column(int number) {
        std::vector<std::string> texts;
        for (int row = 0; row < table().rowCount(); ++row) {
            texts.push_back(table().item(row, number)->text().toStdString());
        }
        return texts;
    }

    TemporaryFolder folder_;
    MemorySettings settings_;
    TestLog events_;
    FakeAlerts alerts_;
    FakeCameraClients clients_;
    FakeTimers timers_;
    DriverSetting driver_{
        {.alerts = alerts_,
         .paths = {.archive = {}, .component = folder_.path() / "IPCam.component"},
         .start = nullptr}};
    IPCamListController list_{{settings_, events_.log(), alerts_, driver_, clients_.factory(),
                               clients_.factory(), timers_.factory()}};
    int closed_ = 0;
    CameraListPanel panel_{list_,
                           [this] {
                               ++closed_;
                               list_.closeAction();
                           },
                           nullptr};
};

TEST_F(CameraListPanelTest, ShowsTheListWithPasswordsInClear) {
    EXPECT_THAT(column(0), ElementsAre("porch", "yard"));
    EXPECT_THAT(column(1), ElementsAre("http://10.0.0.1/", "http://10.0.0.2/"));
    EXPECT_THAT(column(2), ElementsAre("me", ""));
    EXPECT_THAT(column(3), ElementsAre("secret", ""));
}

TEST_F(CameraListPanelTest, EditAndDeleteFollowTheSelection) {
    EXPECT_FALSE(child<QPushButton>("editCamera").isEnabled());
    EXPECT_FALSE(child<QPushButton>("deleteCamera").isEnabled());

    table().selectRow(1);
    EXPECT_TRUE(child<QPushButton>("editCamera").isEnabled());
    EXPECT_TRUE(child<QPushButton>("deleteCamera").isEnabled());

    table().clearSelection();
    EXPECT_FALSE(child<QPushButton>("editCamera").isEnabled());
}

TEST_F(CameraListPanelTest, DeletesTheSelectedCamera) {
    table().selectRow(0);
    press("deleteCamera");

    EXPECT_THAT(column(0), ElementsAre("yard"));
    EXPECT_EQ(settings_.string("ipcamlist"), "yardsegsegseg,http://10.0.0.2/segsegseg,segsegseg,");
    EXPECT_FALSE(child<QPushButton>("deleteCamera").isEnabled());
}

TEST_F(CameraListPanelTest, AddsACamera) {
    press("addCamera");
    ASSERT_TRUE(item().isVisible());
    EXPECT_TRUE(item().isModal());
    enter("cameraName", "door");
    enter("cameraUrl", "http://10.0.0.3/");
    enter("cameraUser", "u");
    enter("cameraPassword", "p");
    pressInItem(QDialogButtonBox::Ok);

    EXPECT_FALSE(item().isVisible());
    EXPECT_THAT(column(0), ElementsAre("porch", "yard", "door"));
    EXPECT_EQ(list_.ipCamArray().back()->record(),
              (CameraRecord{"door", "http://10.0.0.3/", "u", "p"}));
}

TEST_F(CameraListPanelTest, EditsACameraWhichMovesToTheEnd) {
    table().selectRow(0);
    press("editCamera");
    EXPECT_EQ(child<QLineEdit>("cameraName").text().toStdString(), "porch");
    EXPECT_EQ(child<QLineEdit>("cameraPassword").text().toStdString(), "secret");
    EXPECT_EQ(child<QLineEdit>("cameraPassword").echoMode(), QLineEdit::Password);
    enter("cameraName", "porch 2");
    pressInItem(QDialogButtonBox::Ok);

    EXPECT_THAT(column(0), ElementsAre("yard", "porch 2"));
}

TEST_F(CameraListPanelTest, DoubleClickEdits) {
    table().selectRow(1);
    Q_EMIT table().itemDoubleClicked(table().item(1, 0));

    EXPECT_TRUE(item().isVisible());
    EXPECT_EQ(child<QLineEdit>("cameraName").text().toStdString(), "yard");
}

TEST_F(CameraListPanelTest, EscapeAndCancelChangeNothing) {
    for (const bool escape : {true, false}) {
        table().selectRow(0);
        press("editCamera");
        enter("cameraName", "other");
        if (escape) {
            QTest::keyClick(&item(), Qt::Key_Escape);
        } else {
            pressInItem(QDialogButtonBox::Cancel);
        }
        EXPECT_FALSE(item().isVisible());
    }
    EXPECT_THAT(column(0), ElementsAre("porch", "yard"));
}

TEST_F(CameraListPanelTest, SeparatorInAFieldIsRefusedAndTheFieldsStay) {
    press("addCamera");
    enter("cameraName", "asegsegseg,b");
    pressInItem(QDialogButtonBox::Ok);

    EXPECT_EQ(alerts_.told.size(), 1U);
    EXPECT_TRUE(item().isVisible());
    EXPECT_EQ(child<QLineEdit>("cameraName").text().toStdString(), "asegsegseg,b");
    EXPECT_EQ(table().rowCount(), 2);
}

TEST_F(CameraListPanelTest, TestSaysThatItRunsAndThenHowItWent) {
    table().selectRow(0);
    press("editCamera");
    EXPECT_FALSE(child<QLabel>("testingCamera").isVisible());

    press("testCamera");
    EXPECT_TRUE(child<QLabel>("testingCamera").isVisible());
    EXPECT_FALSE(child<QPushButton>("testCamera").isEnabled());

    clients_.setReqReturnCode(CameraClient::Rejected);
    ASSERT_TRUE(timers_.tick());
    EXPECT_THAT(alerts_.told, ElementsAre("Test failed. / Authentication failed."));
    EXPECT_FALSE(child<QLabel>("testingCamera").isVisible());
    EXPECT_TRUE(child<QPushButton>("testCamera").isEnabled());
}

TEST_F(CameraListPanelTest, AddWithoutTheDriverOffersToInstallIt) {
    removeDriver();
    press("addCamera");

    EXPECT_FALSE(item().isVisible());
    EXPECT_EQ(alerts_.asked.size(), 1U);
}

TEST_F(CameraListPanelTest, ShowsWhetherTheDriverIsInstalled) {
    EXPECT_EQ(child<QLabel>("driverStatus").text().toStdString(), "Driver Installed");
    EXPECT_EQ(child<QPushButton>("driverButton").text().toStdString(), "Uninstall Driver");

    removeDriver();
    EXPECT_EQ(child<QLabel>("driverStatus").text().toStdString(), "Driver Not Installed");
    EXPECT_EQ(child<QPushButton>("driverButton").text().toStdString(), "Install Driver");

    press("driverButton");
    EXPECT_EQ(alerts_.asked.size(), 1U);
}

TEST_F(CameraListPanelTest, CloseAndEscapeLeaveItToTheOwner) {
    QTest::keyClick(&panel_, Qt::Key_Escape);
    EXPECT_EQ(closed_, 1);
    EXPECT_FALSE(panel_.isVisible());

    panel_.show();
    for (auto* box : panel_.findChildren<QDialogButtonBox*>()) {
        if (QPushButton* close = box->button(QDialogButtonBox::Close)) {
            close->click();
        }
    }
    EXPECT_EQ(closed_, 2);
}

} // namespace
} // namespace ovelo
