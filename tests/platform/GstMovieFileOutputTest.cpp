#include "platform/GstMovieFileOutput.h"

#include "fakes/ChildProcess.h"
#include "platform/MovieFixture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <fstream>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

class GstMovieFileOutputTest : public MovieFixture {};

TEST_F(GstMovieFileOutputTest, RecordsEveryPictureAndTheSoundAtTheirTimes) {
    start();
    pass(10s);
    stop();

    EXPECT_FALSE(witness_.error());
    EXPECT_EQ(witness_.told(),
              (std::vector<std::string>{"will start", "did start", "will finish", "did finish"}));
    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_EQ(probe_.codecs(), (std::vector<std::string>{"h264", "aac"}));
    EXPECT_EQ(probe_.profile(), "Constrained Baseline\n");
    EXPECT_NEAR(probe_.duration(), 10.0, 0.067);
    EXPECT_NEAR(probe_.duration("a:0"), 10.0, 0.002);
    EXPECT_EQ(output_.recordedDuration(), "00:00:10.000");
    EXPECT_EQ(output_.recordedFileSize(), std::filesystem::file_size(file_));
    const auto pictures = probe_.pictures();
    ASSERT_EQ(pictures.size(), 150U);
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        EXPECT_EQ(pictures[i].number, static_cast<int>(i));
        EXPECT_NEAR(pictures[i].time, static_cast<double>(i) / 15, 0.002);
    }
    const auto beginnings = beginningsOfBeeps(probe_.sound());
    EXPECT_GE(beginnings.size(), 10U);
    EXPECT_LT(worstBeep(beginnings), 0.002);
}

TEST_F(GstMovieFileOutputTest, RecordsMpeg4WhenAsked) {
    GstMovieFileOutput output(GstMovieFileOutput::codecNamed("mpeg4"), clock_, {});
    output.setDelegate(&witness_);
    MovieFeeder feeder(output, clock_);
    output.recordToOutputFile(file_);
    ASSERT_TRUE(feeder.pass(3s));
    output.recordToOutputFile(std::nullopt);
    ASSERT_TRUE(witness_.waitForEnd());

    EXPECT_FALSE(witness_.error());
    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_EQ(probe_.codecs(), (std::vector<std::string>{"mpeg4", "aac"}));
    const auto pictures = probe_.pictures();
    ASSERT_EQ(pictures.size(), 45U);
    EXPECT_EQ(pictures.back().number, 44);
    EXPECT_NEAR(pictures.back().time, 44.0 / 15, 0.002);
}

TEST_F(GstMovieFileOutputTest, AMovieWithoutSoundHasPicturesAlone) {
    feeder_.hasSound = false;
    start();
    pass(3s);
    stop();

    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_EQ(probe_.codecs(), std::vector<std::string>{"h264"});
    EXPECT_NEAR(probe_.duration(), 3.0, 0.067);
}

TEST_F(GstMovieFileOutputTest, SoundThatVanishesAndReturnsLeavesSilence) {
    start();
    pass(3500ms);
    feeder_.hasSound = false;
    pass(4s);
    feeder_.hasSound = true;
    pass(3s);
    stop();

    EXPECT_EQ(probe_.complaints(), "");
    const auto beginnings = beginningsOfBeeps(probe_.sound());
    EXPECT_LT(worstBeep(beginnings), 0.002);
    std::vector<int> seconds;
    for (const double beginning : beginnings) {
        seconds.push_back(static_cast<int>(std::round(beginning)));
    }
    EXPECT_EQ(seconds, (std::vector<int>{0, 1, 2, 3, 8, 9, 10}));
}

TEST_F(GstMovieFileOutputTest, SoundThatComesLaterIsHeardAtItsTime) {
    feeder_.hasSound = false;
    start();
    pass(4500ms);
    feeder_.hasSound = true;
    pass(3s);
    stop();

    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_NEAR(probe_.duration("a:0"), 7.5, 0.067);
    const auto beginnings = beginningsOfBeeps(probe_.sound());
    ASSERT_EQ(beginnings.size(), 3U);
    EXPECT_NEAR(beginnings[0], 5.0, 0.002);
    EXPECT_NEAR(beginnings[2], 7.0, 0.002);
}

TEST_F(GstMovieFileOutputTest, TheLastPictureStandsWhileNoneComes) {
    start();
    pass(1s);
    feeder_.hasPictures = false;
    for (int i = 0; i < 4; ++i) {
        pass(2s);
        (void)eventually([] { return false; }, 60ms); // the recorder's turn
    }
    feeder_.hasPictures = true;
    pass(1s);
    stop();

    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_NEAR(probe_.duration(), 10.0, 0.067);
    const auto pictures = probe_.pictures();
    const auto last = std::find_if(pictures.begin(), pictures.end(),
                                   [](const auto& picture) { return picture.number == 15; });
    ASSERT_NE(last, pictures.end());
    EXPECT_NEAR(last->time, 9.0, 0.07);
    EXPECT_EQ((last - 1)->number, 14);
    EXPECT_GT(last - pictures.begin(), 15) << "what stands is repeated now and then";
}

TEST_F(GstMovieFileOutputTest, APaceThatChangesIsKept) {
    start();
    pass(2s);
    feeder_.pictureStep = 500ms;
    pass(4s);
    feeder_.pictureStep = MovieFeeder::Micro(33333);
    pass(2s);
    stop();

    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_NEAR(probe_.duration(), 8.0, 0.067);
    const auto pictures = probe_.pictures();
    ASSERT_EQ(pictures.size(), static_cast<std::size_t>(feeder_.number));
    for (std::size_t i = 1; i < pictures.size(); ++i) {
        EXPECT_EQ(pictures[i].number, static_cast<int>(i)) << "none is missing";
        EXPECT_LT(pictures[i].time - pictures[i - 1].time, 0.502);
    }
}

/// A clock whose time of day is set back by an hour when it is told to.
class SetBackClock final : public Clock {
public:
    explicit SetBackClock(const FakeClock& clock) : clock_(clock) {}

    TimeValue timeOfDay() const override {
        TimeValue now = clock_.timeOfDay();
        now.seconds -= isSetBack ? 3600 : 0;
        return now;
    }
    Steady steady() const override { return clock_.steady(); }

    std::atomic<bool> isSetBack{false};

private:
    const FakeClock& clock_;
};

TEST_F(GstMovieFileOutputTest, AClockThatIsSetBackChangesNothing) {
    SetBackClock clock(clock_);
    GstMovieFileOutput output(PictureCodec::H264, clock, {});
    output.setDelegate(&witness_);
    MovieFeeder feeder(output, clock_);
    output.recordToOutputFile(file_);
    ASSERT_TRUE(feeder.pass(1s));
    clock.isSetBack = true;
    ASSERT_TRUE(feeder.pass(1s));
    output.recordToOutputFile(std::nullopt);
    ASSERT_TRUE(witness_.waitForEnd());

    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_NEAR(probe_.duration(), 2.0, 0.067);
    EXPECT_EQ(probe_.pictures().size(), 30U);
    EXPECT_LT(worstBeep(beginningsOfBeeps(probe_.sound())), 0.002);
}

TEST_F(GstMovieFileOutputTest, AMovieOfNothingIsBlackAndPlays) {
    feeder_.hasPictures = feeder_.hasSound = false;
    start();
    pass(1s);
    stop();

    EXPECT_FALSE(witness_.error());
    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_NEAR(probe_.duration(), 1.0, 0.001);
}

TEST_F(GstMovieFileOutputTest, SoundAloneIsRecordedUnderABlackPicture) {
    feeder_.hasPictures = false;
    start();
    for (int i = 0; i < 5; ++i) {
        pass(1s);
        (void)eventually([] { return false; }, 60ms); // the recorder's turn
    }
    stop();

    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_EQ(probe_.codecs().size(), 2U);
    EXPECT_GE(beginningsOfBeeps(probe_.sound()).size(), 4U);
}

TEST_F(GstMovieFileOutputTest, SoundFromBeforeTheBeginningIsCut) {
    const std::vector<std::int16_t> before(kSoundRate * 2 / 5, 10000);
    start();
    output_.takeSound({before, clock_.steady() - 400ms});
    pass(5s);
    stop();

    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_NEAR(probe_.duration(), 5.0, 0.067);
    EXPECT_NEAR(probe_.duration("a:0"), 5.0, 0.002);
    const auto pictures = probe_.pictures();
    ASSERT_EQ(pictures.size(), 75U);
    EXPECT_NEAR(pictures[15].time, 1.0, 0.002);
    const auto beginnings = beginningsOfBeeps(probe_.sound());
    EXPECT_GE(beginnings.size(), 5U);
    EXPECT_LT(worstBeep(beginnings), 0.002);
}

TEST_F(GstMovieFileOutputTest, TimeBeginsWithTheRecordingWhenNothingComesAtFirst) {
    feeder_.hasPictures = feeder_.hasSound = false;
    start();
    pass(2500ms);
    ASSERT_TRUE(eventually([this] { return output_.recordedFileSize() > 0; })) << "black";
    feeder_.hasPictures = feeder_.hasSound = true;
    pass(2500ms);
    stop();

    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_NEAR(probe_.duration(), 5.0, 0.067);
    EXPECT_EQ(output_.recordedDuration(), "00:00:05.000");
    const auto pictures = probe_.pictures();
    ASSERT_EQ(pictures.size(), static_cast<std::size_t>(feeder_.number) + 1);
    EXPECT_EQ(pictures[0].time, 0.0) << "black from the beginning";
    EXPECT_NEAR(pictures[1].time, 2.5, 0.067);
    const auto beginnings = beginningsOfBeeps(probe_.sound());
    ASSERT_GE(beginnings.size(), 2U);
    EXPECT_NEAR(beginnings[0], 3.0, 0.002);
    EXPECT_NEAR(beginnings[1], 4.0, 0.002);
}

TEST_F(GstMovieFileOutputTest, PicturesThatComeTooFastAreDroppedAndCounted) {
    const VideoFrame picture = numberedPicture(0);
    start();
    for (int i = 0; i < 200; ++i) { // within less than a turn of the recorder
        output_.takePicture(picture, clock_.steady());
        clock_.advance(1ms);
    }
    stop();

    EXPECT_EQ(probe_.complaints(), "");
    ASSERT_FALSE(log_.empty());
    EXPECT_NE(log_.back().find("Recording dropped "), std::string::npos);
}

TEST_F(GstMovieFileOutputTest, PicturesOfAnotherShapeAreNotTaken) {
    start();
    VideoFrame odd = numberedPicture(0);
    odd.height = 120;
    output_.takePicture(odd, clock_.steady());
    output_.takePicture({320, 240, 1280, nullptr, nullptr}, clock_.steady());

    EXPECT_EQ(output_.waiting(), 0U);
    stop();
}

TEST_F(GstMovieFileOutputTest, AFileThatCannotBeMadeIsAnErrorAtOnce) {
    file_ = folder_.path() / "missing" / "movie.mov";
    start();
    ASSERT_TRUE(witness_.waitForEnd());

    ASSERT_TRUE(witness_.error());
    EXPECT_NE(witness_.error()->text.find("No such file or directory"), std::string::npos);
    EXPECT_FALSE(witness_.error()->finishedSuccessfully);
    EXPECT_FALSE(output_.outputFile());
}

TEST_F(GstMovieFileOutputTest, TwoHundredRecordingsLeaveNothingBehind) {
    const auto count = [](const char* folder) {
        return std::distance(std::filesystem::directory_iterator(folder), {});
    };
    const auto memory = [] {
        std::ifstream status("/proc/self/statm");
        long pages = 0;
        status >> pages >> pages;
        return pages * 4096;
    };
    const auto once = [&](int recording) {
        output_.recordToOutputFile(file_);
        output_.takePicture(numberedPicture(recording), clock_.steady());
        output_.recordToOutputFile(std::nullopt);
        return witness_.waitForEnd(recording);
    };
    for (int i = 1; i <= 50; ++i) { // whatever is made once is there after these
        ASSERT_TRUE(once(i));
    }
    output_.waitForEnd();
    const auto descriptors = count("/proc/self/fd");
    const auto threads = count("/proc/self/task");
    const auto before = memory();
    for (int i = 51; i <= 250; ++i) {
        ASSERT_TRUE(once(i));
    }
    output_.waitForEnd();

    EXPECT_EQ(count("/proc/self/fd"), descriptors);
    EXPECT_TRUE(eventually([&] { return count("/proc/self/task") <= threads; }));
#if !defined(__SANITIZE_ADDRESS__)
    EXPECT_LT(memory() - before, 8 << 20);
#endif
}

TEST_F(GstMovieFileOutputTest, AKilledRecorderLeavesAMovieThatPlays) {
    ChildProcess recorder({MOVIE_RECORDER, file_.string()});
    ASSERT_TRUE(recorder.waitForOutput("recorded\n", 20s));
    recorder.kill();

    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_EQ(probe_.codecs(), (std::vector<std::string>{"h264", "aac"}));
    const auto pictures = probe_.pictures();
    ASSERT_GT(pictures.size(), 100U);
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        EXPECT_EQ(pictures[i].number, static_cast<int>(i));
        EXPECT_NEAR(pictures[i].time, static_cast<double>(i) / 15, 0.002);
    }
    EXPECT_LT(worstBeep(beginningsOfBeeps(probe_.sound())), 0.002);
}

TEST_F(GstMovieFileOutputTest, AFullDiskIsAnErrorAndLeavesAMovieThatPlays) {
    ChildProcess recorder({MOVIE_RECORDER, file_.string(), "32768"});
    if (!recorder.waitForOutput("recorded\n", 30s)) {
        ASSERT_EQ(std::getenv("OVELO_REQUIRE_SANDBOX"), nullptr);
        GTEST_SKIP() << "NOT TESTED: no mounts of one's own";
    }
    const std::string said = recorder.output();
    const auto process = said.substr(said.find("process ") + 8);
    const std::string root = "/proc/" + process.substr(0, process.find('\n')) + "/root";
    const MovieProbe probe(root + file_.string());

    EXPECT_NE(said.find("error: The movie cannot be written: No space left on device"),
              std::string::npos)
        << said;
    EXPECT_NE(said.find("told: must change: "), std::string::npos);
    EXPECT_EQ(probe.complaints(), "");
    EXPECT_GT(probe.pictures().size(), 30U);
}

} // namespace

} // namespace ovelo
