// The detector between its threads.

#include "fakes/Eventually.h"
#include "fakes/MotionFixture.h"

#include <thread>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

class MotionThreadsTest : public MotionFixture {
protected:
    MotionThreadsTest() { scale = 8; }

    /// What a camera's thread does: frames, with time between them.
    void feed(int frames) {
        for (int i = 0; i < frames; ++i) {
            moveAfter(i % 3 == 0 ? std::chrono::microseconds(2s) : 75s);
        }
    }
};

TEST_F(MotionThreadsTest, TheCameraMayChangeWhileFramesCome) {
    for (const char* key : {"useMotionEmail", "useMotionRecord", "usePushNotification"}) {
        settings.setBoolean(key, true);
    }
    settings.setArray("devList", {"one", "two"});
    settings.setString("alertCommand", "notify");
    std::atomic<bool> isDone = false;
    std::atomic<int> looks = 0;
    std::jthread window([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            const MotionLevel level = detector.level();
            EXPECT_TRUE(!level.ratio || (*level.ratio >= 0 && *level.ratio <= 1));
            ++looks;
            std::this_thread::yield();
        }
    });
    std::jthread capture([&] {
        feed(600);
        isDone = true;
    });
    int turns = 0;
    while (!MainThread::serveUntil([&] { return isDone.load(); }, 1ms)) {
        if (++turns % 5 == 0) {
            detector.reset();
        }
        settings.setString("motionSense", turns % 2 == 0 ? "Low" : "Medium");
    }

    capture.join();
    EXPECT_GT(motions(), 0);
    EXPECT_EQ(static_cast<int>(events.size()), motions());
    EXPECT_TRUE(document.isOnMainThread);
    EXPECT_GT(looks.load(), 0);
}

TEST_F(MotionThreadsTest, AResetDuringAnExaminationHoldsForTheNextFrame) {
    settings.setBoolean("useMotionRecord", true);
    firstMotion();
    clock.advance(75s);
    std::atomic<bool> isDone = false;
    std::jthread capture([&] {
        move(); // waits for the main thread, to have a recording started
        isDone = true;
    });
    ASSERT_TRUE(eventually([&] { return log.contains("Start recording"); }));
    detector.reset();
    ASSERT_TRUE(MainThread::serveUntil([&] { return isDone.load(); }, 5s));

    EXPECT_EQ(document.starts, 1);
    const int before = motions();
    move();
    EXPECT_EQ(motions(), before); // a first frame
    moveAfter(2s);
    moveAfter(74s);
    EXPECT_EQ(document.starts, 1); // and a first motion
}

TEST_F(MotionThreadsTest, AStopOfTheCameraServesTheRecordingThatItsThreadWaitsFor) {
    settings.setBoolean("useMotionRecord", true);
    firstMotion();
    clock.advance(75s);
    std::atomic<bool> isDone = false;
    std::atomic<std::thread::id> caller;
    std::jthread capture([&] {
        caller = std::this_thread::get_id();
        move();
        isDone = true;
    });
    ASSERT_TRUE(eventually([&] { return log.contains("Start recording"); }));
    MainThread::serveCallsOf(caller.load(), [&] { return isDone.load(); });
    EXPECT_EQ(document.starts, 1);
    EXPECT_EQ(timers.entries.size(), 1U);
}

TEST_F(MotionThreadsTest, AfterTheEndOfTheMainLoopNobodyWaits) {
    settings.setBoolean("useMotionRecord", true);
    firstMotion();
    clock.advance(75s);
    MainThread::end();
    std::thread([&] { move(); }).join();
    EXPECT_EQ(document.starts, 0);
}

} // namespace

} // namespace ovelo
