#include "app/MotionWatch.h"

#include "app/MovieRecording.h"
#include "fakes/FakeClock.h"
#include "fakes/FakeMovieOutput.h"
#include "fakes/QtWait.h"
#include "fakes/TemporaryFolder.h"
#include "fakes/TestLog.h"
#include "fakes/TestPicture.h"
#include "platform/CaptureSession.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"

#include <gtest/gtest.h>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

/// A watch with the real pictures; the test's thread is the main thread and the cameras'.
class MotionWatchTest : public testing::Test {
protected:
    MotionWatchTest() {
        MainThread::begin();
        settings_.setString("motionSense", "High");
    }
    ~MotionWatchTest() override { MainThread::end(); }

    void show(int level) {
        const auto byte = static_cast<std::uint8_t>(level);
        watch_.examine(pictureOf(32, 24, [=](int, int) { return Colour{byte, byte, byte, 255}; }));
    }

    /// Something moves for so long, seen every two seconds.
    void moveFor(std::chrono::seconds time) {
        for (auto passed = 0s; passed <= time; passed += 2s) {
            show((isBright_ = !isBright_) ? 100 : 0);
            clock_.advance(2s);
        }
    }

    TemporaryFolder folder_;
    MemorySettings settings_;
    TestLog log_;
    FakeClock clock_;
    CaptureSession session_;
    FakeMovieOutput* movie_ = nullptr;
    int mails_ = 0;
    std::vector<std::string> notified_;
    MovieRecording recording_{{session_, log_.log(), clock_,
                               [this] {
                                   auto output = std::make_unique<FakeMovieOutput>();
                                   movie_ = output.get();
                                   return output;
                               },
                               [this] { return folder_.path(); }, folder_.path()}};
    MotionWatch watch_{{settings_, clock_, log_.log(), recording_,
                        [this](const Data&) { ++mails_; },
                        [this](const std::string& devID, const std::string&, int) {
                            notified_.push_back(devID);
                        }}};
    bool isBright_ = false;
};

TEST_F(MotionWatchTest, MotionThatGoesOnStartsEveryAlertThatIsSwitchedOn) {
    settings_.setBoolean("useMotionEmail", true);
    settings_.setBoolean("useMotionRecord", true);
    settings_.setBoolean("usePushNotification", true);
    settings_.setArray("devList", {"phone"});

    moveFor(60s);
    EXPECT_EQ(mails_, 0);
    EXPECT_TRUE(notified_.empty());
    EXPECT_FALSE(recording_.isRecording());

    moveFor(30s);
    EXPECT_EQ(mails_, 1);
    EXPECT_EQ(notified_, std::vector<std::string>{"phone"});
    EXPECT_TRUE(recording_.isRecording());
}

TEST_F(MotionWatchTest, NothingIsStartedAfterTheEnd) {
    settings_.setBoolean("useMotionRecord", true);
    settings_.setString("alertCommand", "/bin/false");
    moveFor(60s);

    watch_.stop();
    moveFor(30s);

    EXPECT_FALSE(recording_.isRecording());
    EXPECT_EQ(movie_, nullptr);
}

TEST_F(MotionWatchTest, LevelTellsWhatTheWindowShows) {
    EXPECT_FALSE(watch_.level().isWatching);

    settings_.setBoolean("useMotionRecord", true);
    moveFor(4s);
    EXPECT_TRUE(watch_.level().isWatching);
    EXPECT_NEAR(watch_.level().ratio.value_or(0), 1.0, 0.001);
    EXPECT_NEAR(watch_.level().threshold, 0.05, 0.001);

    watch_.reset();
    show(0);
    EXPECT_FALSE(watch_.level().ratio.has_value());
}

TEST_F(MotionWatchTest, CommandOfTheUserGetsThePicture) {
    const auto file = folder_.path() / "motion.jpg";
    settings_.setString("alertCommand", "tee " + file.string());

    moveFor(2s);

    EXPECT_TRUE(runLoopUntil([&] {
        MainThread::serve();
        std::error_code none;
        return std::filesystem::file_size(file, none) > 100 && !none;
    }));
}

} // namespace

} // namespace ovelo
