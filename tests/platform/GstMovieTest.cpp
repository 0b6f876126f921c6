#include "fakes/TemporaryFolder.h"
#include "fakes/TestMovies.h"
#include "platform/Movie.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr auto kLongestOpening = 4s;

Movie::Time seconds(double time) {
    return std::chrono::duration_cast<Movie::Time>(std::chrono::duration<double>(time));
}

std::filesystem::path movieIn(const TemporaryFolder& folder, const std::string& name, int pictures,
                              int rate, const std::string& options) {
    auto file = folder.path() / name;
    EXPECT_TRUE(makeMovie(file, pictures, rate, options));
    return file;
}

std::unique_ptr<Movie> opened(const std::filesystem::path& file) {
    auto movie = Movie::open(file);
    EXPECT_TRUE(movie) << (movie ? "" : movie.error());
    return movie ? std::move(movie).value() : nullptr;
}

/// The number of the picture shown at a time; -2 for none.
int numberAt(Movie& movie, Movie::Time time) {
    const auto picture = movie.pictureAt(time);
    if (!picture) {
        return -2;
    }
    EXPECT_EQ(picture->width, NumberedPicture::kWidth);
    EXPECT_EQ(picture->height, NumberedPicture::kHeight);
    return NumberedPicture::numberOf(*picture);
}

std::string reasonFor(const std::filesystem::path& file) {
    const auto before = std::chrono::steady_clock::now();
    const auto movie = Movie::open(file);
    EXPECT_LT(std::chrono::steady_clock::now() - before, kLongestOpening);
    return movie ? "" : movie.error();
}

} // namespace

/// A kind of movie: how it is made, and at what rate its pictures follow each other.
struct MovieKind {
    const char* name;
    int rate;
    const char* extension;
    const char* options;
};

void PrintTo(const MovieKind& kind, std::ostream* out) {
    *out << kind.name;
}

class GstMovieTest : public ::testing::TestWithParam<MovieKind> {
protected:
    static constexpr int kPictures = 120;

    std::unique_ptr<Movie> make() {
        const MovieKind& kind = GetParam();
        return opened(movieIn(folder_, std::string("movie") + kind.extension, kPictures, kind.rate,
                              kind.options));
    }
    /// Right in the middle of the time for which a picture is shown.
    static Movie::Time middleOf(int number) { return seconds((number + 0.5) / GetParam().rate); }

    TemporaryFolder folder_;
};

TEST_P(GstMovieTest, TellsItsDuration) {
    const auto movie = make();
    ASSERT_TRUE(movie);
    EXPECT_NEAR(std::chrono::duration<double>(movie->duration()).count(),
                static_cast<double>(kPictures) / GetParam().rate, 0.15);
}

TEST_P(GstMovieTest, ShowsEveryPictureInItsTime) {
    const auto movie = make();
    ASSERT_TRUE(movie);
    EXPECT_EQ(numberAt(*movie, 0s), 0);
    for (int number = 0; number < kPictures; ++number) {
        ASSERT_EQ(numberAt(*movie, middleOf(number)), number);
        ASSERT_EQ(numberAt(*movie, middleOf(number)), number) << "asked again";
    }
}

TEST_P(GstMovieTest, ShowsTheRightPictureTwentyTimesASecond) {
    const auto movie = make();
    ASSERT_TRUE(movie);
    // Off the borders between pictures, which a container's own time scale rounds.
    for (Movie::Time time = 3ms; time < movie->duration() - 100ms; time += 50ms) {
        const double place = std::chrono::duration<double>(time).count() * GetParam().rate;
        if (place - static_cast<int>(place) > 0.05 && place - static_cast<int>(place) < 0.95) {
            ASSERT_EQ(numberAt(*movie, time), static_cast<int>(place));
        }
    }
}

TEST_P(GstMovieTest, ShowsTheRightPictureWhereverItIsAsked) {
    const auto movie = make();
    ASSERT_TRUE(movie);
    std::mt19937 random(7);
    std::uniform_int_distribution<int> anyPicture(0, kPictures - 1);
    for (int i = 0; i < 60; ++i) {
        const int number = anyPicture(random);
        ASSERT_EQ(numberAt(*movie, middleOf(number)), number);
    }
}

TEST_P(GstMovieTest, ShowsNothingAtItsEndAndBeforeItsBeginning) {
    const auto movie = make();
    ASSERT_TRUE(movie);
    EXPECT_FALSE(movie->pictureAt(movie->duration()));
    EXPECT_FALSE(movie->pictureAt(movie->duration() + 1h));
    EXPECT_FALSE(movie->pictureAt(-1ns));
    EXPECT_EQ(numberAt(*movie, 0s), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, GstMovieTest,
    ::testing::Values(
        MovieKind{
            "H264OfThirtyFullHdPicturesASecond", 30, ".mov",
            "-vf scale=1920:1080:flags=neighbor -c:v libx264 -preset veryfast -pix_fmt yuv420p"},
        MovieKind{"H264WithOneWholePicture", 30, ".mp4",
                  "-c:v libx264 -preset veryfast -g 1000 -bf 3 -pix_fmt yuv420p"},
        MovieKind{"MotionJpeg", 25, ".mov", "-c:v mjpeg -q:v 5 -pix_fmt yuvj420p"},
        MovieKind{"Mpeg4WithSound", 15, ".mov",
                  "-f lavfi -i sine=frequency=440:duration=8 -c:v mpeg4 -q:v 3 -c:a aac -b:a 32k"},
        MovieKind{"Mpeg4InAvi", 10, ".avi", "-c:v mpeg4 -q:v 3"},
        MovieKind{"OddSizes", 30, ".mov",
                  "-vf scale=333:127:flags=neighbor -c:v mjpeg -q:v 3 -pix_fmt yuvj444p"}),
    [](const auto& kind) { return std::string(kind.param.name); });

TEST(MovieTest, ShowsPicturesThatComeInUnevenSteps) {
    const TemporaryFolder folder;
    // Picture n is shown from n * n / 50 s.
    const auto movie = opened(movieIn(folder, "uneven.mov", 15, 1000,
                                      "-vf \"setpts=N*N/50/TB\" -fps_mode vfr "
                                      "-c:v libx264 -preset veryfast -bf 0 -pix_fmt yuv420p "
                                      "-video_track_timescale 1000"));
    ASSERT_TRUE(movie);
    const auto startOf = [](int number) { return seconds(number * number / 50.0); };
    for (int number = 0; number + 1 < 15; ++number) {
        EXPECT_EQ(numberAt(*movie, startOf(number) + 2ms), number);
        EXPECT_EQ(numberAt(*movie, startOf(number + 1) - 2ms), number);
    }
    for (const int number : {12, 3, 11, 0, 9, 13, 1}) {
        EXPECT_EQ(numberAt(*movie, (startOf(number) + startOf(number + 1)) / 2), number);
    }
}

TEST(MovieTest, KeepsTheLastPictureWhileTheSoundGoesOn) {
    const TemporaryFolder folder;
    const auto movie = opened(
        movieIn(folder, "sound.mov", 10, 10, "-f lavfi -i sine=duration=3 -c:v mjpeg -c:a aac"));
    ASSERT_TRUE(movie);
    EXPECT_GT(movie->duration(), 2900ms);
    for (Movie::Time time = 0s; time < 2900ms; time += 50ms) {
        ASSERT_EQ(numberAt(*movie, time + 1ms), std::min(9, static_cast<int>(time / 100ms)));
    }
    EXPECT_EQ(numberAt(*movie, 150ms), 1);
    EXPECT_EQ(numberAt(*movie, 2900ms), 9) << "asked for at once";
}

TEST(MovieTest, ShowsTheOnlyPictureOfAVeryShortMovie) {
    const TemporaryFolder folder;
    const auto movie = opened(movieIn(folder, "one.mov", 1, 30, "-c:v libx264 -pix_fmt yuv420p"));
    ASSERT_TRUE(movie);
    EXPECT_LT(movie->duration(), 50ms);
    EXPECT_EQ(numberAt(*movie, 0s), 0);
    EXPECT_EQ(numberAt(*movie, movie->duration() - 1ns), 0);
}

TEST(MovieTest, TakesAnyCharacterInAName) {
    const TemporaryFolder folder;
    const auto plain = movieIn(folder, "plain.mov", 2, 10, "-c:v mjpeg");
    const auto odd = folder.path() / "a \"b\" %20 # ? ! \\ é.mov";
    std::filesystem::rename(plain, odd);
    EXPECT_TRUE(opened(odd));
}

TEST(MovieTest, PicturesOutliveTheMovie) {
    const TemporaryFolder folder;
    auto movie = opened(movieIn(folder, "a.mov", 20, 10, "-c:v mjpeg"));
    ASSERT_TRUE(movie);
    const auto first = movie->pictureAt(50ms);
    const auto later = movie->pictureAt(1550ms);
    movie.reset();
    ASSERT_TRUE(first && later);
    EXPECT_EQ(NumberedPicture::numberOf(*first), 0);
    EXPECT_EQ(NumberedPicture::numberOf(*later), 15);
}

TEST(MovieTest, SaysWhyAFileIsNotOpened) {
    const TemporaryFolder folder;
    EXPECT_EQ(reasonFor(folder.path() / "missing.mov"), "There is no such file.");
    EXPECT_EQ(reasonFor(folder.path()), "There is no such file.");
    EXPECT_EQ(reasonFor({}), "There is no such file.");
    const auto pipe = folder.path() / "pipe.mov";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(reasonFor(pipe), "There is no such file.");
    writeFile(folder.path() / "empty.mov", "");
    EXPECT_NE(reasonFor(folder.path() / "empty.mov"), "");
    writeFile(folder.path() / "text.mov", "This is a text and no movie.\n");
    EXPECT_NE(reasonFor(folder.path() / "text.mov"), "");
    std::string garbage(100'000, '\0');
    std::mt19937 random(3);
    for (char& byte : garbage) {
        byte = static_cast<char>(random());
    }
    writeFile(folder.path() / "garbage.mov", garbage);
    EXPECT_NE(reasonFor(folder.path() / "garbage.mov"), "");
}

TEST(MovieTest, DoesNotOpenSoundAlone) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "sound.mov";
    ASSERT_TRUE(makeMovie(file, 1, 10, "-f lavfi -i sine=duration=2 -map 1:a -c:a aac"));
    EXPECT_EQ(reasonFor(file), "There are no pictures in it.");
}

TEST(MovieTest, DoesNotOpenARecordingWhoseEndIsMissing) {
    const TemporaryFolder folder;
    const auto file = movieIn(folder, "a.mov", 60, 30, "-c:v mjpeg"); // its index stands at the end
    std::filesystem::resize_file(file, std::filesystem::file_size(file) / 2);
    EXPECT_NE(reasonFor(file), "");
}

TEST(MovieTest, KeepsTheLastPictureThatIsThereWhenPicturesAreMissing) {
    const TemporaryFolder folder;
    const auto file = movieIn(folder, "a.mov", 60, 30, "-c:v mjpeg -movflags +faststart");
    std::filesystem::resize_file(file, std::filesystem::file_size(file) / 2);
    const auto movie = opened(file);
    ASSERT_TRUE(movie);
    EXPECT_EQ(numberAt(*movie, 510ms), 15);
    const auto before = std::chrono::steady_clock::now();
    const int last = numberAt(*movie, 1900ms);
    EXPECT_GT(last, 20);
    EXPECT_LT(last, 32);
    EXPECT_EQ(numberAt(*movie, 1950ms), last);
    EXPECT_LT(std::chrono::steady_clock::now() - before, 2s);
}

TEST(MovieTest, GivesUpWhenItIsAskedToStop) {
    const TemporaryFolder folder;
    const auto file = movieIn(folder, "a.mov", 30, 30, "-c:v mjpeg");
    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(Movie::open(file, stop.get_token()));
    const auto movie = opened(file);
    ASSERT_TRUE(movie);
    EXPECT_FALSE(movie->pictureAt(500ms, stop.get_token()));
    EXPECT_EQ(numberAt(*movie, 510ms), 15);
}

TEST(MovieTest, FindsAnEarlierPictureAfterAJumpThatWasGivenUp) {
    const TemporaryFolder folder;
    const auto movie = opened(movieIn(folder, "a.mov", 60, 10, "-c:v mjpeg"));
    ASSERT_TRUE(movie);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_FALSE(movie->pictureAt(5s, stop.get_token()));
    EXPECT_EQ(numberAt(*movie, 150ms), 1);
}

TEST(MovieTest, MayBeUsedFromOneThreadAfterAnother) {
    const TemporaryFolder folder;
    const auto movie = opened(movieIn(folder, "a.mov", 30, 10, "-c:v mjpeg"));
    ASSERT_TRUE(movie);
    for (int number = 0; number < 30; number += 5) {
        std::jthread([&] { EXPECT_EQ(numberAt(*movie, seconds(number / 10.0 + 0.05)), number); });
    }
}

} // namespace ovelo
