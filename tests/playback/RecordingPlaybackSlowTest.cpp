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
    EXPECT_LT(residentMemory(), memory + 20'000);
}

TEST_F(RecordingPlaybackSlowTest, SurvivesDamagedMovies) {
    constexpr int kMovies = 200;
    const std::vector<std::string> recipes{
        "-c:v libx264 -preset veryfast -g 10 -pix_fmt yuv420p -movflags +faststart",
        "-f lavfi -i sine=duration=1 -c:v mpeg4 -c:a aac -shortest", "-c:v mjpeg"};
    std::mt19937 random(11);
    int opened = 0;
    auto longest = std::chrono::steady_clock::duration::zero();
    for (int i = 0; i < kMovies; ++i) {
        const auto& recipe = recipes[static_cast<std::size_t>(i) % recipes.size()];
        const std::string name = "whole" + std::to_string(i % 3) + ".mov";
        if (i < static_cast<int>(recipes.size())) {
            makeRecording(name, 15, 15, recipe);
        }
        std::string bytes = readFile(folder_.path() / name);
        // Few wrong bytes anywhere, or many within the index at the front or at the end.
        const std::size_t damages = 1U << random() % 10;
        const std::size_t reach =
            random() % 2 == 0 ? bytes.size() : std::min<std::size_t>(bytes.size(), 2000);
        for (std::size_t n = 0; n < damages; ++n) {
            const std::size_t place = random() % reach;
            bytes[i % 2 == 0 ? place : bytes.size() - 1 - place] = static_cast<char>(random());
        }
        if (random() % 4 == 0) {
            bytes.resize(random() % bytes.size());
        }
        const auto file = folder_.path() / "damaged.mov";
        writeFile(file, bytes);

        const auto before = std::chrono::steady_clock::now();
        if (auto movie = Movie::open(file)) {
            ++opened;
            const auto whole = std::move(movie).value();
            const auto end = std::min<Movie::Time>(whole->duration(), 3s);
            std::stop_source stop;
            for (Movie::Time time = 0s; time < end; time += 50ms) {
                (void)whole->pictureAt(time, stop.get_token());
            }
            (void)whole->pictureAt(end / 2);
        }
        longest = std::max(longest, std::chrono::steady_clock::now() - before);
    }
    std::cout << "  " << opened << " of " << kMovies << " were opened; the longest took "
              << std::chrono::duration<double>(longest).count() << " s\n";
    EXPECT_GT(opened, 0);
    EXPECT_LT(longest, 8s);
}

} // namespace ovelo
