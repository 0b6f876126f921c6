#include "playback/Playback.h"

#include "PlaybackFixture.h"
#include "fakes/Eventually.h"
#include "fakes/MainLoopThread.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <optional>
#include <stdexcept>

namespace ovelo {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::SizeIs;

/// The main loop runs on a thread of its own, the test plays a viewer's thread.
class PlaybackTest : public PlaybackFixture {
protected:
    /// Plays a movie from its beginning to its end.
    void playAll(const PlaybackEnvironment& parts, const std::string& name = "movie.mov") {
        Playback playback(parts, name);
        playback.start();
        ASSERT_TRUE(eventually([&] { return !playback.started(); }));
    }

    MainLoopThread mainLoop_;
};

TEST_F(PlaybackTest, IsNotStartedBeforeItIsStarted) {
    const Playback playback(environment(), "movie.mov");

    EXPECT_FALSE(playback.started());
    EXPECT_TRUE(playback.stopped());
    EXPECT_EQ(movies_.opened, 0);
}

TEST_F(PlaybackTest, SendsTwentyPicturesASecondAndThenIsDone) {
    movies_.duration = 2s;

    playAll(environment());

    EXPECT_EQ(sink_.pictures(), 40);
    EXPECT_EQ(sink_.texts(), kDone);
}

TEST_F(PlaybackTest, SendsOnePictureOfAMovieShorterThanThePauseBetweenPictures) {
    movies_.duration = 33ms;

    playAll(environment());

    EXPECT_EQ(sink_.pictures(), 1);
    EXPECT_EQ(sink_.texts(), kDone);
}

TEST_F(PlaybackTest, EndsAtOnceWhenTheMovieCannotBeOpened) {
    playAll(environment(), "missing.mov");

    EXPECT_EQ(sink_.pictures(), 0);
    EXPECT_EQ(sink_.texts(), kDone);
    EXPECT_TRUE(log_.contains("not opened: There is no such file.\n"));
}

TEST_F(PlaybackTest, EndsAtOnceWithoutAName) {
    playAll(environment(), "");

    EXPECT_EQ(sink_.texts(), kDone);
    EXPECT_THAT(files(), SizeIs(0));
}

TEST_F(PlaybackTest, WritesWhatItDoesToTheLog) {
    movies_.duration = 100ms;

    playAll(environment());

    EXPECT_THAT(messages(),
                ElementsAre("Playback playMovieThread",
                            "Playback playMovieThread: in the beginning",
                            "Playback sendFrameAt: got image", "Playback sendFrameAt: got image",
                            "Playback playMovieThread done", "Playback dealloc"));
}

TEST_F(PlaybackTest, SkipsTimesWithoutAPicture) {
    movies_.hasPictures = false;

    playAll(environment());

    EXPECT_EQ(movies_.asked, 20);
    EXPECT_EQ(sink_.pictures(), 0);
    EXPECT_FALSE(log_.contains("got image"));
    EXPECT_EQ(sink_.texts(), kDone);
}

TEST_F(PlaybackTest, GoesOnAfterAPictureThatCannotBeEncoded) {
    isEncodable_ = false;

    playAll(environment());

    EXPECT_EQ(movies_.asked, 20);
    EXPECT_EQ(sink_.pictures(), 0);
    EXPECT_EQ(sink_.texts(), kDone);
}

TEST_F(PlaybackTest, LeavesPicturesOutRatherThanFallBehind) {
    std::vector<Movie::Time> times;
    movies_.onPicture = [&](Movie::Time time) {
        times.push_back(time);
        clock_.advance(200ms); // a slow decoder
    };

    playAll(environment());

    EXPECT_THAT(times, ElementsAre(0ms, 250ms, 500ms, 750ms));
    EXPECT_EQ(sink_.texts(), kDone);
}

TEST_F(PlaybackTest, EndsAfterAnException) {
    movies_.onPicture = [](Movie::Time) { throw std::runtime_error("no memory"); };

    playAll(environment());

    EXPECT_TRUE(log_.contains("Playback playMovieThread error: no memory\n"));
    EXPECT_TRUE(log_.contains("Playback playMovieThread done\n"));
    EXPECT_EQ(sink_.texts(), kDone);
    EXPECT_EQ(movies_.open, 0);
}

TEST_F(PlaybackTest, EndsAfterAnExceptionOnTheMainThread) {
    auto parts = environment();
    parts.makePicture = [](const VideoFrame&) -> Result<Data> { throw std::runtime_error("full"); };

    playAll(parts);

    EXPECT_TRUE(log_.contains("Playback playMovieThread error: full\n"));
    EXPECT_EQ(sink_.texts(), kDone);
}

TEST_F(PlaybackTest, ClosesTheMovieAtItsEnd) {
    Playback playback(environment(), "movie.mov");
    playback.start();

    ASSERT_TRUE(eventually([&] { return !playback.started(); }));

    EXPECT_EQ(movies_.opened, 1);
    EXPECT_EQ(movies_.open, 0);
}

TEST_F(PlaybackTest, SaysNothingWhenItIsStoppedBeforeTheEnd) {
    movies_.duration = 1h;
    std::optional<Playback> playback(std::in_place, realTime(), "movie.mov");
    playback->start();
    ASSERT_TRUE(eventually([&] { return sink_.pictures() > 0; }));
    EXPECT_FALSE(playback->stopped());

    playback->stop();
    EXPECT_FALSE(playback->started());
    EXPECT_TRUE(eventually([&] { return playback->stopped(); }));
    playback.reset();

    EXPECT_EQ(sink_.texts(), kNothing);
    EXPECT_EQ(movies_.open, 0);
}

TEST_F(PlaybackTest, SendsNothingAfterItWasStopped) {
    movies_.duration = 1h;
    Playback playback(environment(), "movie.mov");
    movies_.onPicture = [&](Movie::Time) { playback.stop(); };
    playback.start();

    ASSERT_TRUE(eventually([&] { return playback.end()->isSet(); }));

    EXPECT_EQ(movies_.asked, 1);
    EXPECT_EQ(sink_.pictures(), 0);
    EXPECT_EQ(sink_.texts(), kNothing);
}

TEST_F(PlaybackTest, DoesNotPauseAnyLongerWhenItIsStopped) {
    movies_.duration = 1h;
    auto parts = environment();
    parts.pause = [](std::chrono::milliseconds, const std::stop_token& stop) {
        std::mutex lock;
        std::unique_lock guard(lock);
        std::condition_variable_any().wait(guard, stop, [] { return false; });
    };
    Playback playback(parts, "movie.mov");
    playback.start();
    ASSERT_TRUE(eventually([&] { return sink_.pictures() == 1; }));

    playback.stop();

    EXPECT_TRUE(eventually([&] { return playback.end()->isSet(); }));
}

TEST_F(PlaybackTest, DoesNotWaitForAStuckDecoderWhenItIsDestroyed) {
    movies_.isStuck = true;
    {
        Playback playback(environment(), "movie.mov");
        playback.start();
        ASSERT_TRUE(eventually([&] { return movies_.asked == 1; }));
    }
    EXPECT_EQ(movies_.open, 0);
}

TEST_F(PlaybackTest, LeavesTheMainThreadAloneWhileADecoderIsStuck) {
    movies_.isStuck = true;
    Playback playback(environment(), "movie.mov");
    playback.start();
    ASSERT_TRUE(eventually([&] { return movies_.asked == 1; }));

    bool isServed = false;
    MainThread::performAndWait([&] { isServed = true; });

    EXPECT_TRUE(isServed);
}

TEST_F(PlaybackTest, StartsItsThreadOnce) {
    movies_.duration = 1h;
    Playback playback(realTime(), "movie.mov");

    playback.start();
    playback.start();
    ASSERT_TRUE(eventually([&] { return sink_.pictures() > 2; }));

    EXPECT_EQ(movies_.opened, 1);
}

TEST_F(PlaybackTest, TakesAsLongAsTheMovie) {
    movies_.duration = 400ms;
    const auto before = std::chrono::steady_clock::now();

    playAll(realTime());

    const auto taken = std::chrono::steady_clock::now() - before;
    EXPECT_GE(taken, 400ms);
    EXPECT_LT(taken, 900ms); // a busy computer's
    EXPECT_LE(sink_.pictures(), 8);
    EXPECT_GE(sink_.pictures(), 1);
}

/// The test is the main thread.
class PlaybackOnMainThreadTest : public PlaybackFixture {
protected:
    void SetUp() override { MainThread::begin(); }
    void TearDown() override { MainThread::end(); }
};

TEST_F(PlaybackOnMainThreadTest, MayBeDestroyedThereWhileItRuns) {
    movies_.duration = 1h;
    for (int i = 0; i < 20; ++i) {
        Playback playback(realTime(), "movie.mov");
        playback.start();
        const int wanted = sink_.pictures() + i % 2;
        ASSERT_TRUE(MainThread::serveUntil([&] { return sink_.pictures() >= wanted; }, 5s));
    }
    EXPECT_EQ(movies_.open, 0);
    EXPECT_EQ(sink_.texts(), kNothing);
}

TEST_F(PlaybackOnMainThreadTest, MayBeDestroyedThereWhileItWaitsForIt) {
    movies_.duration = 1h;
    {
        Playback playback(realTime(), "movie.mov");
        playback.start();
        ASSERT_TRUE(eventually([&] { return movies_.asked == 1; })); // not served meanwhile
    }
    EXPECT_EQ(movies_.open, 0);
}

TEST_F(PlaybackOnMainThreadTest, EndsWhenTheMainLoopHasEnded) {
    MainThread::end();
    Playback playback(environment(), "movie.mov");

    playback.start();

    EXPECT_TRUE(eventually([&] { return playback.end()->isSet(); }));
    EXPECT_EQ(sink_.pictures(), 0);
}

} // namespace ovelo
