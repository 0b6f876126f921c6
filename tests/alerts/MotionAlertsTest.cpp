// What the detector does when it has declared motion, and how often.

#include "fakes/MotionFixture.h"
#include "platform/DateText.h"

#include <gmock/gmock.h>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class MotionAlertsTest : public MotionFixture {
protected:
    MotionAlertsTest() { scale = 40; }

    void allOn() {
        settings.setBoolean("useMotionEmail", true);
        settings.setBoolean("useMotionRecord", true);
        settings.setBoolean("usePushNotification", true);
        settings.setArray("devList", {"token"});
    }
};

TEST_F(MotionAlertsTest, MotionSeenOnceOnlyAlertsNobody) {
    allOn();
    firstMotion();
    const VideoFrame still = gray(isBright ? 100 : 0);
    for (int i = 0; i < 2000; ++i) { // more than an hour
        clock.advance(2s);
        show(still);
    }
    EXPECT_EQ(motions(), 1);
    EXPECT_TRUE(mails.empty());
    EXPECT_TRUE(pushes.empty());
    EXPECT_EQ(document.starts, 0);
}

TEST_F(MotionAlertsTest, MotionAllTheTimeAlertsAtTheirMoments) {
    allOn();
    move();
    std::vector<int> recordings;
    std::vector<int> messages;
    std::vector<int> notifications;
    clock.advance(2s);
    for (int second = 0; second <= 4000; ++second) { // since the first motion
        const auto before = std::make_tuple(document.starts.load(), mails.size(), pushes.size());
        move(); // every second one is examined, and all of them are the same way round
        move();
        if (document.starts != std::get<0>(before)) {
            recordings.push_back(second);
        }
        if (mails.size() != std::get<1>(before)) {
            messages.push_back(second);
        }
        if (pushes.size() != std::get<2>(before)) {
            notifications.push_back(second);
        }
        clock.advance(1s);
        isBright = (second / 2) % 2 == 0;
    }
    // The first motion at an examined second from 75 or 60 on, then the spacing rounded up to one.
    EXPECT_EQ(messages, (std::vector{60, 1860, 3660}));
    EXPECT_EQ(notifications, messages);
    EXPECT_EQ(recordings, (std::vector{76, 392, 708, 1024, 1340, 1656, 1972, 2288, 2604, 2920, 3236,
                                       3552, 3868}));
}

TEST_F(MotionAlertsTest, TheFirstRecordingComesSeventyFiveSecondsAfterTheFirstMotionAndNoSooner) {
    settings.setBoolean("useMotionRecord", true);
    firstMotion();
    moveAfter(72999999us);
    EXPECT_EQ(document.starts, 0);
    moveAfter(2000001us);
    EXPECT_EQ(document.starts, 1);
}

TEST_F(MotionAlertsTest, AMicrosecondBeforeItsSpacingNothingIsSent) {
    settings.setBoolean("useMotionEmail", true);
    firstMotion();
    moveAfter(59999999us);
    EXPECT_TRUE(mails.empty());

    moveAfter(2s);
    EXPECT_EQ(mails.size(), 1U);
    moveAfter(1799999999us);
    EXPECT_EQ(mails.size(), 1U);
    moveAfter(2s);
    EXPECT_EQ(mails.size(), 2U);
}

TEST_F(MotionAlertsTest, AnAlertThatIsSwitchedOnLaterHasItsOwnFirstMotion) {
    settings.setBoolean("useMotionEmail", true);
    firstMotion();
    moveAfter(60s);
    EXPECT_EQ(mails.size(), 1U);

    settings.setBoolean("useMotionRecord", true);
    moveAfter(100s);
    EXPECT_EQ(document.starts, 0);
    moveAfter(75s);
    EXPECT_EQ(document.starts, 1);
}

TEST_F(MotionAlertsTest, ARecordingIsStartedOnTheMainThreadAndStoppedAfterFiveMinutes) {
    settings.setBoolean("useMotionRecord", true);
    firstMotion();
    std::atomic<bool> isDone = false;
    clock.advance(75s);
    std::jthread capture([&] {
        move();
        isDone = true;
    });
    ASSERT_TRUE(MainThread::serveUntil([&] { return isDone.load(); }, 5s));

    EXPECT_EQ(document.starts, 1);
    EXPECT_THAT(log.text(), HasSubstr(": Start recording\n"));
    ASSERT_EQ(timers.entries.size(), 1U);
    EXPECT_EQ(timers.entries[0].delay, 300s);
    EXPECT_EQ(document.stops, 0);
    timers.entries[0].tick();
    EXPECT_EQ(document.stops, 1);
    EXPECT_TRUE(document.isOnMainThread);
}

TEST_F(MotionAlertsTest, ALaterRecordingDoesNotPutOffTheEndOfAFormerOne) {
    settings.setBoolean("useMotionRecord", true);
    firstMotion();
    moveAfter(75s);
    detector.reset();
    firstMotion();
    moveAfter(75s);
    ASSERT_EQ(timers.entries.size(), 2U);

    timers.entries[0].tick();
    EXPECT_EQ(document.stops, 1);
    timers.entries[1].tick();
    EXPECT_EQ(document.stops, 2);
}

TEST_F(MotionAlertsTest, AnEmailHasThePictureThatMoved) {
    settings.setBoolean("useMotionEmail", true);
    firstMotion();
    moveAfter(60s);
    ASSERT_EQ(mails.size(), 1U);
    ASSERT_GT(mails[0]->size(), 100U);
    EXPECT_EQ((*mails[0])[0], 0xff);
    EXPECT_EQ((*mails[0])[1], 0xd8);
}

TEST_F(MotionAlertsTest, EveryPhoneIsTold) {
    settings.setBoolean("usePushNotification", true);
    settings.setArray("devList", {"one", "two"});
    firstMotion();
    moveAfter(60s);

    ASSERT_EQ(pushes.size(), 2U);
    EXPECT_EQ(pushes[0].devID, "one");
    EXPECT_EQ(pushes[1].devID, "two");
    const auto now = static_cast<std::time_t>(clock.timeOfDay().seconds);
    EXPECT_EQ(pushes[0].message,
              "Motion Detector has detected a movement at " + datetext::mediumStyle(now) + ".");
    EXPECT_EQ(pushes[0].badgeNumber, 1);
}

TEST_F(MotionAlertsTest, WithoutPhonesNobodyIsToldButTheSpacingHasBegun) {
    settings.setBoolean("usePushNotification", true);
    firstMotion();
    moveAfter(60s);
    settings.setArray("devList", {"late"});
    moveAfter(1799s);
    EXPECT_TRUE(pushes.empty());
    moveAfter(2s);
    EXPECT_EQ(pushes.size(), 1U);
}

TEST_F(MotionAlertsTest, AnEmptyListOfPhonesTellsNobody) {
    settings.setBoolean("usePushNotification", true);
    settings.setArray("devList", {});
    firstMotion();
    moveAfter(60s);
    EXPECT_TRUE(pushes.empty());
}

TEST_F(MotionAlertsTest, TenThousandPhonesAreToldEachOnce) {
    settings.setBoolean("usePushNotification", true);
    Settings::Array tokens;
    for (int i = 0; i < 10000; ++i) {
        tokens.push_back("token" + std::to_string(i));
    }
    settings.setArray("devList", tokens);
    firstMotion();
    moveAfter(60s);
    ASSERT_EQ(pushes.size(), tokens.size());
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        ASSERT_EQ(pushes[i].devID, tokens[i]);
    }
}

TEST_F(MotionAlertsTest, EmailRecordingAndNotificationComeInThisOrder) {
    allOn();
    std::string order;
    auto given = environment();
    given.sendMotionEmail = [&](const Data&) { order += "mail "; };
    given.timer = [&](std::chrono::milliseconds, const std::function<void()>&) {
        order += "recording ";
        return std::make_unique<Timer>();
    };
    given.sendPushNotification = [&](const std::string&, const std::string&, int) {
        order += "push ";
    };
    MotionDetector other(given);
    other.detect(gray(0), document);
    clock.advance(2s);
    other.detect(gray(100), document);
    clock.advance(75s);
    other.detect(gray(0), document);
    EXPECT_EQ(order, "mail recording push ");
}

TEST_F(MotionAlertsTest, TheCommandIsToldEveryMotionFromTheFirst) {
    settings.setString("alertCommand", "notify");
    firstMotion();
    moveAfter(2s);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].ratio, 1.0);
    EXPECT_EQ(events[0].threshold, 0.05);
    EXPECT_EQ(events[1].time.seconds, FakeClock::kStart + 4);
    EXPECT_EQ((*events[1].jpeg)[0], 0xff);
    EXPECT_TRUE(mails.empty());
    EXPECT_EQ(document.starts, 0);
}

TEST_F(MotionAlertsTest, WithoutACommandNoneIsTold) {
    settings.setBoolean("useMotionEmail", true);
    firstMotion();
    EXPECT_TRUE(events.empty());
}

TEST_F(MotionAlertsTest, AResetBeginsTheDelaysAnew) {
    allOn();
    firstMotion();
    moveAfter(70s);
    EXPECT_EQ(mails.size(), 1U);
    detector.reset();
    firstMotion();
    moveAfter(58s);
    EXPECT_EQ(mails.size(), 1U);
    EXPECT_EQ(document.starts, 0);
    moveAfter(2s);
    EXPECT_EQ(mails.size(), 2U); // though the former one is not half an hour ago
}

class ClockJumpTest : public MotionAlertsTest,
                      public testing::WithParamInterface<std::chrono::seconds> {};

TEST_P(ClockJumpTest, SettingTheClockNeitherPutsAnAlertOffNorRepeatsOne) {
    allOn();
    firstMotion();
    clock.jump(GetParam());
    moveAfter(2s);
    EXPECT_TRUE(mails.empty());
    moveAfter(73s);
    EXPECT_EQ(mails.size(), 1U);
    EXPECT_EQ(pushes.size(), 1U);
    EXPECT_EQ(document.starts, 1);

    clock.jump(GetParam());
    for (int i = 0; i < 20; ++i) {
        moveAfter(2s);
    }
    EXPECT_EQ(examined, 24);
    EXPECT_EQ(mails.size(), 1U);
    EXPECT_EQ(pushes.size(), 1U);
    EXPECT_EQ(document.starts, 1);
    moveAfter(1800s);
    EXPECT_EQ(mails.size(), 2U);
    EXPECT_EQ(document.starts, 2);
}

INSTANTIATE_TEST_SUITE_P(Jumps, ClockJumpTest,
                         testing::Values(std::chrono::seconds(3600), std::chrono::seconds(-3600),
                                         std::chrono::seconds(-1600000000)));

} // namespace

} // namespace ovelo
