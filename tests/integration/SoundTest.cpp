// What viewers hear of the whole program: from microphones and films to the blocks on the wire.

#include "fakes/SoundServer.h"
#include "integration/Films.h"
#include "integration/SoundFixture.h"

#include <gtest/gtest.h>

#include <memory>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using Kind = WatchingViewer::Kind;

class SoundTest : public SoundTestFixture {};

TEST_F(SoundTest, ListenerHearsEverySampleOfTheMicrophone) {
    expectEverySample(10s);
}

TEST_F(SoundTest, SoundComesAtTheSpeedOfTheWorld) {
    startWithSweep();
    const auto listener = viewer("Audio,1\n");
    ASSERT_TRUE(listener->waitForMore(Kind::Sound, 4, 20s));
    const auto blocks = listener->items(Kind::Sound);

    std::size_t samples = 0;
    for (std::size_t index = 1; index < 4; ++index) {
        samples += packetsOf(blocks[index]).size() * kSamplesInAPacket;
    }
    const std::chrono::duration<double> taken = blocks[3].when - blocks[0].when;
    EXPECT_NEAR(static_cast<double>(samples) / kRate / taken.count(), 1, 0.1);
}

TEST_F(SoundTest, WhoDoesNotWantSoundGetsNone) {
    startWithSweep();
    const auto listener = viewer("Audio,1\n");
    const auto silent = viewer("Audio,1\nAudio,0\n");
    const auto plain = viewer("Hello,\n");
    const auto stopped = viewer("Audio,1\nStop,\n");
    ASSERT_TRUE(listener->waitForMore(Kind::Sound, 2, 12s));

    EXPECT_EQ(silent->count(Kind::Sound), 0U);
    EXPECT_EQ(plain->count(Kind::Sound), 0U);
    EXPECT_EQ(stopped->count(Kind::Sound), 0U);
    EXPECT_GT(plain->count(Kind::Picture), 0U);

    silent->send("Audio,1\n");
    EXPECT_TRUE(silent->waitForMore(Kind::Sound, 1, 8s));
    EXPECT_EQ(silent->items(Kind::Sound).front().id, 0U) << "numbered only while it is on";
}

TEST_F(SoundTest, SoundThatWasAskedForBeforeThePasswordComesBehindTheStart) {
    program.setting("password=secret");
    startWithSweep();
    const auto listener = viewer("Audio,1\n");
    ASSERT_TRUE(listener->waitForText(kFormat)) << listener->texts();
    EXPECT_TRUE(listener->staysWithout(Kind::Sound, 3s));

    listener->send("Password,secret\nStart,\n");
    EXPECT_TRUE(listener->waitForMore(Kind::Sound, 1, 8s));
    EXPECT_FALSE(packetsOf(listener->items(Kind::Sound).front()).empty());
}

TEST_F(SoundTest, MicrophoneOfTheSoundServerIsHeardAndComesBackWhenItWasAway) {
    if (!SoundServer::isInstalled()) {
        GTEST_SKIP() << "NOT TESTED: pulseaudio is missing";
    }
    TemporaryFolder folder;
    SoundServer server(folder.path());
    ASSERT_TRUE(eventually([&] { return server.isReady(); }, 10s));
    const std::string tone = folder.path() / "sweep.raw";
    sound::writeRaw(tone, sound::sweep(kSweepSeconds, kLowest, kHighest, 48000));
    // It answers before its loudspeaker is there.
    ASSERT_TRUE(eventually([&] { return server.plugIn("mic1", "Test\\ Microphone"); }, 10s));
    server.play(tone);
    program.variable("PULSE_SERVER=unix:" + (folder.path() / "native").string());
    start("\"a|Quiet|audiotestsrc is-live=true wave=silence\", " + std::string(kCamera));
    const auto listener = viewer("Audio,1\n");

    const auto sources = [&] { return listener->ask("GetSources,\n", "DATA_SOURCE"); };
    EXPECT_TRUE(
        eventually([&] { return sources().find("|Test Microphone|") != std::string::npos; }, 10s));
    listener->send("Start,Cam|Test Microphone\nAudio,1\n");
    EXPECT_NE(sources().find("|a|1"), std::string::npos) << sources();
    ASSERT_TRUE(listener->waitForMore(Kind::Sound, 3, 15s));
    const auto hasTone = [&] {
        auto heard = heardBy(*listener, 2);
        const auto samples = sound::decodeAac(heard.packets);
        return sound::compareWithSweep(samples, kSweepSeconds, kLowest, kHighest, kRate).worst;
    };
    EXPECT_GT(hasTone(), 0.9) << "what the loudspeaker plays";

    ASSERT_TRUE(server.unplugAll());
    EXPECT_TRUE(
        eventually([&] { return sources().find("|Test Microphone|") == std::string::npos; }, 10s))
        << sources();
    const std::size_t before = listener->count(Kind::Picture);
    EXPECT_TRUE(eventually([&] { return listener->count(Kind::Picture) > before; }, 5s));

    ASSERT_TRUE(server.plugIn("mic1", "Test\\ Microphone"));
    EXPECT_TRUE(
        eventually([&] { return sources().find("|Test Microphone|") != std::string::npos; }, 10s));
    listener->send("Start,Cam|Test Microphone\n");
    EXPECT_TRUE(listener->waitForMore(Kind::Sound, 3, 15s));
    EXPECT_GT(hasTone(), 0.9) << "heard again";
}

TEST_F(SoundTest, WithoutAnySoundDeviceThereAreOnlyPictures) {
    start(kCamera);
    const auto listener = viewer("Sync,-0.001\nAudio,1\n");

    EXPECT_TRUE(listener->waitForMore(Kind::Picture, 5));
    EXPECT_TRUE(listener->ask("GetSources,AAC\n", "DATA_SOURCE").ends_with("|v|1"));
    EXPECT_TRUE(listener->staysWithout(Kind::Sound, 3s));
    listener->send("Start,Cam|Hum\nAudio,0\nAudio,1\n");
    EXPECT_TRUE(listener->finish());
}

TEST_F(SoundTest, FilmIsSeenAndHeardAtOnce) {
    const std::string wav = program.home() / "sweep.wav";
    sound::writeWav(wav, sound::sweep(20, kLowest, kHighest, 48000), 48000);
    const std::string film = program.home() / "film.mov";
    ASSERT_TRUE(films::make(
        film, 200, 10, "-i '" + wav + "' -map 0:v -map 1:a -c:a pcm_s16le " + films::kQuickH264));
    start("m|Film|file://" + film);
    const auto listener = viewer("Audio,1\nSync,-0.001\nFrameRate,100\n");

    ASSERT_TRUE(listener->waitForMore(Kind::Sound, 4, 20s)) << program.log();
    const std::string sources = listener->ask("GetSources,\n", "DATA_SOURCE");
    EXPECT_NE(sources.find("DATA_SOURCE|Film|"), std::string::npos) << sources;
    const Heard heard = heardBy(*listener);
    EXPECT_EQ(heard.gaps, 0);
    const auto fit =
        sound::compareWithSweep(sound::decodeAac(heard.packets), 20, kLowest, kHighest, kRate);
    EXPECT_GT(fit.worst, 0.95) << "at " << fit.where << " s";
    int last = -1;
    int steps = 0;
    for (const auto& item : listener->items(Kind::Picture)) {
        const int number = films::numberIn(WatchingViewer::imageOf(item));
        EXPECT_GE(number, 0);
        steps += number > last ? 1 : 0;
        last = number;
    }
    EXPECT_GT(steps, 40);
}

} // namespace
} // namespace ovelo
