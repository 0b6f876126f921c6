#include "ipcam/IPCamItemController.h"

#include "fakes/FakeAlerts.h"
#include "fakes/FakeCameraClients.h"
#include "fakes/FakeTimers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const CameraRecord kPorch{"porch", "http://10.0.0.5/jpg", "me", "secret"};

class IPCamItemControllerTest : public ::testing::Test {
protected:
    IPCamItemControllerTest() {
        controller->orderFront().connect([this] { panel.emplace_back("front"); });
        controller->orderOut().connect([this] { panel.emplace_back("out"); });
    }

    FakeAlerts alerts;
    FakeCameraClients clients;
    FakeTimers timers;
    std::vector<std::string> panel;
    std::vector<CameraRecord> updates;
    ListedCameraPointer updated;
    ListedCameraPointer porch = std::make_shared<ListedCamera>(kPorch, clients.factory());
    std::unique_ptr<IPCamItemController> controller =
        std::make_unique<IPCamItemController>(IPCamItemController::Environment{
            alerts, clients.factory(), timers.factory(),
            [this](const CameraRecord& cam, const ListedCameraPointer& origCam) {
                updates.push_back(cam);
                updated = origCam;
            }});
};

TEST_F(IPCamItemControllerTest, NewCameraBeginsEmpty) {
    controller->loadCam(porch);
    controller->loadCam(nullptr);

    EXPECT_EQ(controller->cam(), CameraRecord{});
    EXPECT_TRUE(controller->isEditingNewCam());
    EXPECT_THAT(panel, ElementsAre("front", "front"));
}

TEST_F(IPCamItemControllerTest, OkHandsOverTheCopyAndTheOriginal) {
    controller->loadCam(porch);
    EXPECT_EQ(controller->cam(), kPorch);
    controller->setCam({"door", "", "", ""});
    controller->okAction();

    EXPECT_THAT(updates, ElementsAre(CameraRecord{"door", "", "", ""}));
    EXPECT_EQ(updated, porch);
    EXPECT_THAT(panel, ElementsAre("front", "out"));
}

TEST_F(IPCamItemControllerTest, OkAcceptsEmptyValues) {
    controller->loadCam(nullptr);
    controller->okAction();

    EXPECT_THAT(updates, ElementsAre(CameraRecord{}));
    EXPECT_EQ(updated, nullptr);
}

TEST_F(IPCamItemControllerTest, CancelChangesNothing) {
    controller->loadCam(porch);
    controller->setCam({"door", "", "", ""});
    controller->cancelAction();

    EXPECT_THAT(updates, IsEmpty());
    EXPECT_EQ(porch->record(), kPorch);
    EXPECT_THAT(panel, ElementsAre("front", "out"));
}

TEST_F(IPCamItemControllerTest, SeparatorInAValueIsRefusedAndThePanelStays) {
    controller->loadCam(porch);
    controller->setCam({"door", "http://10.0.0.5/?recrecrec,", "", ""});
    controller->okAction();

    EXPECT_THAT(updates, IsEmpty());
    ASSERT_EQ(alerts.told.size(), 1U);
    EXPECT_THAT(alerts.told[0], HasSubstr("\"recrecrec,\""));
    EXPECT_THAT(panel, ElementsAre("front"));
}

TEST_F(IPCamItemControllerTest, TestWantsANameAndAUrl) {
    controller->loadCam(nullptr);
    for (const CameraRecord& camera :
         {CameraRecord{"", "http://10.0.0.5", "", ""}, CameraRecord{"porch", "", "", ""}}) {
        controller->setCam(camera);
        controller->testAction();
    }

    const std::string alert = "Unable to run test. / Please enter a valid name and URL.";
    EXPECT_THAT(alerts.told, ElementsAre(alert, alert));
    EXPECT_THAT(clients.calls(), IsEmpty());
    EXPECT_FALSE(controller->isTesting());
}

TEST_F(IPCamItemControllerTest, TestFetchesForFourSecondsAndUntilTheUserHasReadTheOutcome) {
    controller->loadCam(porch);
    controller->testAction();
    EXPECT_TRUE(controller->isTesting());
    EXPECT_EQ(timers.delay(), 4000ms);
    EXPECT_THAT(clients.calls(), ElementsAre("start porch"));

    clients.setReqReturnCode(CameraClient::Received);
    ASSERT_TRUE(timers.tick());
    EXPECT_FALSE(controller->isTesting());
    EXPECT_THAT(alerts.told, ElementsAre("Test completed successfully. / Your IP cam is working "
                                         "correctly."));
    EXPECT_THAT(clients.calls(), ElementsAre("start porch"));

    alerts.close();
    EXPECT_THAT(clients.calls(), ElementsAre("start porch", "stop porch"));
}

struct Case {
    std::int32_t code;
    const char* alert;
};

class TestOutcomeTest : public IPCamItemControllerTest,
                        public ::testing::WithParamInterface<Case> {};

TEST_P(TestOutcomeTest, IsTold) {
    controller->loadCam(porch);
    controller->testAction();
    clients.setReqReturnCode(GetParam().code);
    ASSERT_TRUE(timers.tick());

    EXPECT_THAT(alerts.told, ElementsAre(GetParam().alert));
}

INSTANTIATE_TEST_SUITE_P(
    Codes, TestOutcomeTest,
    ::testing::Values(
        Case{0, "Test failed. / Authentication requested, but no user ID or password is supplied."},
        Case{1, "Test failed. / Authentication failed."},
        Case{2, "Test completed successfully. / Your IP cam is working correctly."},
        Case{3, "Test failed. / Request failed."}, Case{4, "Test failed. / Request timed out."},
        Case{5, "Test failed. / "}, Case{6, "Test failed. / "}, Case{-1, "Test failed. / "}));

TEST_F(IPCamItemControllerTest, SecondTestIsIgnoredWhileOneRuns) {
    controller->loadCam(porch);
    controller->testAction();
    controller->testAction();
    ASSERT_TRUE(timers.tick());

    EXPECT_EQ(alerts.told.size(), 1U);
    EXPECT_FALSE(timers.tick());
}

TEST_F(IPCamItemControllerTest, CameraThatFetchedBeforeTheTestGoesOn) {
    controller->loadCam(porch);
    controller->testAction();
    ASSERT_TRUE(timers.tick());
    controller->testAction(); // the first alert is still open
    ASSERT_TRUE(timers.tick());
    alerts.close();

    EXPECT_THAT(clients.calls(), ElementsAre("start porch"));
}

TEST_F(IPCamItemControllerTest, TestTakesWhatTheFieldsSayNow) {
    controller->loadCam(porch);
    controller->testAction();
    ASSERT_TRUE(timers.tick());
    alerts.close();
    controller->setCam({"door", "http://10.0.0.7/", "", ""});
    controller->testAction();

    EXPECT_THAT(clients.calls(), ElementsAre("start porch", "stop porch", "start door"));
}

TEST_F(IPCamItemControllerTest, ClosingThePanelEndsTheTest) {
    for (const bool ok : {true, false}) {
        controller->loadCam(porch);
        controller->testAction();
        ok ? controller->okAction() : controller->cancelAction();

        EXPECT_FALSE(timers.tick()) << "the outcome comes after the end";
        EXPECT_FALSE(controller->isTesting());
    }
    EXPECT_THAT(clients.calls(),
                ElementsAre("start porch", "stop porch", "start porch", "stop porch"));
    EXPECT_THAT(alerts.told, IsEmpty());
}

TEST_F(IPCamItemControllerTest, EndStopsTheTestAndALateClickIsHarmless) {
    controller->loadCam(porch);
    controller->testAction();
    ASSERT_TRUE(timers.tick());
    controller.reset();
    alerts.close();

    EXPECT_THAT(clients.calls(), ElementsAre("start porch", "stop porch"));
}

} // namespace
} // namespace ovelo
