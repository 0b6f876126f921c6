#include "viewer/ViewerClient.h"

#include "viewer/ViewerClientFixture.h"

#include <gtest/gtest.h>
#include <locale.h>

#include <chrono>
#include <string>
#include <thread>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

class ViewerClientTest : public ViewerClientFixture {};

TEST_F(ViewerClientTest, IsLetInByAServerWithoutPassword) {
    ViewerClient client(options());
    ASSERT_FALSE(client.connect());
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\nVERSION,1.000000,Low,0,0,0\n");

    const auto greeting = nextOf<GreetingEvent>(client);
    ASSERT_TRUE(greeting);
    EXPECT_FALSE(greeting->passwordNeeded);
    EXPECT_TRUE(client.isOpen());
    const auto version = nextOf<TextEvent>(client);
    ASSERT_TRUE(version);
    EXPECT_EQ(version->line, "VERSION,1.000000,Low,0,0,0");
}

TEST_F(ViewerClientTest, SendsThePasswordWhenAsked) {
    auto given = options();
    given.password = "open, sesame";
    ViewerClient client(given);
    meet(client, "CONNECTED,PASS\n");

    EXPECT_EQ(server_.hear(), "Password,open, sesame");
    EXPECT_FALSE(client.isOpen());
    server_.say("AUTH_OK\n");
    const auto answer = nextOf<AuthenticationEvent>(client);
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->accepted);
    EXPECT_TRUE(client.isOpen());
}

TEST_F(ViewerClientTest, TellsAboutAWrongPasswordAndTakesAnother) {
    auto given = options();
    given.password = "wrong";
    ViewerClient client(given);
    meet(client, "CONNECTED,PASS\n");
    EXPECT_EQ(server_.hear(), "Password,wrong");
    server_.say("AUTH_FALLED\n");

    const auto refusal = nextOf<AuthenticationEvent>(client);
    ASSERT_TRUE(refusal);
    EXPECT_FALSE(refusal->accepted);
    EXPECT_FALSE(client.isOpen());

    ASSERT_TRUE(client.sendPassword("right"));
    EXPECT_EQ(server_.hear(), "Password,right");
    server_.say("AUTH_OK\n");
    const auto answer = nextOf<AuthenticationEvent>(client);
    ASSERT_TRUE(answer);
    EXPECT_TRUE(answer->accepted);
}

TEST_F(ViewerClientTest, SendsTheAcceptedPasswordAgainOnTheNextConnection) {
    ViewerClient client(options());
    meet(client, "CONNECTED,PASS\n");
    ASSERT_TRUE(client.sendPassword("right"));
    server_.say("AUTH_OK\n");
    ASSERT_TRUE(nextOf<AuthenticationEvent>(client));

    meet(client, "CONNECTED,PASS\n");

    EXPECT_EQ(server_.hear(), "Password,right");
}

TEST_F(ViewerClientTest, DoesNotSendARefusedPasswordAgain) {
    auto given = options();
    given.password = "wrong";
    given.keepAlive = 10ms;
    ViewerClient client(given);
    meet(client, "CONNECTED,PASS\n");
    server_.say("AUTH_FALLED\n");
    ASSERT_TRUE(nextOf<AuthenticationEvent>(client));

    meet(client, "CONNECTED,PASS\n");

    EXPECT_EQ(heardWhileSilent(client), "Hello,");
}

TEST_F(ViewerClientTest, EmptiesTheServersQueueBeforeAnythingElse) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");
    client.start();

    EXPECT_EQ(server_.hear(), "Sync,-0.001");
    EXPECT_EQ(server_.hear(), "Start,");
}

TEST_F(ViewerClientTest, SetsDelayAndRateAfterThePasswordIsAccepted) {
    auto given = options();
    given.password = "p";
    ViewerClient client(given);
    client.setDelay(2);
    client.setFrameRate(14);
    meet(client, "CONNECTED,PASS\n");
    server_.say("AUTH_OK\n");
    ASSERT_TRUE(nextOf<AuthenticationEvent>(client));

    EXPECT_EQ(server_.hear(), "Password,p");
    EXPECT_EQ(server_.hear(), "Sync,0.5");
    EXPECT_EQ(server_.hear(), "FrameRate,0.6");
}

TEST_F(ViewerClientTest, ChangesDelayAndRateOfAnOpenSession) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");

    client.setDelay(4);
    client.setFrameRate(5);
    client.setFrameRate(100);
    client.setDelay(0);

    EXPECT_EQ(server_.hear(), "Sync,-0.001");
    EXPECT_EQ(server_.hear(), "Sync,1");
    EXPECT_EQ(server_.hear(), "FrameRate,0");
    EXPECT_EQ(server_.hear(), "FrameRate,1");
    EXPECT_EQ(server_.hear(), "Sync,-0.001");
}

TEST_F(ViewerClientTest, WritesNumbersWithAPointInEveryLocale) {
    const char* found = setlocale(LC_ALL, "de_DE.UTF-8");
    ViewerClient client(options());
    client.setDelay(1);
    meet(client, "CONNECTED\n");

    EXPECT_EQ(server_.hear(), "Sync,0.25");
    if (found != nullptr) {
        setlocale(LC_ALL, "C");
    }
}

TEST_F(ViewerClientTest, SendsEveryCommandInItsForm) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");
    server_.hear(); // Sync

    client.hello();
    client.getSources();
    client.getSources("AAC");
    client.start("Camera A|Mic");
    client.stop();
    client.setNightVision(true);
    client.setNightVision(false);
    client.configureWebcam("RCC");
    client.configureMotion("High", true, false);
    client.configureMotion("Low", false, true, true);
    client.registerDevice("abc");
    client.getRecorded();
    client.record(true);
    client.record(false);
    client.playback("a, b.mov");
    client.setSound(true);
    client.setSound(false);

    for (const char* expected :
         {"Hello,", "GetSources,", "GetSources,AAC", "Start,Camera A|Mic", "Stop,", "NightVision,1",
          "NightVision,0", "WebcamConfig,RCC", "MotionConfig,High,1,0", "MotionConfig,Low,0,1,1",
          "APNS,abc", "GetRecorded,", "Record,Y", "Record,N", "Playback,a, b.mov", "Audio,1",
          "Audio,0"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
}

TEST_F(ViewerClientTest, RefusesWhatCannotBeSentAsALine) {
    ViewerClient client(options());
    EXPECT_FALSE(client.sendLine("Hello,")); // not connected
    meet(client, "CONNECTED\n");
    server_.hear(); // Sync

    EXPECT_FALSE(client.sendLine("Hello,\nStop,"));
    EXPECT_FALSE(client.sendLine(std::string_view("a\0b", 3)));
    EXPECT_FALSE(client.sendLine("Start," + std::string(2042, 'x')));
    EXPECT_TRUE(client.sendLine("Start," + std::string(2041, 'x')));
    EXPECT_EQ(server_.hear(), "Start," + std::string(2041, 'x'));
}

TEST_F(ViewerClientTest, SaysHelloByItselfWhenItIsSilent) {
    auto given = options();
    given.keepAlive = 5ms;
    ViewerClient client(given);
    meet(client, "CONNECTED\n");

    EXPECT_EQ(server_.hear(), "Sync,-0.001");

    EXPECT_EQ(heardWhileSilent(client), "Hello,");
    EXPECT_EQ(heardWhileSilent(client), "Hello,");
}

TEST_F(ViewerClientTest, AsksAnewWhenPicturesStopComing) {
    auto given = options();
    given.password = "p";
    given.revival = 20ms;
    ViewerClient client(given);
    meet(client, "CONNECTED,PASS\n");
    server_.say("AUTH_OK\n");
    ASSERT_TRUE(nextOf<AuthenticationEvent>(client));
    client.start("Camera A|");
    for (const char* expected : {"Password,p", "Sync,-0.001", "Start,Camera A|"}) {
        EXPECT_EQ(server_.hear(), expected);
    }

    EXPECT_EQ(heardWhileSilent(client), "Password,p");
    server_.say("AUTH_OK\n");
    const auto answer = nextOf<TextEvent>(client);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->line, "AUTH_OK");
    EXPECT_EQ(server_.hear(), "Start,");
}

TEST_F(ViewerClientTest, AsksAnewWithAnEmptyPasswordWhereThereIsNone) {
    auto given = options();
    given.revival = 20ms;
    ViewerClient client(given);
    meet(client, "CONNECTED\n");
    EXPECT_EQ(server_.hear(), "Sync,-0.001");

    EXPECT_EQ(heardWhileSilent(client), "Password,");
}

TEST_F(ViewerClientTest, DoesNotAskAnewForPicturesThatNobodyWants) {
    auto given = options();
    given.revival = 2ms;
    given.keepAlive = 20ms;
    ViewerClient client(given);
    meet(client, "CONNECTED\n");
    client.stop();
    EXPECT_EQ(server_.hear(), "Sync,-0.001");
    EXPECT_EQ(server_.hear(), "Stop,");

    EXPECT_EQ(heardWhileSilent(client), "Hello,");
}

TEST_F(ViewerClientTest, DoesNotDisturbAPlayback) {
    auto given = options();
    given.revival = 2ms;
    given.keepAlive = 20ms;
    ViewerClient client(given);
    meet(client, "CONNECTED\n");
    client.playback("a.mov");
    EXPECT_TRUE(client.isPlayingBack());
    EXPECT_EQ(server_.hear(), "Sync,-0.001");
    EXPECT_EQ(server_.hear(), "Playback,a.mov");

    EXPECT_EQ(heardWhileSilent(client), "Hello,");

    server_.say("PLAYBACK_DONE\n");
    ASSERT_TRUE(nextOf<TextEvent>(client));
    EXPECT_FALSE(client.isPlayingBack());
    auto line = heardWhileSilent(client);
    while (line == "Hello,") {
        line = heardWhileSilent(client);
    }
    EXPECT_EQ(line, "Password,"); // the live pictures are missed again
}

TEST_F(ViewerClientTest, AsksAnewWhenAPlaybackIsSilentForVeryLong) {
    auto given = options();
    given.playbackRevival = 5ms;
    ViewerClient client(given);
    meet(client, "CONNECTED\n");
    EXPECT_EQ(server_.hear(), "Sync,-0.001");
    client.playback("a.mov");
    EXPECT_EQ(server_.hear(), "Playback,a.mov");

    EXPECT_EQ(heardWhileSilent(client), "Password,");
    server_.say("AUTH_OK\n");
    ASSERT_TRUE(nextOf<TextEvent>(client));
    EXPECT_EQ(server_.hear(), "Start,");
    EXPECT_FALSE(client.isPlayingBack());
}

TEST_F(ViewerClientTest, KnowsAPlaybackThatWasTypedAsALine) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");

    client.sendLine("Playback,a.mov");
    EXPECT_TRUE(client.isPlayingBack());
    client.sendLine("Start,");
    EXPECT_FALSE(client.isPlayingBack());
    client.playback("b.mov");
    client.close();
    EXPECT_FALSE(client.isPlayingBack());
}

TEST_F(ViewerClientTest, WantsSoundAgainOnTheNextConnection) {
    ViewerClient client(options());
    client.setSound(true);
    for (int i = 0; i < 2; ++i) {
        meet(client, "CONNECTED\n");
        EXPECT_EQ(server_.hear(), "Sync,-0.001");
        EXPECT_EQ(server_.hear(), "Audio,1");
    }
}

TEST_F(ViewerClientTest, TellsWhenThePasswordIsNotTakenAnyMore) {
    auto given = options();
    given.revival = 20ms;
    ViewerClient client(given);
    meet(client, "CONNECTED\n");
    EXPECT_EQ(server_.hear(), "Sync,-0.001");
    EXPECT_EQ(heardWhileSilent(client), "Password,");
    server_.say("AUTH_FALLED\n");

    const auto refusal = nextOf<AuthenticationEvent>(client);

    ASSERT_TRUE(refusal);
    EXPECT_FALSE(refusal->accepted);
}

TEST_F(ViewerClientTest, KeepsAliveOftenEnoughByDefault) {
    EXPECT_LE(ViewerOptions{}.keepAlive, 4s);
}

TEST_F(ViewerClientTest, DeliversPicturesAndSoundWithTheirHeaders) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");
    server_.say("Frame,7,3,1706745599,0\nabcAudio,2,4,5,1\n\n\n\n\nPLAYBACK_DONE\n");

    const auto picture = nextOf<ViewerBlock>(client);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->header, (FrameHeader{BlockKind::Picture, 7, 3, 1706745599, false}));
    EXPECT_EQ(picture->bytes, (Bytes{'a', 'b', 'c'}));
    const auto sound = nextOf<ViewerBlock>(client);
    ASSERT_TRUE(sound);
    EXPECT_EQ(sound->header, (FrameHeader{BlockKind::Sound, 2, 4, 5, true}));
    EXPECT_EQ(sound->bytes.size(), 4U);
    const auto done = nextOf<TextEvent>(client);
    ASSERT_TRUE(done);
    EXPECT_EQ(done->line, "PLAYBACK_DONE");
}

TEST_F(ViewerClientTest, DeliversAnEmptyPicture) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");
    server_.say("Frame,7,0,1,0\n");

    const auto picture = nextOf<ViewerBlock>(client);

    ASSERT_TRUE(picture);
    EXPECT_TRUE(picture->bytes.empty());
}

TEST_F(ViewerClientTest, PutsAPictureTogetherWhereverItWasSplit) {
    const std::string text = "Frame,1,6,9,0\n\nFrameX\n";
    for (std::size_t split = 1; split < text.size(); ++split) {
        ViewerClient client(options());
        meet(client, "CONNECTED\n");
        server_.say(std::string_view(text).substr(0, split));
        const bool complete = split >= text.size() - 2;
        EXPECT_EQ(client.next(0ms).has_value(), complete) << "split at " << split;
        server_.say(std::string_view(text).substr(split));
        if (!complete) {
            const auto picture = nextOf<ViewerBlock>(client);
            ASSERT_TRUE(picture) << "split at " << split;
            EXPECT_EQ(picture->bytes.size(), 6U);
        }
        const auto line = nextOf<TextEvent>(client);
        ASSERT_TRUE(line) << "split at " << split;
    }
}

TEST_F(ViewerClientTest, ReceivesAPictureOfManyReads) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");
    const std::string body(3 * 1024 * 1024, 'z');
    std::thread sender([&] {
        server_.say("Frame,1,3145728,9,0\n");
        server_.say(body);
    });

    const auto picture = nextOf<ViewerBlock>(client);
    sender.join();

    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->bytes.size(), body.size());
}

TEST_F(ViewerClientTest, ReturnsFromWaitingWhenInterrupted) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");
    const auto begin = std::chrono::steady_clock::now();

    std::thread other([&] { client.interrupt(); });
    EXPECT_FALSE(client.next(10s));
    other.join();

    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

TEST_F(ViewerClientTest, BeginsAfreshOnTheNextConnection) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");
    server_.say("Frame,1,1000,9,0\nabc");
    EXPECT_FALSE(client.next(20ms));

    meet(client, "CONNECTED\n");
    server_.say("VERSION\n");

    EXPECT_TRUE(nextOf<TextEvent>(client));
}

} // namespace
} // namespace ovelo
