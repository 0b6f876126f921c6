#include "ipcam/IPCamFixture.h"
#include "ipcam/Outage.h"

#include <cstdlib>
#include <ctime>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

class IPCamReconnectTest : public IPCamFixture {
protected:
    void SetUp() override {
        settings.setBoolean("ipcamReconnect", true);
        cam->setReconnects(true);
        cam->start();
    }
};

TEST_F(IPCamReconnectTest, FailedCameraIsTriedAgain) {
    ASSERT_TRUE(untilRequest(0));
    http.fail(0, "away");
    ASSERT_TRUE(untilRequest(1));
    EXPECT_TRUE(http.exchanges[0]->isCancelled);
    http.respond(1, head("text/html"));
    http.send(1, "<html>");
    ASSERT_TRUE(untilRequest(2));
    replyPicture(2, "x");

    EXPECT_TRUE(untilShown('x'));
    EXPECT_TRUE(cam->started());
}

TEST_F(IPCamReconnectTest, LastPictureSaysThatTheCameraIsAway) {
    ASSERT_TRUE(untilRequest(0));
    replyPicture(0, "x");
    ASSERT_TRUE(untilRequest(1));
    http.fail(1, "away");
    ASSERT_TRUE(until([&] { return showsALine(); }));

    EXPECT_EQ(shown(), "x");
    EXPECT_TRUE(pictures.lines().at(0).starts_with("NO SIGNAL since ")) << pictures.lines().at(0);
}

TEST_F(IPCamReconnectTest, WhoWatchesLaterSeesTheLastPictureToo) {
    ASSERT_TRUE(untilRequest(0));
    http.fail(0, "away");
    ASSERT_TRUE(until([&] { return showsALine(); }));
    for (int i = 0; i < 3; ++i) {
        const auto before = picturefile::stampOf(file);
        EXPECT_TRUE(until([&] { return !(picturefile::stampOf(file) == before); }));
    }
    EXPECT_EQ(shown(), std::string(1, '\0')); // black: there was no picture
}

TEST_F(IPCamReconnectTest, NoticeEndsWithTheNextPicture) {
    ASSERT_TRUE(untilRequest(0));
    http.fail(0, "away");
    ASSERT_TRUE(untilRequest(1));
    replyPicture(1, "x");
    ASSERT_TRUE(untilShown('x'));
    ASSERT_TRUE(untilRequest(2));

    EXPECT_FALSE(showsALine());
}

TEST_F(IPCamReconnectTest, EndedStreamIsStartedAgain) {
    ASSERT_TRUE(beginStream());
    http.send(1, part("one") + part("two"));
    ASSERT_TRUE(untilShown('o'));
    http.finish(1);
    ASSERT_TRUE(beginStream(2));
    http.send(3, part("three") + part("four"));

    EXPECT_TRUE(untilShown('t'));
    EXPECT_TRUE(log.contains("IPCam: the stream is lost: it has ended\n"));
}

TEST_F(IPCamReconnectTest, SilentStreamIsStartedAgain) {
    ASSERT_TRUE(beginStream());
    http.send(1, part("one"));
    clock.advance(9s);
    until([] { return false; }, 80ms);
    EXPECT_EQ(http.exchanges.size(), 2U);
    clock.advance(1s);

    ASSERT_TRUE(untilRequest(2));
    EXPECT_TRUE(http.exchanges[1]->isCancelled);
    EXPECT_TRUE(log.contains("IPCam: the stream is lost: it is silent\n"));
}

TEST_F(IPCamReconnectTest, StreamThatOnlyDripsIsStartedAgain) {
    ASSERT_TRUE(beginStream());
    http.send(1, "--b\r\nContent-Type: image/jpeg\r\n\r\n");
    for (int second = 0; second < 60; ++second) {
        clock.advance(1s);
        http.send(1, "x");
    }
    ASSERT_TRUE(untilRequest(2));

    EXPECT_TRUE(log.contains("IPCam: the stream is lost: it brings no whole picture\n"));
}

TEST_F(IPCamReconnectTest, StopEndsTheAttempts) {
    ASSERT_TRUE(untilRequest(0));
    http.fail(0, "away");
    ASSERT_TRUE(until([&] { return showsALine(); }));
    cam->stop();
    const auto before = picturefile::stampOf(file);
    until([] { return false; }, 80ms);

    EXPECT_EQ(http.exchanges.size(), 1U);
    EXPECT_EQ(picturefile::stampOf(file), before);
}

TEST_F(IPCamReconnectTest, SettingTurnedOffEndsTheAttempts) {
    ASSERT_TRUE(untilRequest(0));
    settings.setBoolean("ipcamReconnect", false);
    http.fail(0, "away");

    EXPECT_TRUE(untilEnded());
    EXPECT_TRUE(pictures.lines().empty());
}

TEST_F(IPCamReconnectTest, CameraThatIsOnlyTriedDoesNotComeBack) {
    cam->stop();
    cam->setReconnects(false);
    cam->start();
    ASSERT_TRUE(untilRequest(0));
    http.fail(0, "away");

    EXPECT_TRUE(untilEnded());
    EXPECT_TRUE(pictures.lines().empty());
}

TEST(OutageTest, PausesGrowToAMinuteAndBeginAnewAfterAPicture) {
    const FakeClock clock;
    const IPCamTiming timing;
    Outage outage(timing, clock);
    std::vector<long> seconds;
    for (int i = 0; i < 7; ++i) {
        seconds.push_back(std::chrono::duration_cast<std::chrono::seconds>(outage.begin()).count());
    }
    EXPECT_EQ(seconds, (std::vector<long>{2, 4, 8, 16, 32, 60, 60}));
    outage.end(Bytes(picturefile::kSize));

    EXPECT_EQ(outage.begin(), 2s);
}

TEST(OutageTest, SaysWhenTheLastPictureCame) {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    FakeClock clock; // 22:13:20
    const IPCamTiming timing;
    Outage outage(timing, clock);
    EXPECT_EQ(outage.text(), "NO SIGNAL since 22:13");
    clock.advance(10h);
    outage.end(Bytes(picturefile::kSize));
    clock.advance(3h);
    outage.begin();

    EXPECT_EQ(outage.text(), "NO SIGNAL since 08:13");
}

} // namespace
} // namespace ovelo
