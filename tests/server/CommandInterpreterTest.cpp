#include "server/CommandInterpreter.h"

#include "fakes/FakeDocument.h"
#include "fakes/TestLog.h"
#include "platform/MainThread.h"
#include "server/CommandSession.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <thread>
#include <vector>

namespace ovelo {
namespace {

class FakeSession final : public CommandSession {
public:
    std::string getPassword() override { return password; }
    void writeString(const std::string& text, int connection_type) override {
        sent += std::to_string(connection_type) + ":" + text;
    }
    void sendVersion() override { sent += "(version)"; }
    void setAuthenticated(int connection_type) override {
        sent += "(authenticated)";
        authenticated[connection_type] = true;
        started[connection_type] = false;
    }
    void setStarted(int connection_type, bool value) override { started[connection_type] = value; }
    void setFrameRateWait(float seconds) override { frameRateWait = seconds; }
    void setFrameDelay(float seconds) override { frameDelay = seconds; }
    void setEnableSound(bool enabled) override { sound = enabled; }

    std::string password = "secret";
    std::string sent;
    bool authenticated[2] = {false, false};
    bool started[2] = {false, false};
    bool sound = false;
    float frameRateWait = -1;
    float frameDelay = -1;
};

class CommandInterpreterTest : public ::testing::Test {
protected:
    CommandInterpreterTest() { MainThread::begin(); }
    ~CommandInterpreterTest() override { MainThread::end(); }

    void tcp(const std::string& line) { interpreter.prccessLine(line, 0); }
    bool stored(const char* key) { return settings.boolean(key); }

    TestLog events;
    MemorySettings settings;
    FakeDocument document;
    FakeSession session;
    CommandInterpreter interpreter{session, document, settings, events.log()};
};

TEST_F(CommandInterpreterTest, LineWithoutACommaIsAParsingError) {
    tcp("Hello");

    EXPECT_TRUE(events.contains(": prccessLine(): <Hello>\n"));
    EXPECT_TRUE(events.contains(": prccessLine() parsing error: <Hello>\n"));
    EXPECT_EQ(session.sent, "");
}

TEST_F(CommandInterpreterTest, HelloWithACommaIsAccepted) {
    tcp("Hello,");

    EXPECT_TRUE(events.contains(": prccessLine(): <Hello,>\n"));
    EXPECT_FALSE(events.contains("error"));
    EXPECT_FALSE(events.contains("Unrecognized"));
}

TEST_F(CommandInterpreterTest, UnknownCommandIsLoggedAndNotAnswered) {
    tcp("hello,x");
    tcp(" Hello,x");

    EXPECT_TRUE(events.contains(": Unrecognized command: <hello,x>\n"));
    EXPECT_TRUE(events.contains(": Unrecognized command: < Hello,x>\n"));
    EXPECT_EQ(session.sent, "");
}

TEST_F(CommandInterpreterTest, RightPasswordAnswersAuthenticatesClearsStartedAndSendsTheVersion) {
    session.started[0] = true;
    session.started[1] = true;

    tcp("Password,secret");

    EXPECT_EQ(session.sent, "0:AUTH_OK\n(authenticated)(version)");
    EXPECT_TRUE(session.authenticated[0]);
    EXPECT_FALSE(session.started[0]);
    EXPECT_TRUE(session.started[1]) << "the other transport is left alone";
}

TEST_F(CommandInterpreterTest, WrongPasswordChangesNothing) {
    session.started[0] = true;

    tcp("Password,Secret");
    tcp("Password,secret\r");
    tcp("Password,");

    EXPECT_EQ(session.sent, "0:AUTH_FALLED\n0:AUTH_FALLED\n0:AUTH_FALLED\n");
    EXPECT_FALSE(session.authenticated[0]);
    EXPECT_TRUE(session.started[0]);
}

TEST_F(CommandInterpreterTest, PasswordMayHoldCommas) {
    session.password = "a,b";

    tcp("Password,a,b");

    EXPECT_TRUE(session.authenticated[0]);
}

TEST_F(CommandInterpreterTest, EmptyPasswordMatchesWhenNoneIsStored) {
    session.password = "";

    tcp("Password,");

    EXPECT_TRUE(session.authenticated[0]);
}

TEST_F(CommandInterpreterTest, FrameRateSetsTheLeastSecondsBetweenPictures) {
    const std::pair<const char*, float> kCases[] = {{"0", 0.2F}, {"1", 0.05F}, {"0.6", 1.0F / 14},
                                                    {"x", 0.2F}, {"", 0.2F},   {"1abc", 0.05F}};
    for (const auto& [text, expected] : kCases) {
        tcp(std::string("FrameRate,") + text);
        EXPECT_FLOAT_EQ(session.frameRateWait, expected) << text;
    }
}

TEST_F(CommandInterpreterTest, SyncSetsTheDelay) {
    const std::pair<const char*, float> kCases[] = {{"0", 0.0F},   {"0.5", 2.0F}, {"1", 4.0F},
                                                    {"abc", 0.0F}, {"-1", -4.0F}, {"0.25", 1.0F}};
    for (const auto& [text, expected] : kCases) {
        tcp(std::string("Sync,") + text);
        EXPECT_FLOAT_EQ(session.frameDelay, expected) << text;
    }
    tcp("Sync,nan");
    EXPECT_TRUE(std::isnan(session.frameDelay));
}

TEST_F(CommandInterpreterTest, NumbersHaveAPointWhateverTheLocale) {
    const char* locale = std::setlocale(LC_ALL, "de_DE.UTF-8");
    tcp("Sync,0.25");
    std::setlocale(LC_ALL, "C");

    EXPECT_FLOAT_EQ(session.frameDelay, 1.0F) << (locale == nullptr ? "locale missing" : locale);
}

TEST_F(CommandInterpreterTest, GetSourcesSendsTheLineUnlessItIsEmpty) {
    tcp("GetSources,PCM");
    EXPECT_EQ(session.sent, "0:DATA_SOURCE|Camera A|id|v|1\n");

    document.dataSource = "";
    tcp("GetSources,");
    EXPECT_EQ(session.sent, "0:DATA_SOURCE|Camera A|id|v|1\n");
}

TEST_F(CommandInterpreterTest, GetSourcesWithAacSwitchesTheFormatFirst) {
    tcp("GetSources,PCM");
    tcp("GetSources,aac");
    tcp("GetSources,AAC\r");
    EXPECT_TRUE(document.calls().empty());

    tcp("GetSources,AAC");
    EXPECT_EQ(document.calls(), (std::vector<std::string>{"setAudioFormat 1"}));
}

TEST_F(CommandInterpreterTest, AudioOneDescribesTheSoundAndTurnsItOn) {
    tcp("Audio,1");

    EXPECT_EQ(session.sent, "0:CONFIG_AUDIO,8000.000000\n");
    EXPECT_TRUE(session.sound);
}

TEST_F(CommandInterpreterTest, AudioOfAnyOtherNumberTurnsTheSoundOff) {
    for (const char* argument : {"0", "x", "", "2", "-1", "11"}) {
        session.sound = true;
        tcp(std::string("Audio,") + argument);
        EXPECT_FALSE(session.sound) << argument;
    }
    EXPECT_EQ(session.sent, "");
}

TEST_F(CommandInterpreterTest, AudioWithoutAFormatLineTurnsTheSoundOnAllTheSame) {
    document.audioParameters = "";

    tcp("Audio,1");

    EXPECT_EQ(session.sent, "");
    EXPECT_TRUE(session.sound);
}

TEST_F(CommandInterpreterTest, GetRecordedSendsTheListUnlessItIsEmpty) {
    tcp("GetRecorded,anything");
    EXPECT_EQ(session.sent, "0:RECORDED_LIST\n");

    document.recordedList = "";
    tcp("GetRecorded,");
    EXPECT_EQ(session.sent, "0:RECORDED_LIST\n");
}

TEST_F(CommandInterpreterTest, RecordReadsItsFlagAsABoolean) {
    const std::pair<const char*, bool> kCases[] = {
        {"Y", true},  {"yes", true}, {"T", true},   {"true", true}, {"1", true},
        {"9", true},  {" 1", true},  {"+1", true},  {"-1", true},   {"01", true},
        {"0", false}, {"00", false}, {"N", false},  {"n", false},   {"false", false},
        {"", false},  {"on", false}, {"x1", false}, {"-", false},   {"\r", false},
    };
    for (const auto& [flag, expected] : kCases) {
        tcp(std::string("Record,") + flag);
        EXPECT_EQ(document.calls().back(), expected ? "startRecording" : "stopRecording") << flag;
    }
    EXPECT_EQ(session.sent, "");
}

TEST_F(CommandInterpreterTest, PlaybackPlaysTheNameAndStartsThisTransportOnly) {
    tcp("Playback,Ovelo_20240131235959.mov, second part");

    EXPECT_EQ(document.calls(),
              (std::vector<std::string>{"startPlayback Ovelo_20240131235959.mov, second part"}));
    EXPECT_TRUE(session.started[0]);
    EXPECT_FALSE(session.started[1]);
}

TEST_F(CommandInterpreterTest, StartStopsPlaybackChoosesTheSourceAndStartsThisTransportOnly) {
    tcp("Start,Camera A|Mic");

    EXPECT_EQ(document.calls(),
              (std::vector<std::string>{"stopPlayback", "setDataSource Camera A|Mic"}));
    EXPECT_TRUE(session.started[0]);
    EXPECT_FALSE(session.started[1]);

    interpreter.prccessLine("Stop,", 1);
    EXPECT_TRUE(session.started[0]) << "a stop on the other transport";
    tcp("Stop,");
    EXPECT_FALSE(session.started[0]);
}

TEST_F(CommandInterpreterTest, NightVisionStoresWhetherTheNumberIsOne) {
    tcp("NightVision,1");
    EXPECT_TRUE(stored("night_vision"));
    tcp("NightVision,x");
    EXPECT_FALSE(stored("night_vision"));
    tcp("NightVision,2");
    EXPECT_FALSE(stored("night_vision"));
}

TEST_F(CommandInterpreterTest, WebcamConfigTurnsTheWayThatItAlwaysDid) {
    tcp("WebcamConfig,RC");
    tcp("WebcamConfig,RCC");

    EXPECT_EQ(document.calls(), (std::vector<std::string>{"rotateLeft", "rotateRight"}));
}

TEST_F(CommandInterpreterTest, WebcamConfigTogglesItsSettings) {
    const std::pair<const char*, const char*> kCases[] = {{"FV", "flip_vertically"},
                                                          {"FH", "flip_horizontally"},
                                                          {"SD", "show_devicename"},
                                                          {"ST", "show_timestamp"}};
    for (const auto& [operation, key] : kCases) {
        tcp(std::string("WebcamConfig,") + operation);
        EXPECT_TRUE(stored(key)) << key;
        tcp(std::string("WebcamConfig,") + operation);
        EXPECT_FALSE(stored(key)) << key;
    }
}

TEST_F(CommandInterpreterTest, WebcamConfigIgnoresOtherOperationsWithoutALogLine) {
    tcp("WebcamConfig,XX");
    tcp("WebcamConfig,FV\r");

    EXPECT_TRUE(document.calls().empty());
    EXPECT_TRUE(settings.keys().empty());
    EXPECT_FALSE(events.contains("Unrecognized"));
}

TEST_F(CommandInterpreterTest, MotionConfigWithThreeFieldsLeavesPushAlone) {
    tcp("MotionConfig,High,1,0");

    EXPECT_EQ(settings.string("motionSense"), "High");
    EXPECT_TRUE(stored("useMotionEmail"));
    EXPECT_TRUE(settings.contains("useMotionRecord"));
    EXPECT_FALSE(stored("useMotionRecord"));
    EXPECT_FALSE(settings.contains("usePushNotification"));

    tcp("MotionConfig,High,1,0,1");
    EXPECT_TRUE(stored("usePushNotification"));
}

TEST_F(CommandInterpreterTest, MotionConfigWithMissingFieldsLeavesTheirKeys) {
    settings.setBoolean("useMotionRecord", true);

    tcp("MotionConfig,Low");
    tcp("MotionConfig,Low,1");

    EXPECT_EQ(settings.string("motionSense"), "Low");
    EXPECT_TRUE(stored("useMotionEmail"));
    EXPECT_TRUE(stored("useMotionRecord"));
}

TEST_F(CommandInterpreterTest, MotionConfigIgnoresFurtherFields) {
    tcp("MotionConfig,Medium,0,1,0,1,1");

    EXPECT_EQ(settings.string("motionSense"), "Medium");
    EXPECT_TRUE(stored("useMotionRecord"));
    EXPECT_FALSE(stored("usePushNotification"));
}

TEST_F(CommandInterpreterTest, ApnsKeepsEachTokenOnce) {
    tcp("APNS,abc");
    tcp("APNS,abc");
    tcp("APNS,ABC");

    EXPECT_EQ(settings.array("devList"), (Settings::Array{"abc", "ABC"}));
}

TEST_F(CommandInterpreterTest, ApnsOfAnEndlessPeerIsBounded) {
    for (int token = 0; token < 400; ++token) {
        tcp("APNS," + std::to_string(token));
    }

    EXPECT_EQ(settings.array("devList")->size(), 256U);
}

TEST_F(CommandInterpreterTest, TokensOfPhonesThatComeAtOnceAreAllKept) {
    constexpr int kEach = 50;
    {
        std::vector<std::jthread> phones;
        for (int phone = 0; phone < 4; ++phone) {
            phones.emplace_back([&, phone] {
                for (int token = 0; token < kEach; ++token) {
                    tcp("APNS," + std::to_string(phone * kEach + token));
                }
            });
        }
    }
    EXPECT_EQ(settings.array("devList")->size(), 4U * kEach);
}

TEST_F(CommandInterpreterTest, CommandsAreCarriedOutBeforeAuthentication) {
    tcp("NightVision,1");

    EXPECT_FALSE(session.authenticated[0]);
    EXPECT_TRUE(stored("night_vision"));
}

} // namespace
} // namespace ovelo
