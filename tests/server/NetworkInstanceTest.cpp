#include "server/NetworkInstance.h"

#include "fakes/Eventually.h"
#include "fakes/Peer.h"
#include "server/TestServer.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <latch>
#include <regex>
#include <thread>

namespace ovelo {
namespace {

constexpr auto kAWhile = std::chrono::milliseconds(60);

/// One viewer at a time, against a real server on loopback.
class NetworkInstanceTest : public ::testing::Test {
protected:
    NetworkInstanceTest() { server.start(); }

    /// A viewer that has been greeted, with no delay, so that pictures come as they are sent.
    std::unique_ptr<Peer> watcher(int receiveBuffer = 0) {
        auto viewer = std::make_unique<Peer>(server.port(), receiveBuffer);
        EXPECT_EQ(viewer->line(), "CONNECTED");
        EXPECT_TRUE(viewer->line());
        viewer->send("Sync,0\n");
        roundTrip(*viewer);
        return viewer;
    }

    /// Waits until everything sent so far was carried out.
    static void roundTrip(Peer& viewer) {
        viewer.send("GetSources,\n");
        EXPECT_EQ(viewer.line(), "DATA_SOURCE|Camera A|id|v|1");
    }

    void sendPicture(const std::string& bytes) {
        server.network->sendImageData(makeData(Bytes(bytes.begin(), bytes.end())));
    }

    static std::string frameID(const std::string& header) {
        return header.substr(6, header.find(',', 6) - 6);
    }

    TestServer server;
};

TEST_F(NetworkInstanceTest, WithoutPasswordGreetsSendsTheVersionAndStreams) {
    server.settings.setBoolean("useMotionEmail", true);
    Peer viewer(server.port());

    EXPECT_EQ(viewer.line(), "CONNECTED");
    EXPECT_EQ(viewer.line(), "VERSION,1.000000,Low,1,0,0");
    viewer.send("Sync,0\n");
    roundTrip(viewer);
    sendPicture("jpeg");
    EXPECT_TRUE(viewer.line()->starts_with("Frame,0,4,"));
    EXPECT_EQ(viewer.bytes(4), "jpeg");
}

TEST_F(NetworkInstanceTest, VersionWordIsLowWhateverTheSensitivity) {
    server.settings.setString("motionSense", "High");
    server.settings.setBoolean("useMotionRecord", true);
    server.settings.setBoolean("usePushNotification", true);
    Peer viewer(server.port());
    viewer.line();

    EXPECT_EQ(viewer.line(), "VERSION,1.000000,Low,0,1,1");
}

TEST_F(NetworkInstanceTest, WithAPasswordSendsNothingUntilItCame) {
    server.settings.setString("password", "pw");
    Peer viewer(server.port());
    EXPECT_EQ(viewer.line(), "CONNECTED,PASS");

    server.network->sendText("TEXT\n");
    sendPicture("x");
    EXPECT_TRUE(viewer.staysSilent(kAWhile));

    viewer.send("Password,wrong\n");
    EXPECT_EQ(viewer.line(), "AUTH_FALLED");
    viewer.send("Password,pw\n");
    EXPECT_EQ(viewer.line(), "AUTH_OK");
    EXPECT_EQ(viewer.line(), "VERSION,1.000000,Low,0,0,0");
}

TEST_F(NetworkInstanceTest, AuthenticatedButNotStartedGetsTextsAndNoPictures) {
    server.settings.setString("password", "pw");
    Peer viewer(server.port());
    viewer.send("Password,pw\nSync,0\n");
    roundTrip((viewer.line(), viewer.line(), viewer.line(), viewer));

    sendPicture("x");
    server.network->sendText("TEXT\n");
    EXPECT_EQ(viewer.line(), "TEXT");

    viewer.send("Start,Camera A|Mic\n");
    roundTrip(viewer);
    sendPicture("yz");
    const auto header = viewer.line();
    EXPECT_TRUE(header->starts_with("Frame,1,2,")) << *header << ": the dropped one was numbered";
    EXPECT_EQ(viewer.bytes(2), "yz");

    viewer.send("Stop,\n");
    roundTrip(viewer);
    sendPicture("x");
    EXPECT_TRUE(viewer.staysSilent(kAWhile));
}

TEST_F(NetworkInstanceTest, PasswordStopsAStartedStream) {
    const auto viewer = watcher();
    viewer->send("Password,\n");
    EXPECT_EQ(viewer->line(), "AUTH_OK");
    EXPECT_TRUE(viewer->line()->starts_with("VERSION,"));

    sendPicture("x");
    EXPECT_TRUE(viewer->staysSilent(kAWhile));
}

TEST_F(NetworkInstanceTest, EmptyPictureIsAHeaderAlone) {
    const auto viewer = watcher();
    sendPicture("");
    sendPicture("a");

    EXPECT_TRUE(viewer->line()->starts_with("Frame,0,0,"));
    EXPECT_TRUE(viewer->line()->starts_with("Frame,1,1,"));
}

TEST_F(NetworkInstanceTest, HeaderCarriesTheSecondsOfTheDay) {
    const auto viewer = watcher();
    const auto before = std::time(nullptr);
    sendPicture("a");
    std::smatch fields;
    const std::string header = viewer->line().value_or("");

    ASSERT_TRUE(std::regex_match(header, fields, std::regex("Frame,0,1,([0-9]+),0"))) << header;
    EXPECT_GE(std::stoll(fields[1]), before);
    EXPECT_LE(std::stoll(fields[1]), std::time(nullptr));
}

TEST_F(NetworkInstanceTest, SoundIsNeitherNumberedNorSentUnlessAskedFor) {
    const auto viewer = watcher();
    server.network->sendAudioData(makeData({'a'}));
    EXPECT_TRUE(viewer->staysSilent(kAWhile));

    viewer->send("Audio,1\n");
    EXPECT_EQ(viewer->line(), "CONFIG_AUDIO,8000.000000");
    roundTrip(*viewer);
    server.network->sendAudioData(makeData({'b', 'c'}));
    EXPECT_TRUE(std::regex_match(viewer->line().value_or(""), std::regex("Audio,0,2,[0-9]+,0")));
    EXPECT_EQ(viewer->bytes(2), "bc");

    viewer->send("Audio,0\n");
    roundTrip(*viewer);
    server.network->sendAudioData(makeData({'d'}));
    EXPECT_TRUE(viewer->staysSilent(kAWhile));
}

TEST_F(NetworkInstanceTest, StoppedViewerHearsNothingUntilItStartsAgain) {
    const auto viewer = watcher();
    viewer->send("Audio,1\nStop,\n");
    EXPECT_EQ(viewer->line(), "CONFIG_AUDIO,8000.000000");
    roundTrip(*viewer);
    server.network->sendAudioData(makeData({'a'}));
    EXPECT_TRUE(viewer->staysSilent(kAWhile));

    viewer->send("Start,\n");
    roundTrip(*viewer);
    server.network->sendAudioData(makeData({'b'}));
    // Kept: what was not sent to a stopped viewer was counted all the same.
    EXPECT_TRUE(std::regex_match(viewer->line().value_or(""), std::regex("Audio,1,1,[0-9]+,0")));
}

TEST_F(NetworkInstanceTest, LinesInPiecesAndSeveralAtOnceAreCarriedOutOneByOne) {
    const auto viewer = watcher();
    viewer->send("Night");
    viewer->send("Vision,1\nWebcamConfig,FV\nWebcamConfig,R");
    viewer->send("C\n");
    roundTrip(*viewer);

    EXPECT_TRUE(server.settings.boolean("night_vision"));
    EXPECT_TRUE(server.settings.boolean("flip_vertically"));
    EXPECT_EQ(server.document.calls(), std::vector<std::string>{"rotateLeft"});
}

TEST_F(NetworkInstanceTest, CarriageReturnReachesTheInterpreter) {
    const auto viewer = watcher();
    viewer->send("WebcamConfig,FV\r\n");
    roundTrip(*viewer);

    EXPECT_FALSE(server.settings.boolean("flip_vertically"));
    EXPECT_TRUE(server.events.contains("prccessLine(): <WebcamConfig,FV\r>\n"));
}

TEST_F(NetworkInstanceTest, LongNulAndForeignBytesLeaveTheSessionAlive) {
    using namespace std::string_view_literals;
    const auto viewer = watcher();
    viewer->send(std::string(2048, 'x') + "\n");
    viewer->send(std::string(100000, 'y') + ",\n");
    viewer->send("\0\0,\n"sv);
    viewer->send("Start,\xff\xfe\n");
    viewer->send("unknown,\n\n,\n");
    roundTrip(*viewer);

    EXPECT_TRUE(server.events.contains("dropped a line of 2048 bytes or more"));
    EXPECT_TRUE(server.events.contains("dropped a line that is not UTF-8"));
}

TEST_F(NetworkInstanceTest, LineWithoutEndIsLetGoPastAMebibyte) {
    const auto viewer = watcher();
    std::jthread sender([&] { viewer->send(std::string(2U << 20U, 'x')); });

    EXPECT_TRUE(viewer->isClosedByServer());
    EXPECT_TRUE(eventually([&] { return server.network->sessionCount() == 0; }));
}

TEST_F(NetworkInstanceTest, ViewerThatOnlyEndsItsOwnDirectionIsLetGo) {
    const auto viewer = watcher();
    viewer->shutdownWriting();

    EXPECT_TRUE(viewer->isClosedByServer());
    EXPECT_TRUE(eventually([&] { return server.network->sessionCount() == 0; }));
}

TEST_F(NetworkInstanceTest, ResetInTheMiddleOfAPictureEndsThatSessionAlone) {
    const auto other = watcher();
    auto viewer = watcher(4096);
    sendPicture(std::string(1U << 20U, 'p'));
    viewer->bytes(100);
    viewer->reset();

    EXPECT_TRUE(eventually([&] { return server.network->sessionCount() == 1; }));
    EXPECT_TRUE(other->line()->starts_with("Frame,0,1048576,"));
    EXPECT_EQ(other->bytes(1U << 20U), std::string(1U << 20U, 'p'));
}

TEST_F(NetworkInstanceTest, ResetWhileACommandTakesLongIsNotTriedOverAndOver) {
    std::latch chosen(1);
    server.document.choosing = [&] { chosen.wait(); };
    const auto other = watcher();
    auto viewer = watcher(4096);
    server.network->sendImageData(makeData(Bytes(1U << 20U, 'p')));
    EXPECT_TRUE(other->line().value_or("").starts_with("Frame,"));
    EXPECT_EQ(other->bytes(1U << 20U).size(), 1U << 20U);
    viewer->send("Start,Camera A|Mic\n");
    EXPECT_TRUE(eventually([&] { return !server.document.calls().empty(); }));
    viewer->reset();
    EXPECT_TRUE(eventually([&] { return server.events.contains("exception"); }));

    EXPECT_TRUE(other->staysSilent(kAWhile));
    std::size_t failures = 0;
    const std::string log = server.events.text();
    for (auto at = log.find("exception"); at != std::string::npos;
         at = log.find("exception", at + 1)) {
        ++failures;
    }
    EXPECT_LE(failures, 2U);
    chosen.count_down();
    EXPECT_TRUE(eventually([&] { return server.network->sessionCount() == 1; }));
}

TEST_F(NetworkInstanceTest, ViewerThatDoesNotReadMissesPicturesAndGetsWholeOnesLater) {
    const auto viewer = watcher(4096);
    const std::string picture(60000, 'p');
    for (int index = 0; index < 200; ++index) {
        sendPicture(picture);
    }

    // The first ones were kept by the system, one was finished by the session, the others were
    // dropped.
    std::string header = viewer->line().value_or("");
    int whole = 0;
    while (!header.empty()) {
        ASSERT_TRUE(header.starts_with("Frame,")) << header;
        ASSERT_EQ(viewer->bytes(picture.size()), picture);
        ++whole;
        header = viewer->line(std::chrono::milliseconds(300)).value_or("");
    }
    EXPECT_GE(whole, 1);
    EXPECT_LT(whole, 100);

    sendPicture("end");
    EXPECT_EQ(frameID(viewer->line().value_or("Frame,?")), "200");
}

TEST_F(NetworkInstanceTest, StalledViewerDoesNotDelayAnother) {
    const auto stalled = watcher(4096);
    const auto reading = watcher();
    const std::string picture(60000, 'p');
    for (int index = 0; index < 100; ++index) {
        const auto before = std::chrono::steady_clock::now();
        sendPicture(picture);
        EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(500));
        ASSERT_TRUE(reading->line()) << index;
        ASSERT_EQ(reading->bytes(picture.size()).size(), picture.size());
    }
}

TEST_F(NetworkInstanceTest, RepliesKeepTheirPlaceBetweenPictures) {
    const auto viewer = watcher(4096);
    const std::string picture(60000, 'p');
    for (int index = 0; index < 20; ++index) {
        sendPicture(picture);
        viewer->send("GetSources,\n");
    }

    int replies = 0;
    while (replies < 20) {
        const std::string line = viewer->line().value_or("");
        ASSERT_FALSE(line.empty());
        if (line.starts_with("Frame,")) {
            ASSERT_EQ(viewer->bytes(picture.size()), picture);
        } else {
            ASSERT_EQ(line, "DATA_SOURCE|Camera A|id|v|1");
            ++replies;
        }
    }
}

} // namespace
} // namespace ovelo
