// Recordings that viewers ask for: what is in them, beside the films and sounds they were made of.

#include "fakes/Eventually.h"
#include "fakes/MovieProbe.h"
#include "integration/Films.h"
#include "integration/Program.h"
#include "integration/Recordings.h"
#include "integration/Sounds.h"
#include "integration/WatchingViewer.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <regex>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using Kind = WatchingViewer::Kind;

constexpr const char* kFootage = "/usr/share/doc/opencv-doc/examples/data/vtest.avi";
constexpr int kRate = 20; // pictures a second of the films that are made here

class RecordingTest : public ::testing::Test {
protected:
    void start(const std::string& sources) {
        program.setting("captureSources=" + sources);
        program.start();
        ASSERT_TRUE(program.waitUntilListening()) << program.output();
    }
    void startWithFilm(int seconds = 60) {
        const std::string film = program.home() / "film.mov";
        ASSERT_TRUE(films::makeWithBeeps(film, seconds, kRate));
        start("m|Film|file://" + film);
    }
    std::unique_ptr<WatchingViewer> viewer() const {
        return std::make_unique<WatchingViewer>(program.port());
    }
    void record(WatchingViewer& one, int pictures) {
        const int before = began();
        one.send("Record,Y\n");
        ASSERT_TRUE(eventually([&] { return began() > before; }));
        ASSERT_TRUE(one.waitForMore(Kind::Picture, static_cast<std::size_t>(pictures), 20s));
    }
    [[nodiscard]] int began() const { return countIn(program.log(), "Did start recording to "); }
    static int countIn(const std::string& text, const std::string& what) {
        int count = 0;
        for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
            ++count;
        }
        return count;
    }
    [[nodiscard]] std::vector<std::filesystem::path> kept() const {
        return moviesIn(program.home() / "Documents" / "Ovelo");
    }
    [[nodiscard]] std::vector<std::filesystem::path> temporary() const {
        return moviesIn(program.home() / "tmp");
    }
    bool waitForKept(std::size_t many = 1) const {
        return eventually([&] { return kept().size() == many && temporary().empty(); }, 10s);
    }
    static double seconds(std::chrono::steady_clock::duration time) {
        return std::chrono::duration<double>(time).count();
    }
    /// Every picture is one of the film's, at its time. return: how many there are
    static std::size_t expectPicturesOfFilm(const MovieProbe& movie) {
        const auto pictures = movie.pictures();
        if (pictures.size() < 2) {
            ADD_FAILURE() << "no pictures";
            return 0;
        }
        const auto& middle = pictures[pictures.size() / 2];
        const double begin = middle.number / double(kRate) - middle.time;
        std::size_t inTime = 0;
        for (std::size_t i = 1; i < pictures.size(); ++i) {
            EXPECT_GE(pictures[i].number, pictures[i - 1].number) << "at " << pictures[i].time;
            const double late = pictures[i].time - (pictures[i].number / double(kRate) - begin);
            EXPECT_NEAR(late, 0, 0.3) << "at " << pictures[i].time; // a busy computer
            inTime += std::abs(late) < 0.08 ? 1 : 0;
        }
        EXPECT_GT(inTime, pictures.size() * 8 / 10);
        return pictures.size();
    }
    void TearDown() override {
        if (program.pid() > 0 && program.isRunning()) {
            EXPECT_EQ(program.terminate(), 0) << program.output();
        }
    }

    Program program;
};

TEST_F(RecordingTest, FilmIsRecordedWithPicturesAndSoundInStep) {
    startWithFilm();
    const auto one = viewer();
    ASSERT_TRUE(one->waitForMore(Kind::Picture));
    const auto begin = std::chrono::steady_clock::now();
    record(*one, 120);
    one->send("Record,N\n");
    const double taken = seconds(std::chrono::steady_clock::now() - begin);
    ASSERT_TRUE(waitForKept()) << program.log();

    const auto file = kept().front();
    EXPECT_TRUE(std::regex_match(file.filename().string(), std::regex("Ovelo_20[0-9]{12}\\.mov")))
        << file;
    const MovieProbe movie(file);
    EXPECT_EQ(movie.complaints(), "");
    EXPECT_EQ(movie.codecs(), (std::vector<std::string>{"h264", "aac"}));
    EXPECT_EQ(movie.profile(), "Constrained Baseline\n");
    EXPECT_EQ(MovieProbe::output("ffprobe -v error -select_streams v:0 -show_entries "
                                 "stream=width,height -of csv=p=0 " +
                                 file.string()),
              "320,240\n");
    EXPECT_NEAR(movie.duration(), taken, 0.5);
    EXPECT_NEAR(movie.duration("v:0"), movie.duration("a:0"), 0.2);
    EXPECT_GT(expectPicturesOfFilm(movie), 100U);

    const auto pictures = movie.pictures();
    int compared = 0;
    for (const double beep : beginningsOfBeeps(movie.sound())) {
        double nearest = 1e9; // to a picture with which a second of the film begins
        for (const auto& picture : pictures) {
            if (picture.number % kRate == 0 && std::abs(picture.time - beep) < std::abs(nearest)) {
                nearest = picture.time - beep;
            }
        }
        // Whoever begins to record within a beep hears the rest of it.
        if (beep > 0.1) {
            EXPECT_LT(std::abs(nearest), 0.12) << "the beep at " << beep;
            ++compared;
        }
    }
    EXPECT_GE(compared, 5);
    EXPECT_NE(program.log().find("Recorded:\n"), std::string::npos);
    EXPECT_TRUE(one->ask("GetRecorded,\n", "RECORDED_LIST")
                    .starts_with("RECORDED_LIST,-" + file.filename().string() + "-20"));
}

TEST_F(RecordingTest, StreetIsRecordedAsItIsWithoutWhatViewersSee) {
    if (!std::filesystem::exists(kFootage)) {
        GTEST_SKIP() << "NOT TESTED: package opencv-doc is missing";
    }
    program.setting("night_vision=true\nflip_vertically=true\nrotate_val=1\nshow_timestamp=true");
    start(std::string("v|Street|file://") + kFootage);
    const auto one = viewer();
    ASSERT_TRUE(one->waitForMore(Kind::Picture));
    record(*one, 40);
    one->send("Record,N\n");
    ASSERT_TRUE(waitForKept());

    constexpr std::size_t kSize = 80 * 60;
    const auto smallPictures = [](const std::string& file, const std::string& options) {
        return MovieProbe::output("ffmpeg -v error -i " + file + " " + options +
                                  " -vf scale=80:60:flags=area -fps_mode passthrough -f rawvideo "
                                  "-pix_fmt gray -");
    };
    const std::string original = smallPictures(kFootage, "-frames:v 250");
    const std::string recorded = smallPictures(kept().front().string(), "");
    std::vector<std::size_t> places;
    for (std::size_t at = 0; at + kSize <= recorded.size(); at += kSize) {
        double best = 255;
        std::size_t place = 0;
        for (std::size_t other = 0; other + kSize <= original.size(); other += kSize) {
            double sum = 0;
            for (std::size_t i = 0; i < kSize; ++i) {
                sum += std::abs(static_cast<std::uint8_t>(recorded[at + i]) -
                                static_cast<std::uint8_t>(original[other + i]));
            }
            if (sum / kSize < best) {
                best = sum / kSize;
                place = other / kSize;
            }
        }
        // GStreamer's conversion to RGB darkens by three.
        EXPECT_LT(best, 5) << "picture " << at / kSize;
        places.push_back(place);
    }
    ASSERT_GE(places.size(), 35U);
    EXPECT_TRUE(std::is_sorted(places.begin(), places.end())) << "they walk, and forwards";
    EXPECT_NEAR(static_cast<double>(places.back() - places.front()),
                static_cast<double>(places.size()), 8);
}

TEST_F(RecordingTest, SpeechIsUnderstoodInTheMovieAndLive) {
    const std::string file = program.home() / "speech.wav";
    if (std::system(("espeak-ng -s 160 -w '" + file +
                     "' 'The blue van has been standing at the gate since noon.'")
                        .c_str()) != 0) {
        GTEST_SKIP() << "NOT TESTED: espeak-ng is missing";
    }
    start("\"v|Cam|videotestsrc is-live=true ! video/x-raw,framerate=20/1\", a|Talk|file://" +
          file);
    const auto one = viewer();
    one->send("Audio,1\n");
    const auto spoken = MovieProbe(file).sound();
    const auto sentence = static_cast<double>(spoken.size()) / kSoundRate;
    ASSERT_GT(sentence, 2.0);
    record(*one, static_cast<int>(kRate * (2 * sentence + 0.5)));
    one->send("Record,N\n");
    ASSERT_TRUE(waitForKept());
    ASSERT_TRUE(eventually(
        [&] { return static_cast<double>(heardBy(*one).samples) / 8000 > 2 * sentence; }, 20s));

    const auto wanted = envelopeOf(spoken, kSoundRate);
    const MovieProbe movie(kept().front());
    const Found recorded = findEnvelope(wanted, envelopeOf(movie.sound(), kSoundRate));
    EXPECT_GT(recorded.correlation, 0.95) << "at " << recorded.where;
    const auto samples = sound::decodeAac(heardBy(*one).packets);
    const Found live = findEnvelope(wanted, envelopeOf(samples, 8000));
    EXPECT_GT(live.correlation, 0.95) << "at " << live.where;
    std::cout << "speech: recorded " << recorded.correlation << ", live " << live.correlation
              << "\n";
}

TEST_F(RecordingTest, RecordTwiceIsOneRecording) {
    startWithFilm(20);
    const auto one = viewer();
    const auto other = viewer();
    ASSERT_TRUE(one->waitForMore(Kind::Picture));
    one->send("Record,Y\n");
    ASSERT_TRUE(eventually([&] { return began() == 1; }));
    one->send("Record,1\n");
    other->send("Record,true\n");
    ASSERT_TRUE(one->finish() && other->finish());
    EXPECT_EQ(temporary().size(), 1U);
    EXPECT_EQ(began(), 1);

    ASSERT_TRUE(one->waitForMore(Kind::Picture, 30));
    other->send("Record,N\nRecord,N\n");
    one->send("Record,0\n");
    EXPECT_TRUE(waitForKept(1));
    EXPECT_EQ(began(), 1);
    EXPECT_GT(MovieProbe(kept().front()).duration(), 1);
}

TEST_F(RecordingTest, FlagIsReadAsABoolean) {
    startWithFilm(20);
    const auto one = viewer();
    ASSERT_TRUE(one->waitForMore(Kind::Picture));
    for (const char* off : {"", "N", "n", "0", "false", "off", "-", "00", "x1"}) {
        one->send(std::string("Record,") + off + "\n");
    }
    ASSERT_TRUE(one->finish());
    EXPECT_EQ(temporary().size(), 0U);
    EXPECT_EQ(began(), 0);
    int recordings = 0;
    for (const char* on : {"y", "t", "9"}) {
        one->send(std::string("Record,") + on + "\n");
        ++recordings;
        EXPECT_TRUE(eventually([&] { return began() == recordings; })) << on;
        one->send("Record,nothing\n");
        EXPECT_TRUE(eventually([&] { return countIn(program.log(), "Recorded:\n") == recordings; }))
            << on;
        ASSERT_TRUE(eventually([&] { return temporary().empty() || kept().size() == 1; }));
        // The next one must end in another second, or it keeps its temporary name.
        const auto now = std::time(nullptr);
        ASSERT_TRUE(eventually([&] { return std::time(nullptr) > now; }));
    }
}

TEST_F(RecordingTest, ViewerThatGoesAwayEndsIt) {
    startWithFilm(20);
    const auto one = viewer();
    const auto other = viewer();
    ASSERT_TRUE(other->waitForMore(Kind::Picture));
    record(*one, 20);

    other->leave();
    EXPECT_TRUE(waitForKept());
    EXPECT_EQ(MovieProbe(kept().front()).complaints(), "");
}

TEST_F(RecordingTest, OtherSourceInTheMiddleIsRecordedOn) {
    start("\"v|White|videotestsrc is-live=true pattern=white ! video/x-raw,framerate=20/1\", "
          "\"v|Black|videotestsrc is-live=true pattern=black ! video/x-raw,framerate=20/1\", "
          "\"a|Hum|audiotestsrc is-live=true\"");
    const auto one = viewer();
    ASSERT_TRUE(one->waitForMore(Kind::Picture));
    record(*one, 40);
    one->send("Start,Black|\n");
    ASSERT_TRUE(one->finish());
    ASSERT_TRUE(one->waitForMore(Kind::Picture, 40));
    one->send("Record,N\n");
    ASSERT_TRUE(waitForKept(1));

    const MovieProbe movie(kept().front());
    EXPECT_EQ(movie.complaints(), "");
    const auto pictures = movie.pictures();
    const auto change = std::find_if(pictures.begin(), pictures.end(),
                                     [](const auto& picture) { return picture.number == 0; });
    ASSERT_NE(change, pictures.end()) << "black is seen";
    EXPECT_GT(change - pictures.begin(), 30) << "behind white";
    EXPECT_GT(pictures.end() - change, 30);
    EXPECT_TRUE(std::all_of(pictures.begin(), change,
                            [](const auto& picture) { return picture.number == 0xffff; }));
    EXPECT_TRUE(std::all_of(change, pictures.end(),
                            [](const auto& picture) { return picture.number == 0; }));
    EXPECT_GT(movie.duration(), 3.8);
    EXPECT_NEAR(movie.duration("a:0"), movie.duration("v:0"), 0.3);
}

TEST_F(RecordingTest, CameraThatEndsInTheMiddleLeavesAMovieWithTheRest) {
    start("\"v|Short|videotestsrc is-live=true pattern=white num-buffers=70 ! "
          "video/x-raw,framerate=20/1\", \"a|Hum|audiotestsrc is-live=true\"");
    const auto one = viewer();
    one->send("Record,Y\n");
    ASSERT_TRUE(eventually([&] { return began() == 1; }));
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(eventually(
        [&] { return countIn(program.log(), "Capture device ended: Short") == 1; }, 15s));
    const auto end = std::chrono::steady_clock::now() + 1s;
    ASSERT_TRUE(eventually([&] { return std::chrono::steady_clock::now() > end; }));
    one->send("Record,N\n");
    const double taken = seconds(std::chrono::steady_clock::now() - begin);
    ASSERT_TRUE(waitForKept());

    const MovieProbe movie(kept().front());
    EXPECT_EQ(movie.complaints(), "");
    EXPECT_NEAR(movie.duration(), taken, 0.6) << "the sound goes on";
    EXPECT_GT(movie.pictures().size(), 40U);
}

TEST_F(RecordingTest, KilledProgramLeavesAMovieThatPlays) {
    startWithFilm();
    const auto one = viewer();
    ASSERT_TRUE(one->waitForMore(Kind::Picture));
    record(*one, 140);

    program.signal(SIGKILL);
    ASSERT_EQ(program.waitForExit(3s), -SIGKILL);
    ASSERT_EQ(temporary().size(), 1U);
    EXPECT_TRUE(kept().empty());
    const MovieProbe movie(temporary().front());
    EXPECT_GT(expectPicturesOfFilm(movie), 60U) << "all but the last few seconds";
    EXPECT_GT(movie.sound().size(), 3U * kSoundRate);
}

TEST_F(RecordingTest, EndOfTheProgramFinishesTheMovie) {
    startWithFilm();
    const auto one = viewer();
    ASSERT_TRUE(one->waitForMore(Kind::Picture));
    const auto begin = std::chrono::steady_clock::now();
    record(*one, 60);
    const double taken = seconds(std::chrono::steady_clock::now() - begin);

    EXPECT_EQ(program.terminate(), 0) << program.output();
    EXPECT_TRUE(temporary().empty());
    ASSERT_EQ(kept().size(), 1U);
    const MovieProbe movie(kept().front());
    EXPECT_EQ(movie.complaints(), "");
    EXPECT_NEAR(movie.duration(), taken, 0.5);
    EXPECT_GT(expectPicturesOfFilm(movie), 50U);
}

TEST_F(RecordingTest, FullDiskEndsTheMovieAndNothingElse) {
    // This thread and what it starts from now on see mounts that nobody else sees.
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", (program.home() / "tmp").c_str(), "tmpfs", 0, "size=1m,mode=700") != 0) {
        ASSERT_EQ(std::getenv("OVELO_REQUIRE_SANDBOX"), nullptr) << std::strerror(errno);
        GTEST_SKIP() << "NOT TESTED: no small disk can be had";
    }
    start("\"v|Snow|videotestsrc is-live=true pattern=snow ! video/x-raw,framerate=20/1\", "
          "\"a|Hum|audiotestsrc is-live=true\"");
    const auto one = viewer();
    ASSERT_TRUE(one->waitForMore(Kind::Picture));
    one->send("Record,Y\n");
    ASSERT_TRUE(eventually([&] { return began() == 1; }));
    EXPECT_TRUE(eventually([&] { return countIn(program.log(), "Recorded:\n") == 1; }, 20s))
        << program.log();

    EXPECT_TRUE(one->waitForMore(Kind::Picture, 20)) << "viewers go on";
    ASSERT_EQ(temporary().size(), 1U);
    EXPECT_TRUE(kept().empty());
    EXPECT_GT(MovieProbe(temporary().front()).pictures().size(), 20U) << "what found room plays";
    EXPECT_EQ(one->ask("Record,N\nRecord,Y\nGetRecorded,\n", "RECORDED_LIST"), "RECORDED_LIST");
    EXPECT_EQ(began(), 1) << "it stays with the one that failed";
    EXPECT_EQ(program.terminate(), 0) << program.output();
    ::umount2((program.home() / "tmp").c_str(), MNT_DETACH);
}

TEST_F(RecordingTest, WithoutADocumentsFolderMoviesStayInTheTemporaryOne) {
    writeFile(program.home() / "Documents", "a file where the folder should be");
    startWithFilm(20);
    const auto one = viewer();
    ASSERT_TRUE(one->waitForMore(Kind::Picture));
    one->send("Record,Y\n");
    ASSERT_TRUE(one->waitForMore(Kind::Picture, 40));
    one->send("Record,N\n");

    EXPECT_EQ(one->ask("GetRecorded,\n", "RECORDED_LIST"), "RECORDED_LIST");
    ASSERT_EQ(temporary().size(), 1U);
    const MovieProbe movie(temporary().front());
    EXPECT_TRUE(eventually([&] { return movie.duration() > 1.5 && movie.complaints().empty(); }));
    one->send("Record,Y\n");
    EXPECT_TRUE(eventually([&] { return temporary().size() == 2; })) << "and another";
}

TEST_F(RecordingTest, TenThousandRecordingsAreListed) {
    constexpr int kMany = 10000;
    const auto folder = program.home() / "Documents" / "Ovelo";
    std::filesystem::create_directories(folder);
    for (int index = 0; index < kMany; ++index) {
        writeFile(folder / ("Ovelo_2024010100" + std::to_string(10000 + index) + ".mov"), "");
    }
    start("\"v|Cam|videotestsrc is-live=true\"");
    const auto one = viewer();
    ASSERT_TRUE(one->waitForMore(Kind::Picture));
    const auto begin = std::chrono::steady_clock::now();
    const std::string line = one->ask("GetRecorded,\n", "RECORDED_LIST");
    std::cout << "10000 recordings: " << line.size() << " bytes after "
              << seconds(std::chrono::steady_clock::now() - begin) * 1000 << " ms\n";

    EXPECT_EQ(countIn(line, ",-Ovelo_2024010100"), kMany);
    EXPECT_EQ(countIn(line, ".mov-20"), kMany);
    EXPECT_TRUE(one->waitForMore(Kind::Picture, 3)) << "the session goes on";
}

TEST_F(RecordingTest, OddNamesAreListedAsTheyAreOrNotAtAll) {
    const auto folder = program.home() / "Documents" / "Ovelo";
    std::filesystem::create_directories(folder);
    const std::vector<std::string> listed = {"a,b.mov", "a-b.mov", "two  blanks .mov",
                                             "Ünï 映画.mov", ",-x.mov-20240101000000,-y.mov"};
    for (const auto& name : listed) {
        writeFile(folder / name, "");
    }
    for (const char* name : {"line\nfeed.mov", "return\r.mov", "no utf-8 \xff\xfe.mov", ".mov"}) {
        writeFile(folder / name, "");
    }
    start("\"v|Cam|videotestsrc is-live=true\"");
    const auto one = viewer();
    const std::string line = one->ask("GetRecorded,\n", "RECORDED_LIST");

    std::size_t length = std::string("RECORDED_LIST").size();
    for (const auto& name : listed) {
        EXPECT_EQ(countIn(line, ",-" + name + "-20"), 1) << line;
        length += 2 + name.size() + 1 + 14;
    }
    EXPECT_EQ(line.size(), length) << "nothing else: " << line;
    EXPECT_TRUE(one->finish());
}

TEST_F(RecordingTest, SettingChoosesTheOtherCodec) {
    program.setting("movieCodec=mpeg4");
    startWithFilm(20);
    const auto one = viewer();
    ASSERT_TRUE(one->waitForMore(Kind::Picture));
    record(*one, 40);
    one->send("Record,N\n");
    ASSERT_TRUE(waitForKept());

    const MovieProbe movie(kept().front());
    EXPECT_EQ(movie.codecs(), (std::vector<std::string>{"mpeg4", "aac"}));
    EXPECT_EQ(movie.complaints(), "");
    EXPECT_GT(expectPicturesOfFilm(movie), 30U);
}

} // namespace
} // namespace ovelo
