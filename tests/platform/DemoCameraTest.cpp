#include "platform/DemoCamera.h"

#include "fakes/FrameWatcher.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

class DemoCameraTest : public testing::Test {
protected:
    void SetUp() override { MainThread::begin(); }
    void TearDown() override { MainThread::end(); }

    FrameWatcher watcher;
    DemoCamera camera;
};

TEST_F(DemoCameraTest, DeliversFourteenMovingPicturesASecond) {
    ASSERT_FALSE(camera.open());
    camera.start(watcher.handler());
    ASSERT_TRUE(watcher.waitFor(11));
    camera.close();

    const auto times = watcher.arrivals();
    EXPECT_NEAR(std::chrono::duration<double>(times[10] - times[1]).count(), 9 / 14.0, 0.15);
    EXPECT_EQ(watcher.malformed(), 0U);
    EXPECT_EQ(watcher.different(), watcher.count());
}

TEST_F(DemoCameraTest, StopsWhileItsHandlerWaitsForTheMainThread) {
    std::atomic<bool> waits = false;
    std::atomic<int> served = 0;
    camera.start([&](const VideoFrame&) {
        waits = true;
        MainThread::performAndWait([&] { ++served; });
    });
    while (!waits) { // without serving the main thread
        std::this_thread::yield();
    }
    camera.stop();

    EXPECT_GE(served, 1);
}

TEST_F(DemoCameraTest, PaintsNoPictureThatSomebodyKeeps) {
    camera.start(watcher.handler());
    ASSERT_TRUE(watcher.waitFor(1));
    const VideoFrame kept = watcher.last();
    const std::vector<std::uint8_t> before(kept.pixels, kept.pixels + 320 * 240 * 4);
    ASSERT_TRUE(watcher.waitFor(watcher.count() + 4));
    camera.stop();

    EXPECT_TRUE(std::equal(before.begin(), before.end(), kept.pixels));
}

TEST_F(DemoCameraTest, PaintsAPictureAgainThatNobodyKeeps) {
    std::mutex lock;
    std::vector<const std::uint8_t*> buffers;
    camera.start([&](const VideoFrame& frame) {
        const std::lock_guard guard(lock);
        buffers.push_back(frame.pixels);
    });
    ASSERT_TRUE(MainThread::serveUntil(
        [&] {
            const std::lock_guard guard(lock);
            return buffers.size() >= 4;
        },
        5s));
    camera.stop();

    EXPECT_EQ(std::set(buffers.begin(), buffers.end()).size(), 1U);
}

TEST_F(DemoCameraTest, LeavesItsLastPictureValidWhenItIsGone) {
    VideoFrame last;
    {
        DemoCamera brief;
        brief.start(watcher.handler());
        ASSERT_TRUE(watcher.waitFor(1));
        brief.stop();
        last = watcher.last();
    }
    EXPECT_EQ(last.pixels[3], 255);
}

TEST_F(DemoCameraTest, ReturnsFromStopWhenTheHandlerHasReturned) {
    std::atomic<bool> isInside = false;
    std::atomic<int> finished = 0;
    camera.start([&](const VideoFrame&) {
        isInside = true;
        std::this_thread::sleep_for(30ms);
        ++finished;
        isInside = false;
    });
    ASSERT_TRUE(MainThread::serveUntil([&] { return isInside.load(); }, 5s));
    camera.stop();

    EXPECT_FALSE(isInside);
    EXPECT_GE(finished, 1);
}

TEST_F(DemoCameraTest, StartsAgain) {
    for (int round = 0; round < 3; ++round) {
        FrameWatcher pictures;
        ASSERT_FALSE(camera.open());
        camera.start(pictures.handler());
        EXPECT_TRUE(pictures.waitFor(2));
        camera.close();
        camera.close();
    }
}

} // namespace

} // namespace ovelo
