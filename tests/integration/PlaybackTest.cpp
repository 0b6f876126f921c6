// Recordings that viewers have played to them, through the whole program.

#include "fakes/Eventually.h"
#include "fakes/MovieProbe.h"
#include "integration/Films.h"
#include "integration/Program.h"
#include "integration/Recordings.h"
#include "integration/WatchingViewer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>
#include <memory>
#include <random>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using Kind = WatchingViewer::Kind;
using Item = WatchingViewer::Item;
using Clock = WatchingViewer::Clock;

constexpr const char* kFootage = "/usr/share/doc/opencv-doc/examples/data/vtest.avi";
constexpr const char* kDone = "PLAYBACK_DONE";
constexpr const char* kReading = "Sync,-0.001\nFrameRate,100\n";
constexpr int kLive = 0xffff; // what the live camera shows, read as a number

class PlaybackTest : public ::testing::Test {
protected:
    PlaybackTest() { std::filesystem::create_directories(folder()); }

    [[nodiscard]] std::filesystem::path folder() const {
        return program.home() / "Documents" / "Ovelo";
    }
    /// A camera that shows white for ever; movies show anything else.
    void start(const std::string& sources =
                   "\"v|White|videotestsrc is-live=true pattern=white ! "
                   "video/x-raw,framerate=20/1\", \"a|Hum|audiotestsrc is-live=true\"") {
        program.setting("captureSources=" + sources);
        program.start();
        ASSERT_TRUE(program.waitUntilListening()) << program.output();
    }
    void makeMovie(const std::string& name, int pictures, int rate,
                   const std::string& options = films::kQuickH264) {
        ASSERT_TRUE(films::make(folder() / name, pictures, rate, options));
    }
    std::unique_ptr<WatchingViewer> viewer(const std::string& first = kReading) const {
        return std::make_unique<WatchingViewer>(program.port(), first);
    }

    struct Shown {
        int number;
        Clock::time_point when;
    };
    static std::vector<Shown> shownIn(const std::vector<Item>& items) {
        std::vector<Shown> shown;
        for (const Item& item : items) {
            if (item.kind == Kind::Picture) {
                shown.push_back({films::numberIn(WatchingViewer::imageOf(item)), item.when});
            }
        }
        return shown;
    }
    /// What a viewer saw until the line that ends a playback, but for the live pictures before.
    static std::vector<Shown> playedTo(const WatchingViewer& one) {
        auto items = one.items();
        const auto done = std::find_if(items.begin(), items.end(),
                                       [](const Item& item) { return item.content == kDone; });
        EXPECT_NE(done, items.end());
        items.erase(done, items.end());
        auto shown = shownIn(items);
        shown.erase(shown.begin(), std::find_if(shown.begin(), shown.end(), [](const Shown& first) {
                        return first.number != kLive;
                    }));
        return shown;
    }
    /// Each picture came when it was its turn, and nothing else did.
    static void expectRealTime(const std::vector<Shown>& shown, double rate, double length) {
        ASSERT_GT(static_cast<double>(shown.size()), 4 * length);
        EXPECT_LE(static_cast<double>(shown.size()), 20 * length + 1);
        std::size_t inTime = 0;
        for (const auto& [number, when] : shown) {
            EXPECT_NE(number, kLive) << "live pictures pause";
            EXPECT_GE(number, 0) << "not one of the movie's";
            const double due = std::chrono::duration<double>(when - shown.front().when).count();
            const double at = (number - shown.front().number) / rate;
            EXPECT_NEAR(at, due, 0.5);
            inTime += std::abs(at - due) < 0.12 ? 1 : 0;
        }
        EXPECT_GT(inTime, shown.size() * 8 / 10);
        EXPECT_TRUE(std::is_sorted(shown.begin(), shown.end(), [](const auto& a, const auto& b) {
            return a.number < b.number;
        }));
        EXPECT_LT(shown.front().number / rate, 0.3);
        EXPECT_GT(shown.back().number / rate, length - 0.3);
    }
    /// The numbers of the pictures that come from now on.
    static std::vector<int> numbersNow(const WatchingViewer& one, std::size_t count) {
        const std::size_t before = one.count(Kind::Picture);
        EXPECT_TRUE(one.waitForMore(Kind::Picture, count));
        const auto pictures = one.items(Kind::Picture);
        std::vector<int> numbers;
        for (std::size_t i = before; i < pictures.size(); ++i) {
            numbers.push_back(films::numberIn(WatchingViewer::imageOf(pictures[i])));
        }
        return numbers;
    }
    static bool showsLive(const WatchingViewer& one) {
        return eventually([&] { return numbersNow(one, 1).back() == kLive; });
    }
    void expectPlayedInRealTime(const std::string& name, double rate, double length) {
        start();
        const auto one = viewer();
        ASSERT_TRUE(one->waitForMore(Kind::Picture)) << one->texts() << program.log();
        one->send("Playback," + name + "\n");
        ASSERT_TRUE(one->waitForText(kDone, 1, 20s)) << program.log();
        expectRealTime(playedTo(*one), rate, length);
        EXPECT_TRUE(showsLive(*one));
        EXPECT_EQ(one->countOfTexts(kDone), 1U);
    }
    void TearDown() override {
        if (program.pid() > 0 && program.isRunning()) {
            EXPECT_EQ(program.terminate(), 0) << program.output();
        }
    }

    Program program;
};

TEST_F(PlaybackTest, RecordedStreetIsSeenAgainAsItWasRecorded) {
    if (!std::filesystem::exists(kFootage)) {
        GTEST_SKIP() << "NOT TESTED: package opencv-doc is missing";
    }
    start(std::string("v|Street|file://") + kFootage);
    const auto one = viewer();
    ASSERT_TRUE(one->waitForMore(Kind::Picture));
    one->send("Record,Y\n");
    ASSERT_TRUE(one->waitForMore(Kind::Picture, 30));
    one->send("Record,N\n");
    ASSERT_TRUE(eventually([&] { return moviesIn(folder()).size() == 1; }));
    const auto file = moviesIn(folder()).front();
    const std::string list = one->ask("GetRecorded,\n", "RECORDED_LIST");
    ASSERT_NE(list.find(",-" + file.filename().string() + "-"), std::string::npos);

    one->ask("Playback," + file.filename().string() + "\nGetSources,\n", "DATA_SOURCE");
    const std::size_t begin = one->items().size();
    ASSERT_TRUE(one->waitForText(kDone, 1, 20s));
    const std::string recorded = MovieProbe::output("ffmpeg -v error -i " + file.string() +
                                                    " -fps_mode passthrough -enc_time_base -1 "
                                                    "-f rawvideo -pix_fmt gray -");
    constexpr std::size_t kSize = 320 * 240;
    std::vector<std::size_t> places;
    const auto items = one->items();
    for (std::size_t index = begin; index < items.size() && items[index].content != kDone;
         ++index) {
        if (items[index].kind != Kind::Picture) {
            continue;
        }
        const QImage picture =
            WatchingViewer::imageOf(items[index]).convertToFormat(QImage::Format_Grayscale8);
        double best = 255;
        std::size_t place = 0;
        for (std::size_t at = 0; at + kSize <= recorded.size(); at += kSize) {
            double sum = 0;
            for (std::size_t i = 0; i < kSize; i += 7) {
                sum +=
                    std::abs(picture.constBits()[i] - static_cast<std::uint8_t>(recorded[at + i]));
            }
            if (sum * 7 / kSize < best) {
                best = sum * 7 / kSize;
                place = at / kSize;
            }
        }
        // GStreamer's conversion to RGB darkens by three.
        EXPECT_LT(best, 6.5) << "picture " << places.size();
        places.push_back(place);
    }
    ASSERT_GT(places.size(), 25U);
    EXPECT_TRUE(std::is_sorted(places.begin() + 1, places.end()));
    EXPECT_LT(places[1], 4U) << "from the beginning";
    EXPECT_GT(places.back() + 5, recorded.size() / kSize) << "to the end";
}

TEST_F(PlaybackTest, MovieIsPlayedAsFastAsTheWorld) {
    makeMovie("a, b-c.mov", 75, 15);
    expectPlayedInRealTime("a, b-c.mov", 15, 5);
}

TEST_F(PlaybackTest, LargeMovieIsPlayedAsFastAsTheWorld) {
    makeMovie("large.mov", 90, 30,
              "-f lavfi -i sine=duration=3 -vf scale=1920:1080:flags=neighbor -c:v libx264 "
              "-preset ultrafast -g 30 -pix_fmt yuv420p -c:a aac");
    expectPlayedInRealTime("large.mov", 30, 3);
}

TEST_F(PlaybackTest, MotionJpegIsPlayedAsFastAsTheWorld) {
    // See LeakCheckWithoutTls.cpp: here the program itself would crash at its end.
    program.variable("ASAN_OPTIONS=detect_leaks=0");
    makeMovie("jpeg.mov", 60, 20, "-c:v mjpeg -q:v 3 -pix_fmt yuvj420p");
    expectPlayedInRealTime("jpeg.mov", 20, 3);
}

TEST_F(PlaybackTest, EndIsToldToAllWhoAreLetInAndToNobodyElse) {
    program.setting("password=secret");
    makeMovie("a.mov", 30, 15);
    start();
    const auto player = viewer(std::string(kReading) + "Password,secret\nStart,\n");
    ASSERT_TRUE(player->waitForMore(Kind::Picture));
    const auto watcher = viewer(std::string(kReading) + "Password,secret\nStart,\n");
    ASSERT_TRUE(watcher->waitForMore(Kind::Picture));
    const auto stopped = viewer(std::string(kReading) + "Password,secret\n");
    ASSERT_TRUE(stopped->waitForText("VERSION"));
    const auto stranger = viewer();
    ASSERT_TRUE(stranger->waitForText("CONNECTED,PASS"));

    player->send("Playback,a.mov\n");
    for (const auto* one : {player.get(), watcher.get(), stopped.get()}) {
        EXPECT_TRUE(one->waitForText(kDone, 1, 10s));
    }
    expectRealTime(playedTo(*player), 15, 2);
    expectRealTime(playedTo(*watcher), 15, 2);
    EXPECT_EQ(stopped->count(Kind::Picture), 0U);
    EXPECT_TRUE(showsLive(*watcher));
    EXPECT_EQ(stranger->texts(), "CONNECTED,PASS\n");
    EXPECT_EQ(stranger->count(Kind::Picture), 0U);
}

TEST_F(PlaybackTest, PlaybackStartsThePicturesOfWhoHadStopped) {
    makeMovie("a.mov", 15, 15);
    start();
    const auto one = viewer(std::string(kReading) + "Stop,\n");
    ASSERT_TRUE(one->finish());
    const std::size_t before = one->count(Kind::Picture);
    ASSERT_TRUE(one->staysWithout(Kind::Picture, 500ms)) << before;

    one->send("Playback,a.mov\n");
    EXPECT_TRUE(one->waitForText(kDone));
    EXPECT_GT(one->count(Kind::Picture), before + 5);
    EXPECT_TRUE(showsLive(*one));
}

TEST_F(PlaybackTest, PicturesAreTurnedAsSetAndNothingElse) {
    // Black, with a red quarter at the top left.
    makeMovie("red.mov", 600, 15,
              "-vf drawbox=w=320:h=240:color=black:t=fill,drawbox=w=160:h=120:color=red:t=fill "
              "-c:v libx264 -preset ultrafast -pix_fmt yuv420p");
    start();
    const auto one = viewer();
    one->send("Playback,red.mov\n");
    ASSERT_TRUE(eventually([&] { return numbersNow(*one, 1).back() != kLive; }));
    const auto redIn = [](const QImage& picture) {
        std::string places;
        for (const auto& [x, y] : {std::pair(100, 60), {220, 60}, {100, 180}, {220, 180}}) {
            const QRgb seen = picture.isNull() ? 0 : picture.pixel(x, y);
            const bool dark = qRed(seen) < 30 && qGreen(seen) < 30 && qBlue(seen) < 30;
            places += qRed(seen) > 180 && qGreen(seen) < 60 ? 'r' : dark ? '.' : '?';
        }
        return places;
    };
    struct Row {
        const char* command;
        const char* places;
    };
    const QImage plain = one->pictureNow();
    for (const Row& row :
         {Row{"", "r..."}, Row{"WebcamConfig,FV\n", ".r.."}, Row{"WebcamConfig,FH\n", "...r"},
          Row{"WebcamConfig,FV\n", "..r."}, Row{"WebcamConfig,FH\n", "r..."},
          Row{"WebcamConfig,RC\n", ".r.."}, Row{"WebcamConfig,RC\n", "...r"},
          Row{"WebcamConfig,RCC\n", ".r.."}, Row{"WebcamConfig,RCC\n", "r..."}}) {
        one->send(row.command);
        EXPECT_EQ(redIn(one->pictureNow()), row.places) << row.command;
    }
    one->send("NightVision,1\nWebcamConfig,SD\nWebcamConfig,ST\n");
    const QImage picture = one->pictureNow();
    int others = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QRgb left = picture.pixel(x, y);
            const QRgb right = plain.pixel(x, y);
            others += std::abs(qRed(left) - qRed(right)) > 24 ||
                              std::abs(qGreen(left) - qGreen(right)) > 24
                          ? 1
                          : 0;
        }
    }
    EXPECT_EQ(others, 0) << "neither texts nor night vision";
    EXPECT_EQ(one->countOfTexts(kDone), 0U) << "it was the movie all the time";
}

TEST_F(PlaybackTest, NamesOfNoMovieEndAtOnce) {
    makeMovie("../outside.mov", 30, 15);
    makeMovie("sound.mov", 1, 1, "-f lavfi -i sine=duration=2 -map 1:a -c:a aac");
    writeFile(folder() / "empty.mov", "");
    writeFile(folder() / "text.mov", "This is no movie.\n");
    std::string garbage;
    std::mt19937 random(1);
    for (int i = 0; i < 200000; ++i) {
        garbage += static_cast<char>(random());
    }
    writeFile(folder() / "garbage.mov", garbage);
    writeFile(folder() / "head.mov",
              std::string("\0\0\0\x14", 4) + "ftypqt  " + std::string(4, '\0') + "qt  " + garbage);
    std::filesystem::create_directory(folder() / "folder.mov");
    start();
    const auto one = viewer();
    ASSERT_TRUE(one->waitForMore(Kind::Picture));

    std::size_t ends = 0;
    for (const std::string& name :
         {std::string("missing.mov"), std::string("empty.mov"), std::string("text.mov"),
          std::string("garbage.mov"), std::string("head.mov"), std::string("sound.mov"),
          std::string("folder.mov"), std::string("../outside.mov"), std::string("../Ovelo/a.mov"),
          std::string("/etc/passwd"), std::string(""), std::string("."), std::string(".."),
          std::string(1500, 'n')}) {
        const auto begin = Clock::now();
        one->send("Playback," + name + "\n");
        ++ends;
        EXPECT_TRUE(one->waitForText(kDone, ends)) << name;
        EXPECT_LT(Clock::now() - begin, 3s) << name;
    }
    EXPECT_TRUE(showsLive(*one));
    for (const auto& shown : shownIn(one->items())) {
        EXPECT_EQ(shown.number, kLive);
    }
    EXPECT_EQ(one->countOfTexts(kDone), ends);
}

TEST_F(PlaybackTest, SecondOneReplacesTheFirstWithoutAWord) {
    makeMovie("first.mov", 150, 15);
    makeMovie("second.mov", 30, 15, "-vf negate " + films::kQuickH264);
    start();
    const auto one = viewer();
    const auto other = viewer();
    ASSERT_TRUE(other->waitForMore(Kind::Picture));
    one->send("Playback,first.mov\n");
    ASSERT_TRUE(eventually([&] { return numbersNow(*one, 1).back() < 1000; }));
    ASSERT_TRUE(one->waitForMore(Kind::Picture, 10));

    other->send("Playback,second.mov\n");
    ASSERT_TRUE(other->finish());
    for (const int number : numbersNow(*one, 10)) {
        EXPECT_GT(number, 0xffff - 1000) << "the second one's";
    }
    EXPECT_EQ(one->countOfTexts(kDone), 0U);
    EXPECT_TRUE(one->waitForText(kDone));
    EXPECT_TRUE(showsLive(*one));
    EXPECT_EQ(one->countOfTexts(kDone), 1U);
    EXPECT_EQ(other->countOfTexts(kDone), 1U);
}

TEST_F(PlaybackTest, StartGoesBackToLivePicturesWithoutAWord) {
    makeMovie("a.mov", 300, 15);
    start();
    const auto one = viewer();
    const auto other = viewer();
    one->send("Playback,a.mov\n");
    ASSERT_TRUE(eventually([&] { return numbersNow(*one, 1).back() < 1000; }));

    other->send("Start,\n");
    ASSERT_TRUE(other->finish());
    EXPECT_TRUE(showsLive(*one));
    for (const int number : numbersNow(*one, 10)) {
        EXPECT_EQ(number, kLive);
    }
    EXPECT_EQ(one->countOfTexts(kDone) + other->countOfTexts(kDone), 0U);
}

TEST_F(PlaybackTest, ViewerThatGoesAwayEndsIt) {
    makeMovie("a.mov", 300, 15);
    start();
    const auto one = viewer();
    const auto other = viewer();
    one->send("Playback,a.mov\n");
    ASSERT_TRUE(eventually([&] { return numbersNow(*other, 1).back() < 1000; }));

    one->leave();
    EXPECT_TRUE(showsLive(*other));
    EXPECT_EQ(other->countOfTexts(kDone), 0U);
}

TEST_F(PlaybackTest, ProgramEndsInTheMiddle) {
    makeMovie("a.mov", 300, 15);
    start();
    const auto one = viewer();
    one->send("Playback,a.mov\n");
    ASSERT_TRUE(eventually([&] { return numbersNow(*one, 1).back() < 1000; }));

    EXPECT_EQ(program.terminate(), 0) << program.output();
    EXPECT_EQ(one->countOfTexts(kDone), 0U);
}

TEST_F(PlaybackTest, FourViewersWhoRecordAndPlayAtRandomBreakNothing) {
    makeMovie("long.mov", 150, 15);
    makeMovie("short.mov", 5, 15);
    writeFile(folder() / "text.mov", "This is no movie.\n");
    start();
    const auto seed = std::random_device()();
    std::cout << "seed " << seed << "\n";
    std::mt19937 random(seed);
    std::vector<std::unique_ptr<WatchingViewer>> viewers;
    for (int index = 0; index < 4; ++index) {
        viewers.push_back(viewer());
    }
    constexpr std::array<const char*, 12> kCommands = {"Record,Y\n",
                                                       "Record,N\n",
                                                       "Record,Y\n",
                                                       "Record,N\n",
                                                       "Playback,long.mov\n",
                                                       "Playback,short.mov\n",
                                                       "Playback,text.mov\n",
                                                       "Playback,missing.mov\n",
                                                       "Start,\n",
                                                       "Start,White|Hum\n",
                                                       "Stop,\nGetRecorded,\n",
                                                       "Audio,1\nNightVision,0\n"};
    const auto end = Clock::now() + 6s;
    while (Clock::now() < end) {
        auto& one = viewers[random() % viewers.size()];
        if (random() % 40 == 0) { // the way of the world: one goes and another comes
            one = viewer();
        }
        one->send(kCommands.at(random() % kCommands.size()));
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 60));
    }
    for (const auto& one : viewers) {
        one->send("Record,N\nStart,White|Hum\n");
        ASSERT_TRUE(one->finish()) << program.log();
    }

    for (const auto& one : viewers) {
        EXPECT_TRUE(showsLive(*one));
    }
    const std::size_t ends = viewers[0]->countOfTexts(kDone);
    viewers[1]->send("Playback,short.mov\n");
    EXPECT_TRUE(viewers[0]->waitForText(kDone, ends + 1));
    const auto movies = [&] { return moviesIn(program.home() / "tmp").size(); };
    const auto all = [&] { return moviesIn(folder()).size() + movies(); };
    ASSERT_TRUE(eventually([&] { return program.log().find("Recorded:\n") != std::string::npos; }))
        << "some were recorded";
    // Nothing is being recorded any more when another one can be.
    const std::size_t before = all();
    EXPECT_TRUE(eventually([&] {
        viewers[2]->send("Record,Y\n");
        return viewers[2]->finish() && all() > before;
    }));
    viewers[2]->send("Record,N\n");
    ASSERT_TRUE(viewers[2]->finish());
    viewers.clear();
    EXPECT_EQ(program.terminate(), 0) << program.output();
    for (const auto& file : moviesIn(folder())) {
        if (file.filename().string().starts_with("Ovelo_")) {
            EXPECT_EQ(MovieProbe(file).complaints(), "") << file;
            EXPECT_GT(MovieProbe(file).duration(), 0) << file;
        }
    }
}

} // namespace
} // namespace ovelo
