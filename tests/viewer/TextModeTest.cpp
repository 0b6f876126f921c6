#include "viewer/TextMode.h"

#include "fakes/FakeSound.h"
#include "platform/FileDescriptor.h"
#include "viewer/ScriptedServer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

namespace ovelo {
namespace {

/// The text mode runs on a thread of its own, the server's part in the test.
class TextModeTest : public testing::Test {
protected:
    void SetUp() override {
        std::string name =
            (std::filesystem::temp_directory_path() / "ovelo-viewer-XXXXXX").string();
        ASSERT_NE(::mkdtemp(name.data()), nullptr);
        folder_ = name;
        int ends[2] = {-1, -1};
        ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        typing_.reset(ends[0]);
        keys_.reset(ends[1]);
    }
    void TearDown() override {
        finish();
        std::filesystem::remove_all(folder_);
    }

    void begin(std::vector<std::string> words, TextMode::Ask ask = {}) {
        words.push_back("127.0.0.1:" + std::to_string(server_.port()));
        const auto arguments = ViewerArguments::parse(words);
        ASSERT_TRUE(arguments) << arguments.error();
        viewer_ = std::thread([this, parsed = arguments.value(), ask = std::move(ask)] {
            TextMode mode(parsed, out_, error_, ask);
            mode.readCommandsFrom(typing_.get());
            mode.decodeWith(&FakeDecoder::create);
            exit_ = mode.run();
        });
        ASSERT_TRUE(server_.accept());
    }

    ViewerExit finish() {
        if (viewer_.joinable()) {
            viewer_.join();
        }
        return exit_;
    }

    std::string contents(const char* name) const {
        std::ifstream file(folder_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string path(const char* name) const { return (folder_ / name).string(); }

    /// What is typed arrives at the viewer.
    void type(const std::string& text) {
        ASSERT_EQ(::write(keys_.get(), text.data(), text.size()),
                  static_cast<ssize_t>(text.size()));
    }

    ScriptedServer server_;
    FileDescriptor typing_;
    FileDescriptor keys_;
    std::filesystem::path folder_;
    std::ostringstream out_;
    std::ostringstream error_;
    ViewerExit exit_ = ViewerExit::Usage;
    std::thread viewer_;
};

TEST_F(TextModeTest, PrintsLinesAndHeadersButNotThePassword) {
    begin({"--text", "--password", "secret", "--frames", "1"});
    server_.say("CONNECTED,PASS\n");
    EXPECT_EQ(server_.hear(), "Password,secret");
    server_.say("AUTH_OK\nVERSION,1.000000,Low,0,0,0\nAudio,0,1,5,0\nxFrame,4,3,1706745599,0\nabc");

    EXPECT_EQ(finish(), ViewerExit::Done);
    EXPECT_EQ(out_.str(), "CONNECTED,PASS\nAUTH_OK\nVERSION,1.000000,Low,0,0,0\nAudio,0,1,5,0\n"
                          "Frame,4,3,1706745599,0\n");
    EXPECT_EQ(error_.str(), "");
}

TEST_F(TextModeTest, StartsThePicturesAfterSettingTheDelay) {
    begin({"--text", "--password", "p", "--frames", "1", "--frame-rate", "20"});
    server_.say("CONNECTED,PASS\nAUTH_OK\n");

    for (const char* expected :
         {"Password,p", "Sync,-0.001", "FrameRate,1", "GetSources,", "Start,"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
    server_.say("Frame,4,1,1,0\na");
    EXPECT_EQ(finish(), ViewerExit::Done);
}

TEST_F(TextModeTest, SavesOnePictureUnderExactlyTheGivenName) {
    begin({"--save", path("shot.jpg")});
    server_.say("CONNECTED\nFrame,4,0,1,0\nFrame,5,3,1,0\nabc");

    EXPECT_EQ(finish(), ViewerExit::Done);
    EXPECT_EQ(contents("shot.jpg"), "abc");
    EXPECT_EQ(out_.str(), path("shot.jpg") + ": 3 bytes\n");
}

TEST_F(TextModeTest, NumbersSeveralPicturesBeforeTheExtension) {
    begin({"--save", path("shot.jpg"), "--frames", "2"});
    server_.say("CONNECTED\nFrame,4,3,1,0\nabcFrame,5,2,1,0\nde");

    EXPECT_EQ(finish(), ViewerExit::Done);
    EXPECT_EQ(contents("shot-1.jpg"), "abc");
    EXPECT_EQ(contents("shot-2.jpg"), "de");
    EXPECT_FALSE(std::filesystem::exists(folder_ / "shot.jpg"));
}

TEST_F(TextModeTest, SaysWhenAPictureCannotBeWritten) {
    begin({"--save", path("missing/shot.jpg")});
    server_.say("CONNECTED\nFrame,4,3,1,0\nabc");

    EXPECT_EQ(finish(), ViewerExit::Failed);
    EXPECT_NE(error_.str().find("No such file or directory"), std::string::npos);
}

TEST_F(TextModeTest, FailsWhenNoPictureComes) {
    begin({"--save", path("shot.jpg"), "--timeout", "0.03"});
    server_.say("CONNECTED\n");

    EXPECT_EQ(finish(), ViewerExit::Failed);
    EXPECT_NE(error_.str().find("no picture came"), std::string::npos);
}

TEST_F(TextModeTest, FailsWhenTheServerHangsUp) {
    begin({"--text"});
    server_.say("CONNECTED\n");
    server_.hear();
    server_.hangUp();

    EXPECT_EQ(finish(), ViewerExit::Failed);
    EXPECT_NE(error_.str().find("lost"), std::string::npos);
}

TEST_F(TextModeTest, AsksForThePasswordThatIsNotGiven) {
    begin({"--text", "--frames", "1"}, [] { return std::optional<std::string>("typed"); });
    server_.say("CONNECTED,PASS\n");

    EXPECT_EQ(server_.hear(), "Password,typed");
    server_.say("AUTH_OK\nFrame,0,1,1,0\nx");
    EXPECT_EQ(finish(), ViewerExit::Done);
    EXPECT_EQ(out_.str().find("typed"), std::string::npos);
}

TEST_F(TextModeTest, EndsWhenNobodyCanBeAskedForThePassword) {
    begin({"--text"}, [] { return std::optional<std::string>(); });
    server_.say("CONNECTED,PASS\n");

    EXPECT_EQ(finish(), ViewerExit::Password);
    EXPECT_NE(error_.str().find("--password"), std::string::npos);
}

TEST_F(TextModeTest, EndsWhenThePasswordIsWrong) {
    begin({"--text", "--password", "p"});
    server_.say("CONNECTED,PASS\n");
    EXPECT_EQ(server_.hear(), "Password,p");
    server_.say("AUTH_FALLED\n");

    EXPECT_EQ(finish(), ViewerExit::Password);
}

TEST_F(TextModeTest, ChoosesASourceByItsNameAndCountsOnlyItsPictures) {
    begin({"--save", path("shot.jpg"), "--source", "porch"});
    server_.say("CONNECTED\nFrame,0,3,1,0\nold");
    for (const char* expected : {"Sync,-0.001", "GetSources,"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
    server_.say("DATA_SOURCE|yard|id|v|1|porch|id|v|0|Mic|id|a|1\n");
    EXPECT_EQ(server_.hear(), "Start,porch|Mic");
    server_.say("Frame,1,3,1,0\nnew");

    EXPECT_EQ(finish(), ViewerExit::Done);
    EXPECT_EQ(contents("shot.jpg"), "new");
}

TEST_F(TextModeTest, ListsTheSourcesWhenTheWantedOneIsMissing) {
    begin({"--text", "--source", "porch"});
    server_.say("CONNECTED\nDATA_SOURCE|yard|id|v|1\n");

    EXPECT_EQ(finish(), ViewerExit::Failed);
    EXPECT_NE(error_.str().find("\"porch\""), std::string::npos);
    EXPECT_NE(error_.str().find("yard"), std::string::npos);
}

TEST_F(TextModeTest, SendsTheGivenLines) {
    begin({"--text", "--frames", "1", "--send", "NightVision,1", "--send", "Hello,"});
    server_.say("CONNECTED\n");

    for (const char* expected : {"Sync,-0.001", "NightVision,1", "Hello,", "GetSources,"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
    server_.say("Frame,0,1,1,0\nx");
    EXPECT_EQ(finish(), ViewerExit::Done);
}

TEST_F(TextModeTest, SendsWhatIsTyped) {
    begin({"--text", "--frames", "1"});
    type("GetRecorded,\nNight");
    server_.say("CONNECTED\n");
    for (const char* expected : {"Sync,-0.001", "GetSources,", "GetRecorded,"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
    type("Vision,1\n");
    EXPECT_EQ(server_.hear(), "NightVision,1");
    keys_.reset(); // the end of the input is not the end of the viewer
    server_.say("Frame,0,1,1,0\nx");

    EXPECT_EQ(finish(), ViewerExit::Done);
}

TEST_F(TextModeTest, OnlyPrintsTheAnswerToATypedPassword) {
    begin({"--text", "--frames", "1", "--timeout", "5"});
    server_.say("CONNECTED\n");
    for (const char* expected : {"Sync,-0.001", "GetSources,"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
    type("Password,wrong\n");
    EXPECT_EQ(server_.hear(), "Password,wrong");
    server_.say("AUTH_FALLED\nAUTH_OK\n");
    EXPECT_EQ(server_.hear(), "Sync,-0.001"); // of a session that is opened
    type("Stop,\n");
    EXPECT_EQ(server_.hear(), "Stop,"); // it does not ask for sources and pictures again
    server_.say("Frame,0,1,1,0\nx");

    EXPECT_EQ(finish(), ViewerExit::Done);
    EXPECT_NE(out_.str().find("AUTH_FALLED\nAUTH_OK\n"), std::string::npos);
    EXPECT_EQ(error_.str(), "");
}

TEST_F(TextModeTest, SaysWhenWhatIsTypedCannotBeSent) {
    begin({"--text", "--frames", "1"});
    server_.say("CONNECTED\n");
    server_.hear();
    server_.hear();
    type(std::string(3000, 'x') + "\nHello,\n");
    EXPECT_EQ(server_.hear(), "Hello,");
    server_.say("Frame,0,1,1,0\nx");

    EXPECT_EQ(finish(), ViewerExit::Done);
    EXPECT_NE(error_.str().find("cannot send the line"), std::string::npos);
}

TEST_F(TextModeTest, SavesSound) {
    begin({"--save-sound", path("sound.wav"), "--seconds", "0.001"});
    server_.say("CONNECTED\nFrame,0,1,1,0\nx");
    for (const char* expected : {"Sync,-0.001", "GetSources,AAC", "Audio,1"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
    server_.say("CONFIG_AUDIO,4000.000000,1819304813,14,2,1,2,1,16,0.500000,20000\n"
                "Audio,0,8,1,0\nabcdefgh");

    EXPECT_EQ(finish(), ViewerExit::Done);
    EXPECT_EQ(contents("sound.wav").substr(44), "badcfehg");
    EXPECT_EQ(out_.str(), path("sound.wav") + ": 0.001 s\n");
}

TEST_F(TextModeTest, LeavesAReadableFileWhenTheServerIsLostWhileSoundIsSaved) {
    begin({"--save-sound", path("sound.wav")});
    server_.say("CONNECTED\n"
                "CONFIG_AUDIO,4000.000000,1819304813,14,2,1,2,1,16,0.500000,20000\n"
                "Audio,0,8,1,0\nabcdefgh");
    server_.hear();
    server_.hangUp();

    EXPECT_EQ(finish(), ViewerExit::Failed);
    EXPECT_EQ(contents("sound.wav").substr(40), std::string("\x08\0\0\0badcfehg", 12));
}

TEST_F(TextModeTest, FailsWhenNoSoundComes) {
    begin({"--save-sound", path("sound.wav"), "--timeout", "0.05"});
    server_.say("CONNECTED\nFrame,0,1,1,0\nx");

    EXPECT_EQ(finish(), ViewerExit::Failed);
    EXPECT_NE(error_.str().find("no sound came"), std::string::npos);
}

TEST_F(TextModeTest, ListsTheRecordings) {
    begin({"--list-recordings", "--password", "p"});
    server_.say("CONNECTED,PASS\nAUTH_OK\n");
    for (const char* expected : {"Password,p", "Sync,-0.001", "GetSources,", "GetRecorded,"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
    server_.say("RECORDED_LIST,-a, \x1b.mov-20240131235959,-b.mov-20240201080000\n");

    EXPECT_EQ(finish(), ViewerExit::Done);
    EXPECT_EQ(out_.str(), "2024-01-31 23:59:59  a, ?.mov\n2024-02-01 08:00:00  b.mov\n");
}

TEST_F(TextModeTest, SavesThePicturesOfARecordingOnly) {
    begin({"--play", "a, b.mov", "--save", path("shot.jpg")});
    server_.say("CONNECTED\n");
    for (const char* expected : {"Sync,-0.001", "Playback,a, b.mov", "GetSources,"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
    server_.say("Frame,0,4,1,0\nliveDATA_SOURCE|one|id|v|1\nFrame,1,4,1,0\nthen");

    EXPECT_EQ(finish(), ViewerExit::Done);
    EXPECT_EQ(contents("shot.jpg"), "then");
}

TEST_F(TextModeTest, EndsWithTheRecording) {
    begin({"--play", "a.mov"});
    server_.say("CONNECTED\nPLAYBACK_DONE\n");

    EXPECT_EQ(finish(), ViewerExit::Done);
}

TEST_F(TextModeTest, LetsTheServerRecordWhileItRuns) {
    begin({"--record", "--save", path("shot.jpg")});
    server_.say("CONNECTED\n");
    for (const char* expected : {"Sync,-0.001", "Record,Y", "GetSources,"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
    server_.say("Frame,0,1,1,0\nx");

    EXPECT_EQ(finish(), ViewerExit::Done);
    EXPECT_EQ(server_.hear(), "Record,N");
}

TEST_F(TextModeTest, DoesNotLetTheServerCommandTheTerminal) {
    begin({"--text", "--frames", "1"});
    server_.say("CONNECTED\n\x1b[2Jevil\n\xC2\x80 \xC2\x9B"
                "2J \xC2\xA0 \xC3\x9B\nFrame,0,1,1,0\nx");

    EXPECT_EQ(finish(), ViewerExit::Done);
    EXPECT_EQ(out_.str().find('\x1b'), std::string::npos);
    EXPECT_NE(out_.str().find("\n? ?2J \xC2\xA0 \xC3\x9B\n"), std::string::npos); // letters stay
}

TEST_F(TextModeTest, DoesNotLetTheServerCommandTheTerminalByWhatIsWrong) {
    begin({"--text", "--source", "porch"});
    server_.say("CONNECTED\nDATA_SOURCE|\x1b[2J\xC2\x9B|id|v|1\n");

    EXPECT_EQ(finish(), ViewerExit::Failed);
    EXPECT_NE(error_.str().find("?[2J?"), std::string::npos);
}

TEST_F(TextModeTest, DoesNotLetTheServerCommandTheTerminalByABrokenHeader) {
    begin({"--text"});
    server_.say("CONNECTED\nFrame,\x1b[2J\n");

    EXPECT_EQ(finish(), ViewerExit::Failed);
    EXPECT_NE(error_.str().find("?[2J"), std::string::npos);
}

} // namespace
} // namespace ovelo
