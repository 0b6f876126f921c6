#include "platform/GstMovieFileOutput.h"

#include "fakes/Eventually.h"
#include "fakes/FakeClock.h"
#include "fakes/MovieScene.h"
#include "fakes/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <fstream>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using Micro = std::chrono::microseconds;

constexpr auto kPictureStep = Micro(66667);
constexpr auto kSoundStep = 20ms;
constexpr std::size_t kSoundBlock = 320;

/// Records in injected time, as fast as the encoders are.
class GstMovieFileOutputTest : public testing::Test {
protected:
    GstMovieFileOutputTest() { output_.setDelegate(&witness_); }

    void start() { output_.recordToOutputFile(file_); }

    void stop() {
        output_.recordToOutputFile(std::nullopt);
        ASSERT_TRUE(witness_.waitForEnd());
    }

    /// Lets time go on; pictures and sound come as they are switched on.
    void pass(std::chrono::milliseconds time) {
        const auto end = clock_.steady() + time;
        while (clock_.steady() < end) {
            clock_.advance(Micro(1000));
            deliver();
        }
        ASSERT_TRUE(eventually([this] { return output_.waiting() == 0; }));
    }

    void deliver() {
        const auto now = clock_.steady();
        if (now >= nextPicture_) {
            if (hasPictures_) {
                output_.takePicture(numberedPicture(number_++), now);
            }
            nextPicture_ += pictureStep_;
            (void)eventually([this] { return output_.waiting() < 20; });
        }
        if (now >= nextSound_) {
            if (hasSound_) {
                const auto block = beeps(samples_, kSoundBlock);
                output_.takeSound({block, nextSound_});
            }
            samples_ += kSoundBlock; // the sound of the world goes on
            nextSound_ += kSoundStep;
        }
    }

    TemporaryFolder folder_;
    std::filesystem::path file_ = folder_.path() / "movie.mov";
    FakeClock clock_;
    MovieWitness witness_;
    std::vector<std::string> log_;
    bool hasPictures_ = true;
    bool hasSound_ = true;
    int number_ = 0;
    std::int64_t samples_ = 0;
    Micro pictureStep_ = kPictureStep;
    Clock::Steady nextPicture_ = clock_.steady();
    Clock::Steady nextSound_ = clock_.steady();
    MovieProbe probe_{file_};
    GstMovieFileOutput output_{PictureCodec::H264, clock_,
                               [this](const std::string& line) { log_.push_back(line); }};
};

TEST_F(GstMovieFileOutputTest, RecordsEveryPictureAndTheSoundAtTheirTimes) {
    start();
    pass(10s);
    stop();

    EXPECT_FALSE(witness_.error());
    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_EQ(probe_.codecs(), (std::vector<std::string>{"h264", "aac"}));
    EXPECT_EQ(probe_.profile(), "Constrained Baseline\n");
    EXPECT_NEAR(probe_.duration(), 10.0, 0.067);
    EXPECT_NEAR(probe_.duration("a:0"), 10.0, 0.001);
    EXPECT_EQ(output_.recordedDuration().substr(0, 6), "00:00:");
    EXPECT_EQ(output_.recordedFileSize(), std::filesystem::file_size(file_));
    const auto pictures = probe_.pictures();
    ASSERT_EQ(pictures.size(), 150U);
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        EXPECT_EQ(pictures[i].number, static_cast<int>(i));
        EXPECT_NEAR(pictures[i].time, static_cast<double>(i) / 15, 0.002);
    }
    const auto beginnings = beginningsOfBeeps(probe_.sound());
    ASSERT_EQ(beginnings.size(), 10U);
    for (std::size_t i = 1; i < beginnings.size(); ++i) { // the first 36 ms are left out
        EXPECT_NEAR(beginnings[i], static_cast<double>(i), 0.002);
    }
}

} // namespace

} // namespace ovelo
