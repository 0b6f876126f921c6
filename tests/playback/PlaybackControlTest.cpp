#include "playback/PlaybackControl.h"

#include "PlaybackFixture.h"
#include "fakes/Eventually.h"
#include "fakes/MainLoopThread.h"
#include "playback/Playback.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <optional>
#include <random>
#include <stdexcept>
#include <thread>
#include <utility>

namespace ovelo {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::SizeIs;

/// The main loop runs on a thread of its own, the test plays a viewer's thread.
class PlaybackControlTest : public PlaybackFixture {
protected:
    PlaybackControlTest() { movies_.duration = 1h; }

    PlaybackControl::Folder folder() {
        return [] { return std::filesystem::path("/recordings"); };
    }
    bool plays(int pictures) {
        return eventually(
            [&, wanted = sink_.pictures() + pictures] { return sink_.pictures() >= wanted; });
    }

    MainLoopThread mainLoop_;
};

TEST_F(PlaybackControlTest, PlaysAFileOfTheFolder) {
    PlaybackControl control(realTime(), folder());

    control.startPlayback("20240131 12.mov");

    EXPECT_TRUE(control.isPlaying());
    EXPECT_TRUE(plays(2));
    EXPECT_THAT(files(), ElementsAre("/recordings/20240131 12.mov"));
}

TEST_F(PlaybackControlTest, TreatsANameThatIsNoPlainOneLikeAMissingFile) {
    PlaybackControl control(realTime(), folder());
    const std::vector<std::string> names{
        "",        ".",      "..", "/etc/passwd", "../a.mov",
        "a/b.mov", "a.mov/", "/",  "./a",         std::string("a\0.mov", 6)};

    for (const auto& name : names) {
        control.startPlayback(name);
        ASSERT_TRUE(eventually([&] { return !control.isPlaying(); })) << name;
    }

    EXPECT_THAT(files(), SizeIs(0));
    EXPECT_THAT(sink_.texts(), SizeIs(names.size()));
    EXPECT_EQ(sink_.pictures(), 0);
}

TEST_F(PlaybackControlTest, PlaysNoFileOfTheWorkingDirectoryWhenThereIsNoFolder) {
    PlaybackControl control(realTime(), [] { return std::filesystem::path(); });

    control.startPlayback("a.mov");

    EXPECT_TRUE(eventually([&] { return sink_.texts() == kDone; }));
    EXPECT_THAT(files(), SizeIs(0));
    EXPECT_EQ(sink_.pictures(), 0);
}

TEST_F(PlaybackControlTest, EndsAtOnceWithAMissingFile) {
    PlaybackControl control(realTime(), folder());

    control.startPlayback("missing.mov");

    EXPECT_TRUE(eventually([&] { return sink_.texts() == kDone; }));
    EXPECT_TRUE(eventually([&] { return !control.isPlaying(); }));
}

TEST_F(PlaybackControlTest, IsNotPlayingAnyMoreAtTheEnd) {
    movies_.duration = 30ms;
    PlaybackControl control(realTime(), folder());

    control.startPlayback("a.mov");

    EXPECT_TRUE(eventually([&] { return sink_.texts() == kDone; }));
    EXPECT_TRUE(eventually([&] { return !control.isPlaying(); }));
    EXPECT_EQ(sink_.pictures(), 1);
}

TEST_F(PlaybackControlTest, PlaysAnotherOneAfterTheEnd) {
    movies_.duration = 30ms;
    PlaybackControl control(realTime(), folder());
    for (std::size_t i = 1; i <= 3; ++i) {
        control.startPlayback("a.mov");
        ASSERT_TRUE(eventually([&] { return sink_.texts().size() == i; }));
    }
    EXPECT_EQ(movies_.opened, 3);
}

TEST_F(PlaybackControlTest, EndsTheFirstBeforeItOpensTheSecond) {
    PlaybackControl control(realTime(), folder());
    control.startPlayback("a.mov");
    ASSERT_TRUE(plays(1));

    control.startPlayback("b.mov");

    EXPECT_TRUE(plays(1));
    EXPECT_THAT(files(), ElementsAre("/recordings/a.mov", "/recordings/b.mov"));
    EXPECT_EQ(movies_.mostOpen, 1);
    EXPECT_EQ(sink_.texts(), kNothing);
}

TEST_F(PlaybackControlTest, HasEndedWhenStopReturns) {
    PlaybackControl control(realTime(), folder());
    control.startPlayback("a.mov");
    ASSERT_TRUE(plays(1));

    control.stopPlayback();

    EXPECT_FALSE(control.isPlaying());
    EXPECT_EQ(movies_.open, 0);
    EXPECT_TRUE(log_.contains("Playback playMovieThread done\n"));
    EXPECT_TRUE(log_.contains("Playback dealloc\n"));
    EXPECT_EQ(sink_.texts(), kNothing);
}

TEST_F(PlaybackControlTest, StopsNothingWhenNothingPlays) {
    PlaybackControl control(realTime(), folder());

    control.stopPlayback();
    control.stopPlayback();

    EXPECT_FALSE(control.isPlaying());
    EXPECT_EQ(log_.text(), "");
}

TEST_F(PlaybackControlTest, EndsThePlaybackWhenItIsDestroyed) {
    {
        PlaybackControl control(realTime(), folder());
        control.startPlayback("a.mov");
        ASSERT_TRUE(plays(1));
    }
    EXPECT_EQ(movies_.open, 0);
}

TEST_F(PlaybackControlTest, WritesWhyAPlaybackCannotBeMade) {
    bool isThere = true;
    PlaybackControl control(realTime(), [&]() -> std::filesystem::path {
        if (!isThere) {
            throw std::runtime_error("no folder");
        }
        return "/recordings";
    });
    control.startPlayback("a.mov");
    isThere = false;

    control.startPlayback("b.mov");

    EXPECT_TRUE(log_.contains("startPlayback error: no folder\n"));
    EXPECT_FALSE(control.isPlaying());
    EXPECT_EQ(movies_.open, 0);
}

TEST_F(PlaybackControlTest, LetsManyViewersStartAndStopAsTheyLike) {
    constexpr int kViewers = 4;
    constexpr int kRequests = 60;
    PlaybackControl control(realTime(), folder());
    {
        std::vector<std::jthread> viewers;
        for (unsigned seed = 0; seed < kViewers; ++seed) {
            viewers.emplace_back([&control, seed] {
                std::mt19937 random(seed);
                for (int i = 0; i < kRequests; ++i) {
                    const auto request = [&control, what = random() % 4] {
                        if (what == 0) {
                            control.stopPlayback();
                        } else {
                            control.startPlayback(what == 1 ? "missing.mov" : "a.mov");
                        }
                    };
                    // Some commands come by way of the main thread, some directly.
                    if (random() % 2 == 0) {
                        MainThread::performAndWait(request);
                    } else {
                        request();
                    }
                    std::this_thread::sleep_for(std::chrono::milliseconds(random() % 3));
                }
            });
        }
        viewers.emplace_back([&control](const std::stop_token& stop) {
            bool wasPlaying = false;
            while (!stop.stop_requested()) {
                wasPlaying = control.isPlaying() || wasPlaying;
            }
            EXPECT_TRUE(wasPlaying);
        });
        for (int i = 0; i < kViewers; ++i) {
            viewers[static_cast<std::size_t>(i)].join();
        }
    }
    EXPECT_LE(movies_.mostOpen, 1);
    control.startPlayback("last.mov");
    EXPECT_TRUE(plays(1));
    control.stopPlayback();
    EXPECT_EQ(movies_.open, 0);
    EXPECT_EQ(movies_.mostOpen, 1);
}

/// The test is the main thread.
class PlaybackControlOnMainThreadTest : public PlaybackFixture {
protected:
    void SetUp() override {
        MainThread::begin();
        movies_.duration = 1h;
    }
    void TearDown() override { MainThread::end(); }
};

TEST_F(PlaybackControlOnMainThreadTest, ReplacesARunningPlayback) {
    PlaybackControl control(realTime(), [] { return "/recordings"; });
    for (int i = 1; i <= 10; ++i) {
        control.startPlayback("a.mov");
        ASSERT_TRUE(MainThread::serveUntil([&] { return sink_.pictures() >= i; }, 5s));
    }
    control.stopPlayback();
    EXPECT_EQ(movies_.mostOpen, 1);
    EXPECT_EQ(movies_.open, 0);
}

TEST_F(PlaybackControlOnMainThreadTest, TakesARequestWhileItWaitsForTheEndOfAnother) {
    std::promise<void> gate;
    movies_.onPicture = [&, open = gate.get_future().share(), isFirst = true](Movie::Time) mutable {
        if (std::exchange(isFirst, false)) {
            open.wait();
        }
    };
    PlaybackControl control(realTime(), [] { return "/recordings"; });
    control.startPlayback("first.mov");
    ASSERT_TRUE(eventually([&] { return movies_.asked == 1; }));
    const std::jthread viewer([&] {
        MainThread::performAndWait([&] { // served from within the wait below
            control.startPlayback("third.mov");
            EXPECT_EQ(movies_.open, 1) << "the first is still there";
            gate.set_value();
        });
    });

    control.startPlayback("second.mov");

    ASSERT_TRUE(MainThread::serveUntil([&] { return sink_.pictures() > 0; }, 5s));
    EXPECT_THAT(files(), ElementsAre("/recordings/first.mov", "/recordings/third.mov"));
    EXPECT_EQ(movies_.mostOpen, 1);
    control.stopPlayback();
}

TEST_F(PlaybackControlOnMainThreadTest, StartsNothingWhenItIsToldToStopWhileItWaits) {
    std::promise<void> gate;
    movies_.onPicture = [open = gate.get_future().share()](Movie::Time) { open.wait(); };
    PlaybackControl control(realTime(), [] { return "/recordings"; });
    control.startPlayback("first.mov");
    ASSERT_TRUE(eventually([&] { return movies_.asked == 1; }));
    const std::jthread viewer([&] {
        MainThread::performAndWait([&] {
            control.startPlayback("third.mov");
            control.stopPlayback();
            EXPECT_EQ(movies_.open, 1);
            gate.set_value();
        });
    });

    control.startPlayback("second.mov");

    EXPECT_FALSE(control.isPlaying());
    EXPECT_EQ(movies_.open, 0);
    EXPECT_THAT(files(), ElementsAre("/recordings/first.mov"));
    EXPECT_EQ(sink_.texts(), kNothing);
}

TEST_F(PlaybackControlOnMainThreadTest, CarriesOutWhatComesWhileAnotherThreadEndsAPlayback) {
    std::promise<void> gate;
    auto parts = realTime();
    PlaybackControl control({parts.sink, parts.log, parts.clock,
                             [openMovie = parts.openMovie, open = gate.get_future().share()](
                                 const std::filesystem::path& file, const std::stop_token& stop) {
                                 auto movie = openMovie(file, stop);
                                 open.wait();
                                 return movie;
                             },
                             parts.makePicture, nullptr},
                            [] { return "/recordings"; });
    control.startPlayback("first.mov");
    ASSERT_TRUE(eventually([&] { return movies_.open == 1; }));
    std::jthread viewer([&] { control.startPlayback("second.mov"); });
    ASSERT_TRUE(eventually([&] { return !control.isPlaying(); }));
    MainThread::perform([&] {
        gate.set_value();
        viewer.join(); // nobody ends a playback any more
        control.startPlayback("fourth.mov");
    });

    control.startPlayback("third.mov");

    EXPECT_TRUE(control.isPlaying());
    EXPECT_TRUE(eventually([&] { return files().back() == "/recordings/fourth.mov"; }));
    EXPECT_EQ(movies_.mostOpen, 1);
    control.stopPlayback();
}

TEST_F(PlaybackControlOnMainThreadTest, LeavesTheMainLoopItsTurnsHoweverOftenViewersAsk) {
    using SteadyClock = std::chrono::steady_clock;
    constexpr unsigned kViewers = 10;
    constexpr int kTurns = 10;
    movies_.onPicture = [](Movie::Time) { std::this_thread::sleep_for(3ms); }; // like a decoder
    PlaybackControl control(realTime(), [] {
        std::this_thread::sleep_for(1ms); // like a disk
        return "/recordings";
    });
    std::atomic<int> turns = 0;
    std::atomic<unsigned> going = kViewers;
    std::vector<std::jthread> viewers;
    for (unsigned viewer = 0; viewer < kViewers; ++viewer) {
        viewers.emplace_back([&, viewer, limit = SteadyClock::now() + 5s] {
            for (unsigned i = viewer; turns < kTurns && SteadyClock::now() < limit; ++i) {
                MainThread::performAndWait(
                    [&] { i % 8 == 0 ? control.stopPlayback() : control.startPlayback("a.mov"); });
            }
            --going;
        });
    }
    auto lastTurn = SteadyClock::now();
    SteadyClock::duration longest{};

    // Asked by the outermost loop only, like a timer of the window.
    const bool isOver = MainThread::serveUntil(
        [&] {
            const auto now = SteadyClock::now();
            longest = std::max(longest, now - std::exchange(lastTurn, now));
            ++turns;
            return going == 0;
        },
        20s);

    EXPECT_TRUE(isOver);
    EXPECT_GE(turns, kTurns);
    EXPECT_LT(longest, 1s);
    EXPECT_GT(movies_.opened, 1);
    EXPECT_EQ(movies_.mostOpen, 1);
    control.startPlayback("last.mov");
    EXPECT_TRUE(MainThread::serveUntil(
        [&, shown = sink_.pictures()] { return sink_.pictures() > shown; }, 5s));
    EXPECT_EQ(files().back(), "/recordings/last.mov");
    control.stopPlayback();
    EXPECT_EQ(movies_.open, 0);
    EXPECT_EQ(movies_.mostOpen, 1);
}

} // namespace ovelo
