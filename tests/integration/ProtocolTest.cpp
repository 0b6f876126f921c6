// Every command of the protocol, over TCP, through the whole program.

#include "fakes/Eventually.h"
#include "integration/Films.h"
#include "integration/Program.h"
#include "integration/WatchingViewer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using Kind = WatchingViewer::Kind;
using Clock = WatchingViewer::Clock;

constexpr const char* kVersion = "VERSION,1.000000,Low,0,0,0\n";

/// The colours of a picture's quarters: top left, top right, bottom left, bottom right.
std::string quartersOf(const QImage& picture) {
    std::string names;
    for (const auto& [x, y] : {std::pair(100, 60), {220, 60}, {100, 180}, {220, 180}}) {
        const QRgb seen = picture.isNull() ? 0xffffffff : picture.pixel(x, y);
        const bool red = qRed(seen) > 140;
        const bool green = qGreen(seen) > 140;
        const bool blue = qBlue(seen) > 140;
        names += red && green && blue ? 'w' : red ? 'r' : green ? 'g' : blue ? 'b' : '-';
    }
    return names;
}

class ProtocolTest : public ::testing::Test {
protected:
    /// Two cameras and a microphone.
    void start(const std::string& settings = "") {
        QImage quarters(320, 240, QImage::Format_RGB32);
        for (int y = 0; y < 240; ++y) {
            for (int x = 0; x < 320; ++x) {
                quarters.setPixel(x, y,
                                  y < 120 ? (x < 160 ? 0xffe00000 : 0xff00d000)
                                          : (x < 160 ? 0xff0000f0 : 0xffffffff));
            }
        }
        const std::string file = program.home() / "quarters.png";
        quarters.save(QString::fromStdString(file));
        program.setting("captureSources=\"v|Quarters|filesrc location=" + file +
                        " ! pngdec ! imagefreeze is-live=true ! video/x-raw,framerate=30/1\", "
                        "\"v|Blue|videotestsrc is-live=true pattern=blue ! "
                        "video/x-raw,framerate=30/1\", \"a|Hum|audiotestsrc is-live=true\"");
        if (!settings.empty()) {
            program.setting(settings);
        }
        program.start();
        ASSERT_TRUE(program.waitUntilListening()) << program.output();
    }
    std::unique_ptr<WatchingViewer>
    viewer(const std::string& first = "Sync,-0.001\nFrameRate,100\n") const {
        return std::make_unique<WatchingViewer>(program.port(), first);
    }
    void expectStored(const std::string& key, const std::string& value) const {
        EXPECT_TRUE(eventually([&] { return program.stored(key) == value; }))
            << key << " is " << program.stored(key) << " and not " << value;
    }
    [[nodiscard]] bool hasLogged(const std::string& text) const {
        return eventually([&] { return program.log().find(text) != std::string::npos; });
    }
    void TearDown() override {
        if (program.pid() > 0) {
            EXPECT_EQ(program.terminate(), 0) << program.output();
        }
    }

    Program program;
};

TEST_F(ProtocolTest, PasswordOpensTheSessionAndStopsItsPictures) {
    start("password=\"pass,word\"");
    const auto peer = viewer();
    ASSERT_TRUE(peer->waitForText("CONNECTED,PASS"));
    EXPECT_EQ(peer->ask("Password,pass\n", "AUTH_"), "AUTH_FALLED") << "a comma belongs to it";
    EXPECT_EQ(peer->ask("Password,pass,word\r\n", "AUTH_"), "AUTH_FALLED");
    EXPECT_EQ(peer->ask("Password,Pass,word\n", "AUTH_"), "AUTH_FALLED");
    EXPECT_EQ(peer->ask("Password,\n", "AUTH_"), "AUTH_FALLED");
    peer->send("Start,\n");
    EXPECT_TRUE(peer->staysWithout(Kind::Picture, 500ms)) << "started but not let in";

    EXPECT_EQ(peer->ask("Password,pass,word\n", "VERSION") + "\n", kVersion);
    EXPECT_TRUE(peer->texts().ends_with(std::string("AUTH_OK\n") + kVersion)) << peer->texts();
    EXPECT_TRUE(peer->staysWithout(Kind::Picture, 500ms)) << "let in but not started";
    peer->send("Start,\n");
    EXPECT_TRUE(peer->waitForMore(Kind::Picture));

    EXPECT_EQ(peer->ask("Password,pass,word\n", "VERSION") + "\n", kVersion);
    EXPECT_TRUE(peer->finish());
    EXPECT_TRUE(peer->staysWithout(Kind::Picture, 500ms)) << "the right one stops them";
    EXPECT_EQ(peer->ask("Start,\nPassword,wrong\n", "AUTH_"), "AUTH_FALLED");
    EXPECT_TRUE(peer->waitForMore(Kind::Picture)) << "a wrong one changes nothing";
}

TEST_F(ProtocolTest, EmptyPasswordIsRightWhereNoneIsSet) {
    start();
    const auto peer = viewer();

    EXPECT_EQ(peer->ask("Password,\n", "AUTH_"), "AUTH_OK");
    EXPECT_TRUE(peer->finish());
    EXPECT_TRUE(
        peer->texts().starts_with(std::string("CONNECTED\n") + kVersion + "AUTH_OK\n" + kVersion))
        << peer->texts();
    EXPECT_TRUE(peer->staysWithout(Kind::Picture, 500ms));
}

TEST_F(ProtocolTest, CommandsAreCarriedOutBeforeThePassword) {
    start("password=secret");
    const auto peer = viewer();

    EXPECT_TRUE(peer->ask("GetSources,\n", "DATA_SOURCE").starts_with("DATA_SOURCE|Quarters|"));
    EXPECT_EQ(peer->ask("GetRecorded,\n", "RECORDED_LIST"), "RECORDED_LIST");
    peer->send("NightVision,1\nStart,Blue|Hum\nWebcamConfig,FV\n");
    expectStored("night_vision", "true");
    expectStored("flip_vertically", "true");
    EXPECT_NE(peer->ask("GetSources,\n", "DATA_SOURCE").find("|v|1|Hum|"), std::string::npos);
    EXPECT_EQ(peer->count(Kind::Picture) + peer->count(Kind::Sound), 0U);
}

TEST_F(ProtocolTest, LinesThatAreNoCommandsAreLoggedAndNotAnswered) {
    start();
    const auto peer = viewer();
    ASSERT_TRUE(peer->finish());
    const std::string before = peer->texts();
    peer->send("Hello\nHello,\nhello,\nHello ,x\n,\n\nFormat,disk,now\n");
    ASSERT_TRUE(hasLogged("Unrecognized command: <Format,disk,now>\n"));

    const std::string log = program.log();
    EXPECT_NE(log.find("prccessLine() parsing error: <Hello>\n"), std::string::npos);
    EXPECT_NE(log.find("prccessLine() parsing error: <>\n"), std::string::npos);
    EXPECT_NE(log.find("prccessLine(): <Hello,>\n"), std::string::npos);
    EXPECT_EQ(log.find("parsing error: <Hello,>"), std::string::npos);
    for (const char* line : {"hello,", "Hello ,x", ","}) {
        EXPECT_NE(log.find("Unrecognized command: <" + std::string(line) + ">\n"),
                  std::string::npos);
    }
    EXPECT_EQ(peer->texts(), before);
    EXPECT_TRUE(peer->finish()) << "the session goes on";
    EXPECT_NE(program.output().find("<Hello,>"), std::string::npos) << "on the console as well";
}

TEST_F(ProtocolTest, CommandsComeInPiecesAndInHeapsAlike) {
    start();
    const auto peer = viewer();
    for (const char letter : std::string("MotionConfig,Ärger,1,0\n")) {
        peer->send(std::string(1, letter));
        std::this_thread::sleep_for(2ms); // or the system would join them
    }
    std::string heap;
    for (int index = 0; index < 500; ++index) {
        heap += "Hello," + std::to_string(index) + "\n";
    }
    peer->send(heap + "APNS,last\n");

    expectStored("devList", "last");
    expectStored("useMotionEmail", "true");
    EXPECT_NE(program.log().find("prccessLine(): <MotionConfig,Ärger,1,0>"), std::string::npos);
    EXPECT_NE(program.log().find("prccessLine(): <Hello,499>"), std::string::npos);
}

TEST_F(ProtocolTest, FrameRateSetsTheDistanceOfPictures) {
    start();
    const auto peer = viewer();
    struct Row {
        const char* command;
        double rate; // the most pictures a second
    };
    for (const Row& row :
         {Row{"FrameRate,0\n", 5}, Row{"FrameRate,1\n", 20}, Row{"FrameRate,0.6\n", 14},
          Row{"FrameRate,0.2,9\n", 8}, Row{"FrameRate,1.0x\n", 20}, Row{"FrameRate,x\n", 5}}) {
        peer->send(row.command);
        ASSERT_TRUE(peer->finish());
        ASSERT_TRUE(peer->waitForMore(Kind::Picture, 2));
        const std::size_t first = peer->count(Kind::Picture);
        ASSERT_TRUE(peer->waitForMore(Kind::Picture, 8));
        const auto pictures = peer->items(Kind::Picture);
        const std::chrono::duration<double> taken =
            pictures[first + 7].when - pictures[first - 1].when;
        const double rate = 8 / taken.count();
        EXPECT_LT(rate, row.rate * 1.15 + 0.3) << row.command;
        // The camera gives one each 33 ms, so that a picture may come so much later than it may.
        EXPECT_GT(rate, 0.75 / (1 / row.rate + 1 / 30.0)) << row.command;
    }
}

TEST_F(ProtocolTest, SyncHoldsPicturesBack) {
    const std::string film = program.home() / "film.mov";
    ASSERT_TRUE(films::make(film, 1200, 20, films::kQuickH264));
    program.setting("captureSources=v|Film|file://" + film);
    program.start();
    ASSERT_TRUE(program.waitUntilListening());
    const auto now = viewer();
    const auto second = viewer("Sync,0.25\n");
    const auto none = viewer("Sync,x\n");
    const auto four = viewer("Sync,1\n");
    const auto usual = viewer("Hello,\n");
    ASSERT_TRUE(four->waitForMore(Kind::Picture, 20, 12s));

    const auto shown = [](const WatchingViewer& one) {
        std::map<int, Clock::time_point> moments;
        for (const auto& item : one.items(Kind::Picture)) {
            moments[films::numberIn(WatchingViewer::imageOf(item))] = item.when;
        }
        return moments;
    };
    const auto reference = shown(*now);
    const auto delay = [&](const WatchingViewer& one) {
        std::vector<double> delays;
        for (const auto& [number, when] : shown(one)) {
            if (const auto found = reference.find(number);
                number >= 0 && found != reference.end()) {
                delays.push_back(std::chrono::duration<double>(when - found->second).count());
            }
        }
        EXPECT_GT(delays.size(), 10U);
        std::sort(delays.begin(), delays.end());
        return delays.empty() ? -1 : delays[delays.size() / 2];
    };
    EXPECT_NEAR(delay(*second), 1, 0.15);
    EXPECT_NEAR(delay(*four), 4, 0.15);
    EXPECT_NEAR(delay(*usual), 2, 0.15);
    EXPECT_LT(delay(*none), 0.5) << "what is no number is 0: as many out as in";
}

TEST_F(ProtocolTest, AudioTellsTheFormatOnlyWhenItIsTurnedOn) {
    start();
    const auto peer = viewer();
    ASSERT_TRUE(peer->finish());
    peer->send("Audio,0\nAudio,x\nAudio,2\nAudio,\n");
    ASSERT_TRUE(peer->finish());
    EXPECT_EQ(peer->countOfTexts("CONFIG_AUDIO"), 0U);

    EXPECT_EQ(peer->ask("Audio,1\n", "CONFIG_AUDIO"),
              "CONFIG_AUDIO,8000.000000,1633772320,0,0,1024,0,1,0,0.500000,4096");
    EXPECT_EQ(peer->ask("Audio, 1 and more\n", "CONFIG_AUDIO").substr(0, 12), "CONFIG_AUDIO");
}

TEST_F(ProtocolTest, SourcesAreListedWithWhatIsChosen) {
    start();
    const auto peer = viewer();
    const std::string line = peer->ask("GetSources,AAC\n", "DATA_SOURCE");

    EXPECT_TRUE(line.starts_with("DATA_SOURCE|Quarters|")) << line;
    EXPECT_NE(line.find("|v|1|Blue|"), std::string::npos) << line;
    EXPECT_NE(line.find("|v|0|Hum|"), std::string::npos) << line;
    EXPECT_TRUE(line.ends_with("|a|1")) << line;
    EXPECT_EQ(peer->ask("GetSources,PCM\n", "DATA_SOURCE"), line);
    EXPECT_EQ(peer->ask("Audio,1\n", "CONFIG_AUDIO").substr(0, 35),
              "CONFIG_AUDIO,8000.000000,1633772320")
        << "PCM does not turn AAC off";
}

TEST_F(ProtocolTest, RecordingsAreListedByTheirExactExtension) {
    const auto folder = program.home() / "Documents" / "Ovelo";
    std::filesystem::create_directories(folder);
    for (const char* name : {"one.mov", "two.MOV", "three.txt", "mov"}) {
        writeFile(folder / name, "");
    }
    start();
    const auto peer = viewer();
    const std::string line = peer->ask("GetRecorded,whatever\n", "RECORDED_LIST");

    ASSERT_TRUE(line.starts_with("RECORDED_LIST,-one.mov-2")) << line;
    EXPECT_EQ(line.size(), std::string("RECORDED_LIST,-one.mov-").size() + 14);
    EXPECT_EQ(line.find_first_not_of("0123456789", 23), std::string::npos) << line;
}

TEST_F(ProtocolTest, StartChoosesSourcesForAllAndStopEndsOnlyOnesOwnPictures) {
    start();
    const auto one = viewer();
    const auto other = viewer();
    EXPECT_EQ(quartersOf(one->pictureNow()), "rgbw");

    one->send("Start,Blue|\n");
    EXPECT_EQ(quartersOf(one->pictureNow()), "bbbb");
    EXPECT_EQ(quartersOf(other->pictureNow()), "bbbb") << "it is everybody's";
    other->send("Stop,\n");
    ASSERT_TRUE(other->finish());
    EXPECT_TRUE(other->staysWithout(Kind::Picture, 500ms));
    EXPECT_TRUE(one->waitForMore(Kind::Picture)) << "only the other one stopped";

    for (const char* nothing : {"Start,Nobody|Hum\n", "Start,Blue\n", "Start,blue|hum\n",
                                "Start,\n", "Start,Blue|Hum\r\n"}) {
        other->send(nothing);
        EXPECT_EQ(quartersOf(other->pictureNow()), "bbbb") << nothing;
    }
    other->send("Start,Quarters|Nobody\n");
    EXPECT_EQ(quartersOf(one->pictureNow()), "rgbw");
    EXPECT_EQ(quartersOf(other->pictureNow()), "rgbw");
}

TEST_F(ProtocolTest, NightVisionTakesOneForOnAndAllElseForOff) {
    start();
    const auto peer = viewer();
    struct Row {
        const char* argument;
        bool on;
    };
    for (const Row& row :
         {Row{"1", true}, Row{"x", false}, Row{"1", true}, Row{"2", false}, Row{"01", true},
          Row{"", false}, Row{"1x", true}, Row{"-1", false}, Row{" 1", true}, Row{"0", false}}) {
        peer->send(std::string("NightVision,") + row.argument + "\n");
        ASSERT_TRUE(peer->finish());
        EXPECT_EQ(program.stored("night_vision"), row.on ? "true" : "false") << row.argument;
    }
    EXPECT_EQ(quartersOf(peer->pictureNow()), "rgbw");
    peer->send("NightVision,1\n");
    EXPECT_EQ(quartersOf(peer->pictureNow()), "gggg");
}

TEST_F(ProtocolTest, WebcamConfigTurnsAndSwitchesOver) {
    start();
    const auto peer = viewer();
    struct Row {
        const char* argument;
        const char* key;
        const char* picture;
    };
    for (const Row& row :
         {Row{"FV", "flip_vertically", "grwb"}, Row{"FH", "flip_horizontally", "bwrg"}}) {
        const std::string command = std::string("WebcamConfig,") + row.argument + "\n";
        peer->send(command);
        EXPECT_EQ(quartersOf(peer->pictureNow()), row.picture) << command;
        EXPECT_EQ(program.stored(row.key), "true");
        peer->send(command);
        EXPECT_EQ(quartersOf(peer->pictureNow()), "rgbw") << command;
        EXPECT_EQ(program.stored(row.key), "false") << "as it was";
    }
    peer->send("WebcamConfig,SD\nWebcamConfig,ST\nWebcamConfig,ST\nWebcamConfig,ST\n");
    ASSERT_TRUE(peer->finish());
    EXPECT_EQ(program.stored("show_devicename"), "true");
    EXPECT_EQ(program.stored("show_timestamp"), "true");

    peer->send("WebcamConfig,RC\nWebcamConfig,RC\n");
    EXPECT_EQ(quartersOf(peer->pictureNow()), "wbgr") << "half a turn";
    EXPECT_EQ(program.stored("rotate_val"), "2");
    peer->send("WebcamConfig,RCC\n");
    EXPECT_EQ(quartersOf(peer->pictureNow()), "brwg") << "three quarters against the clock";
    peer->send("WebcamConfig,RC\nWebcamConfig,RC\n");
    EXPECT_EQ(quartersOf(peer->pictureNow()), "gwrb") << "one";
}

TEST_F(ProtocolTest, UnknownWebcamConfigIsIgnoredWithoutAWord) {
    start();
    const auto peer = viewer();
    ASSERT_TRUE(peer->finish());
    const std::string settings = readFile(program.settingsFile());
    peer->send("WebcamConfig,\nWebcamConfig,fv\nWebcamConfig,FV\r\nWebcamConfig,RC,1\n");
    ASSERT_TRUE(peer->finish());

    EXPECT_EQ(readFile(program.settingsFile()), settings);
    EXPECT_EQ(program.log().find("Unrecognized"), std::string::npos);
    EXPECT_EQ(program.log().find("parsing error"), std::string::npos);
}

TEST_F(ProtocolTest, MotionConfigStoresTheFieldsThatAreSent) {
    start();
    const auto peer = viewer();
    const auto expect = [&](const std::string& sense, const std::string& email,
                            const std::string& record, const std::string& push) {
        ASSERT_TRUE(peer->finish());
        EXPECT_EQ(program.stored("motionSense"), sense);
        EXPECT_EQ(program.stored("useMotionEmail"), email);
        EXPECT_EQ(program.stored("useMotionRecord"), record);
        EXPECT_EQ(program.stored("usePushNotification"), push);
    };
    peer->send("MotionConfig,Low\n");
    expect("Low", "", "", "");
    peer->send("MotionConfig,High,1,0\n");
    expect("High", "true", "false", "");
    peer->send("MotionConfig,High,1,0,1\n");
    expect("High", "true", "false", "true");
    peer->send("MotionConfig,Medium,0,1\n");
    expect("Medium", "false", "true", "true");
    peer->send("MotionConfig,Medium,x,1,2,1,1\n");
    expect("Medium", "false", "true", "false");
    peer->send("MotionConfig,Sometimes,1\n");
    expect("Sometimes", "true", "true", "false");
    EXPECT_EQ(peer->ask("Password,\n", "VERSION"), "VERSION,1.000000,Low,1,1,0");
}

TEST_F(ProtocolTest, DeviceTokensAreRememberedOnce) {
    start();
    const auto peer = viewer();
    peer->send("APNS,abc\nAPNS,abc\nAPNS,ABC\nAPNS,abc\n");
    ASSERT_TRUE(peer->finish());

    EXPECT_EQ(program.stored("devList"), "abc, ABC");
}

TEST_F(ProtocolTest, WhatTwoViewersChangeAtTheSameTimeAllCounts) {
    start();
    const auto one = viewer("Stop,\n");
    const auto other = viewer("Stop,\n");
    const auto send = [](const WatchingViewer& who, int times, const std::string& own) {
        std::string heap;
        for (int index = 0; index < times; ++index) {
            heap += "WebcamConfig,FV\nWebcamConfig,RC\nWebcamConfig,SD\nAPNS," + own +
                    std::to_string(index) + "\n";
        }
        who.send(heap);
    };
    {
        const std::jthread first([&] { send(*one, 40, "one"); });
        const std::jthread second([&] { send(*other, 41, "other"); });
    }
    ASSERT_TRUE(one->finish());
    ASSERT_TRUE(other->finish());

    EXPECT_EQ(program.stored("flip_vertically"), "true") << "81 times switched over";
    EXPECT_EQ(program.stored("show_devicename"), "true");
    one->send("WebcamConfig,RCC\n"); // 81 turns in one direction and one back are whole ones
    ASSERT_TRUE(one->finish());
    EXPECT_EQ(program.stored("rotate_val"), "0");
    const std::string tokens = program.stored("devList");
    EXPECT_EQ(std::count(tokens.begin(), tokens.end(), ','), 80) << "of 81, none was lost";
}

TEST_F(ProtocolTest, LastWriteOfTwoViewersWins) {
    start();
    const auto one = viewer("Stop,\n");
    const auto other = viewer("Stop,\n");
    for (int round = 0; round < 10; ++round) {
        one->send("NightVision,1\nMotionConfig,High,1,1,1\n");
        other->send("NightVision,0\nMotionConfig,Low,0,0,0\n");
        ASSERT_TRUE(one->finish());
        ASSERT_TRUE(other->finish());
        const std::string sense = program.stored("motionSense");
        EXPECT_TRUE(sense == "High" || sense == "Low") << sense;

        const auto& last = round % 2 == 0 ? one : other;
        last->send(round % 2 == 0 ? "NightVision,1\nMotionConfig,High,1,1,1\n"
                                  : "NightVision,0\nMotionConfig,Low,0,0,0\n");
        ASSERT_TRUE(last->finish());
        EXPECT_EQ(program.stored("night_vision"), round % 2 == 0 ? "true" : "false");
        EXPECT_EQ(program.stored("motionSense"), round % 2 == 0 ? "High" : "Low");
        EXPECT_EQ(program.stored("usePushNotification"), round % 2 == 0 ? "true" : "false");
    }
}

TEST_F(ProtocolTest, ViewersThatChooseSourcesAgainstEachOtherEndWithTheLastChoice) {
    start();
    const auto one = viewer();
    const auto other = viewer();
    for (int round = 0; round < 5; ++round) {
        one->send("Start,Blue|\n");
        other->send("Start,Quarters|\n");
    }
    ASSERT_TRUE(one->finish());
    ASSERT_TRUE(other->finish());
    const std::string seen = quartersOf(one->pictureNow());
    EXPECT_TRUE(seen == "bbbb" || seen == "rgbw") << seen;

    one->send("Start,Blue|\n");
    EXPECT_EQ(quartersOf(one->pictureNow()), "bbbb");
    EXPECT_EQ(quartersOf(other->pictureNow()), "bbbb");
}

} // namespace
} // namespace ovelo
