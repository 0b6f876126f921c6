#include "RecordingFixture.h"
#include "fakes/Eventually.h"
#include "fakes/MainLoopThread.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>

namespace ovelo {

using namespace std::chrono_literals;

namespace {

// The address sanitizer does so, to find who uses it; its own search for leaks judges then.
#ifdef __SANITIZE_ADDRESS__
constexpr bool kFreedMemoryIsKept = true;
#else
constexpr bool kFreedMemoryIsKept = false;
#endif

std::size_t entriesOf(const char* folder) {
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

/// Of this process, in KiB.
long residentMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) {
            return std::stol(line.substr(6));
        }
    }
    return 0;
}

} // namespace

class RecordingPlaybackSlowTest : public RecordingFixture {
protected:
    MainLoopThread mainLoop_;
    PlaybackControl control_ = makeControl();
};

TEST_F(RecordingPlaybackSlowTest, LeavesNothingBehindAfterAThousandPlaybacks) {
    constexpr int kWarmUp = 100;
    constexpr int kCycles = 1000;
    makeRecording("a.mov", 60, 15,
                  "-f lavfi -i sine=duration=4 -c:v mpeg4 -c:a aac -b:a 16k -shortest");
    std::mt19937 random(5);
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    long memory = 0;
    for (int i = 0; i < kWarmUp + kCycles; ++i) {
        if (i == kWarmUp) {
            threads = entriesOf("/proc/self/task");
            descriptors = entriesOf("/proc/self/fd");
            memory = residentMemory();
        }
        sink_.clear();
        control_.startPlayback("a.mov");
        if (random() % 3 != 0) { // the others are stopped while the movie is being opened
            ASSERT_TRUE(eventually([&] { return !sink_.sent().empty(); }));
        }
        control_.stopPlayback();
    }
    std::cout << "  memory " << memory << " KiB before, " << residentMemory() << " KiB after\n";
    EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
    EXPECT_TRUE(eventually([&] { return entriesOf("/proc/self/task") <= threads; }));
    if (!kFreedMemoryIsKept) {
        EXPECT_LT(residentMemory(), memory + 20'000);
    }
}

/// Movies with wrong bytes, and how long the longest call takes that reads them.
class DamagedMovieSlowTest : public RecordingFixture {
protected:
    using Duration = std::chrono::steady_clock::duration;

    void SetUp() override {
        makeRecording("0.mov", 15, 15,
                      "-c:v libx264 -preset veryfast -g 10 -pix_fmt yuv420p -movflags +faststart");
        makeRecording("1.mov", 15, 15, "-f lavfi -i sine=duration=1 -c:v mpeg4 -c:a aac -shortest");
        makeRecording("2.mov", 15, 15, "-c:v mjpeg");
    }

    /// A few wrong bytes anywhere, or many in the index at the front or the end; some are cut off.
    std::filesystem::path damaged(const std::string& name) {
        std::string bytes = readFile(folder_.path() / name);
        const std::size_t damages = 1U << random_() % 10;
        const std::size_t reach = random_() % 2 == 0 ? bytes.size() : 2000;
        const bool isAtFront = random_() % 2 == 0;
        for (std::size_t i = 0; i < damages; ++i) {
            const std::size_t place = random_() % std::min(reach, bytes.size());
            bytes[isAtFront ? place : bytes.size() - 1 - place] = static_cast<char>(random_());
        }
        if (random_() % 4 == 0) {
            bytes.resize(random_() % bytes.size());
        }
        auto file = folder_.path() / "damaged.mov";
        writeFile(file, bytes);
        return file;
    }

    void readAll(Movie& movie) {
        const auto end = std::min<Movie::Time>(movie.duration(), 3s);
        for (Movie::Time time = 0s; time < end; time += 50ms) {
            read(movie, time);
        }
        read(movie, end / 2);
    }

    int opened_ = 0;
    Duration longestOpening_{};
    Duration longestPicture_{};
    std::mt19937 random_{11};

private:
    void read(Movie& movie, Movie::Time time) {
        const auto before = std::chrono::steady_clock::now();
        const auto picture = movie.pictureAt(time);
        longestPicture_ = std::max(longestPicture_, std::chrono::steady_clock::now() - before);
        if (picture) {
            EXPECT_EQ(picture->width, NumberedPicture::kWidth);
            EXPECT_EQ(picture->height, NumberedPicture::kHeight);
        }
    }
};

TEST_F(DamagedMovieSlowTest, IsReadOrRefusedWithinSeconds) {
    constexpr int kMovies = 200;
    for (int i = 0; i < kMovies; ++i) {
        const auto file = damaged(std::to_string(i % 3) + ".mov");

        const auto before = std::chrono::steady_clock::now();
        auto movie = Movie::open(file);
        longestOpening_ = std::max(longestOpening_, std::chrono::steady_clock::now() - before);

        if (movie) {
            ++opened_;
            readAll(*std::move(movie).value());
        } else {
            EXPECT_NE(movie.error(), "");
        }
    }
    std::cout << "  " << opened_ << " of " << kMovies << " were opened; the longest opening took "
              << std::chrono::duration<double>(longestOpening_).count()
              << " s, the longest picture "
              << std::chrono::duration<double>(longestPicture_).count() << " s\n";
    EXPECT_GT(opened_, 0);
    EXPECT_LT(longestOpening_, 5s);
    EXPECT_LT(longestPicture_, 7s);
}

} // namespace ovelo
