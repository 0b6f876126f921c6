#include "platform/PictureFileDevice.h"

#include "fakes/FrameWatcher.h"
#include "fakes/TemporaryFolder.h"
#include "fakes/TestPicture.h"
#include "platform/Data.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <thread>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

class PictureFileDeviceTest : public ::testing::Test {
protected:
    void SetUp() override { MainThread::begin(); }
    void TearDown() override { MainThread::end(); }

    void write(std::uint8_t level) const {
        ASSERT_FALSE(picturefile::write(file, Bytes(picturefile::kSize, level)));
    }
    /// The first sample of the latest frame.
    [[nodiscard]] int level() const { return watcher.last().pixels[0]; }

    TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "ipcam.rgb";
    FrameWatcher watcher;
    PictureFileDevice device{file};
};

TEST_F(PictureFileDeviceTest, BearsTheNameThatCamerasAreListedUnder) {
    EXPECT_EQ(device.localizedDisplayName(), "Kavrin IPCam");
    EXPECT_EQ(device.mediaType(), MediaType::Video);
}

TEST_F(PictureFileDeviceTest, DeliversEachNewPicture) {
    ASSERT_FALSE(device.open());
    device.start(watcher.handler());
    for (std::size_t i = 1; i <= 5; ++i) {
        write(static_cast<std::uint8_t>(10 * i));
        ASSERT_TRUE(watcher.waitFor(i));
        EXPECT_EQ(level(), static_cast<int>(10 * i));
    }
    device.close();

    EXPECT_EQ(watcher.malformed(), 0U);
    EXPECT_EQ(watcher.count(), 5U);
}

TEST_F(PictureFileDeviceTest, DeliversAPictureSoon) {
    device.start(watcher.handler());
    write(1);
    ASSERT_TRUE(watcher.waitFor(1)); // the thread is waiting for the next by now
    std::this_thread::yield();
    const auto begin = std::chrono::steady_clock::now();
    write(2);
    ASSERT_TRUE(watcher.waitFor(2));

    EXPECT_LT(watcher.arrivals()[1] - begin, 100ms);
}

TEST_F(PictureFileDeviceTest, PictureOfBeforeIsNotShown) {
    write(1);
    device.start(watcher.handler());
    EXPECT_FALSE(watcher.waitFor(1, 30ms));
    write(2);
    ASSERT_TRUE(watcher.waitFor(1));

    EXPECT_EQ(level(), 2);
}

TEST_F(PictureFileDeviceTest, HalfWrittenPictureIsNotShown) {
    device.start(watcher.handler());
    std::ofstream slow(file, std::ios::binary);
    const std::string half(picturefile::kSize / 2, '\x07');
    slow << half << std::flush;
    EXPECT_FALSE(watcher.waitFor(1, 250ms)); // longer than its own look round
    slow << half << std::flush;
    slow.close();
    ASSERT_TRUE(watcher.waitFor(1));

    EXPECT_EQ(watcher.last().pixels[picturefile::kSize - 2], 7);
}

TEST_F(PictureFileDeviceTest, OtherFilesOfTheFolderAreNone) {
    device.start(watcher.handler());
    for (int i = 0; i < 20; ++i) {
        writeFile(folder.path() / std::to_string(i), std::string(picturefile::kSize, 'x'));
    }
    EXPECT_FALSE(watcher.waitFor(1, 30ms));
}

TEST_F(PictureFileDeviceTest, StopsWhileItsHandlerWaitsForTheMainThread) {
    std::atomic<bool> waits = false;
    std::atomic<int> served = 0;
    device.start([&](const VideoFrame&) {
        waits = true;
        MainThread::performAndWait([&] { ++served; });
    });
    write(1);
    while (!waits) { // without serving the main thread
        std::this_thread::yield();
    }
    device.stop();

    EXPECT_EQ(served, 1);
}

TEST_F(PictureFileDeviceTest, StopsAtOnceWithoutAPicture) {
    device.start(watcher.handler());
    const auto begin = std::chrono::steady_clock::now();
    device.stop();

    EXPECT_LT(std::chrono::steady_clock::now() - begin, 100ms);
    write(1);
    EXPECT_FALSE(watcher.waitFor(1, 20ms));
}

TEST_F(PictureFileDeviceTest, StartsAgain) {
    for (std::size_t round = 1; round <= 3; ++round) {
        ASSERT_FALSE(device.open());
        device.start(watcher.handler());
        write(static_cast<std::uint8_t>(round));
        EXPECT_TRUE(watcher.waitFor(round));
        device.close();
        device.close();
    }
}

TEST_F(PictureFileDeviceTest, WorksInAFolderThatTellsNoNews) {
    PictureFileDevice odd(folder.path() / "later" / "ipcam.rgb");
    odd.start(watcher.handler());
    std::this_thread::yield();
    std::filesystem::create_directory(folder.path() / "later");
    ASSERT_FALSE(picturefile::write(folder.path() / "later" / "ipcam.rgb",
                                    Bytes(picturefile::kSize, std::uint8_t{3})));

    EXPECT_TRUE(watcher.waitFor(1));
}

TEST_F(PictureFileDeviceTest, RetiringTellsWhoeverHasItOpen) {
    int told = 0;
    device.ended().connect([&](const std::string& reason) {
        ++told;
        EXPECT_EQ(reason, "removed");
        device.close();
    });
    ASSERT_FALSE(device.open());
    device.start(watcher.handler());
    device.retire("removed");

    EXPECT_EQ(told, 1);
    EXPECT_FALSE(device.isOpen());
    EXPECT_TRUE(device.open());
}

TEST_F(PictureFileDeviceTest, FormatIsToldWhileItRuns) {
    EXPECT_TRUE(device.formatSummaries().empty());
    device.start(watcher.handler());
    EXPECT_EQ(device.formatSummaries().size(), 1U);
}

} // namespace
} // namespace ovelo
