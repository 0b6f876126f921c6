#include "audio/AudioCaptureFixture.h"
#include "fakes/SoundServer.h"

#include <gst/gst.h>

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

/// How many threads of this process have a name.
std::size_t threadsNamed(const std::string& name) {
    std::size_t count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        count += readFile(task.path() / "comm") == name + "\n" ? 1 : 0;
    }
    return count;
}

class AudioCaptureTest : public AudioCaptureFixture {};

TEST_F(AudioCaptureTest, SendsAacWithoutAGap) {
    expectGaplessAac(6s);
    for (const Bytes& message : sink.messages()) {
        EXPECT_LE(message.size(), 4096U + 400U);
    }
}

TEST_F(AudioCaptureTest, SendsSamplesWithoutAGap) {
    addSweep("Sweep");
    begin();
    audio->setAudioFormat(0);
    const auto selected = select("Sweep");
    ASSERT_TRUE(serveUntil([&] { return sink.count() >= 3; }));
    audio->stopCapture();

    const auto messages = sink.messages();
    std::vector<std::int16_t> samples;
    for (const Bytes& message : messages) {
        const auto more = sound::fromBigEndian(message);
        samples.insert(samples.end(), more.begin(), more.end());
    }
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(messages[i].size(), 20000U);
    }
    const auto fit = sound::compareWithSweep(samples, kSweepSeconds, kLowest, kHighest, 4000);
    EXPECT_GT(fit.worst, 0.98) << "at " << fit.where << " s";
}

TEST_F(AudioCaptureTest, ShowsTheLevelWhileItCaptures) {
    addSweep("Sweep");
    begin();
    EXPECT_EQ(level(), 0.0F);
    const auto selected = select("Sweep");
    EXPECT_TRUE(serveUntil([&] { return std::abs(level() - 0.354F) < 0.02F; }));

    selected->close(); // it falls silent, the capture goes on
    EXPECT_TRUE(serveUntil([&] { return level() == 0.0F; }));
    ASSERT_FALSE(selected->open());
    EXPECT_TRUE(serveUntil([&] { return level() > 0.3F; }));
}

TEST_F(AudioCaptureTest, StopsAtOnce) {
    addSweep("Sweep");
    begin();
    const auto selected = select("Sweep");
    ASSERT_TRUE(serveUntil([&] { return level() > 0.1F; }));
    serveUntil([] { return false; }, 500ms); // a few packets
    const auto began = std::chrono::steady_clock::now();

    audio->stopCapture();

    EXPECT_LT(std::chrono::steady_clock::now() - began, 300ms);
    EXPECT_EQ(sink.count(), 1U); // what there was
    EXPECT_EQ(level(), 0.0F);
}

TEST_F(AudioCaptureTest, TellsThatThereIsNoDevice) {
    begin();
    testing::internal::CaptureStderr();
    audio->startCapture();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: AudioQueueStart failed (19)\n");
    EXPECT_EQ(level(), 0.0F);
    audio->stopCapture();
}

TEST_F(AudioCaptureTest, TellsWhichPackageIsMissingAndStillSendsSamples) {
    addSweep("Sweep");
    begin();
    GstRegistry* registry = gst_registry_get();
    std::vector<GstPluginFeature*> hidden;
    for (const char* name : {"voaacenc", "avenc_aac"}) {
        if (GstPluginFeature* feature = gst_registry_lookup_feature(registry, name)) {
            gst_registry_remove_feature(registry, feature);
            hidden.push_back(feature);
        }
    }
    testing::internal::CaptureStderr();
    const auto selected = select("Sweep");
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(text, "Sound cannot be encoded: install the package gstreamer1.0-plugins-bad or "
                    "gstreamer1.0-libav. (no element \"voaacenc\"; no element \"avenc_aac\")\n"
                    "Error: AudioQueueNewInput failed (95)\n");
    EXPECT_EQ(level(), 0.0F);

    audio->setAudioFormat(0);
    audio->startCapture();
    EXPECT_TRUE(serveUntil([&] { return level() > 0.1F; }));

    for (GstPluginFeature* feature : hidden) {
        gst_registry_add_feature(registry, feature);
        gst_object_unref(feature);
    }
}

TEST_F(AudioCaptureTest, OutlivesItsDevice) {
    addSweep("Sweep");
    begin();
    auto selected = select("Sweep");
    ASSERT_TRUE(serveUntil([&] { return level() > 0.1F; }));

    settings.setArray("captureSources", {});
    selected->close();
    selected.reset();
    EXPECT_TRUE(serveUntil([&] { return level() == 0.0F; }));
    EXPECT_EQ(device("Sweep"), nullptr);

    addSweep("Sweep"); // it returns
    ASSERT_TRUE(serveUntil([&] { return device("Sweep") != nullptr; }));
    selected = select("Sweep");
    EXPECT_TRUE(serveUntil([&] { return level() > 0.1F; }));
}

TEST_F(AudioCaptureTest, HearsTheOneOfTwoWithTheSameNameThatIsOpen) {
    settings.setArray("captureSources", {"a|Twin|audiotestsrc is-live=true volume=0.1",
                                         "a|Twin|audiotestsrc is-live=true volume=0.9"});
    begin();
    const auto second = devices->devices(MediaType::Sound)[1];
    ASSERT_FALSE(second->open());
    audio->setAudioInputDevice("Twin");
    EXPECT_TRUE(serveUntil([&] { return level() > 0.5F; }));
}

/// With a sound server of the test's own.
class AudioCapturePulseTest : public AudioCaptureFixture {
protected:
    void SetUp() override {
        if (!SoundServer::isInstalled()) {
            GTEST_SKIP() << "the packages pulseaudio and pulseaudio-utils are missing";
        }
        AudioCaptureFixture::SetUp();
        server.emplace(folder.path());
        ASSERT_TRUE(serveUntil([&] { return server->isReady(); }, 10s));
    }

    /// Plays a sweep into the loudspeaker, whose monitor is a microphone.
    void play() {
        const auto file = (folder.path() / "played").string();
        sound::writeRaw(file, sound::sweep(kSweepSeconds, kLowest, kHighest, 48000));
        server->play(file);
    }

    std::optional<SoundServer> server;
    std::mutex agesLock;
    std::vector<double> ages; // seconds, of each block when it was heard
};

TEST_F(AudioCapturePulseTest, HearsAMicrophoneByItsName) {
    ASSERT_TRUE(server->plugIn("vmic", "Test\\ Microphone"));
    begin();
    ASSERT_TRUE(serveUntil([&] { return device("Test Microphone") != nullptr; }, 10s));
    const auto selected = select("Test Microphone");
    play();

    EXPECT_TRUE(serveUntil([&] { return std::abs(level() - 0.354F) < 0.02F; }));
    ASSERT_TRUE(serveUntil([&] { return sink.count() >= 2; }));
    EXPECT_THAT(audio->getAudioParameters(), HasSubstr("CONFIG_AUDIO,8000.000000,"));
}

TEST_F(AudioCapturePulseTest, SendsWhatAMicrophoneHearsWithoutAGap) {
    ASSERT_TRUE(server->plugIn("vmic", "Test\\ Microphone"));
    begin();
    ASSERT_TRUE(serveUntil([&] { return device("Test Microphone") != nullptr; }, 10s));
    play();
    const auto selected = device("Test Microphone");
    ASSERT_FALSE(selected->open());
    const auto tap = selected->tapSound([&](const SoundBlock& block) {
        const std::chrono::duration<double> age = std::chrono::steady_clock::now() - block.time;
        const std::lock_guard guard(agesLock);
        ages.push_back(age.count());
    });
    audio->setAudioInputDevice("Test Microphone"); // a second listener
    ASSERT_TRUE(serveUntil([&] { return level() > 0.3F; }));
    const auto before = sink.count();
    ASSERT_TRUE(serveUntil([&] { return sink.count() >= before + 3; }));
    audio->stopCapture();

    const auto samples = decoded();
    const auto skipped = static_cast<std::size_t>(2.5 * 8000); // silence, until it was played
    ASSERT_GT(samples.size(), 4 * skipped / 2);
    const auto fit = sound::compareWithSweep(std::span(samples).subspan(skipped), kSweepSeconds,
                                             kLowest, kHighest, 8000);
    EXPECT_GT(fit.worst, 0.95) << "at " << fit.where << " s";
    const std::lock_guard guard(agesLock);
    for (const double age : ages) {
        EXPECT_GT(age, -0.05);
        EXPECT_LT(age, 0.6);
    }
}

TEST_F(AudioCapturePulseTest, GoesOnWhenAMicrophoneIsUnpluggedAndComesBack) {
    ASSERT_TRUE(server->plugIn("vmic", "Test\\ Microphone"));
    begin();
    ASSERT_TRUE(serveUntil([&] { return device("Test Microphone") != nullptr; }, 10s));
    auto selected = select("Test Microphone");
    play();
    ASSERT_TRUE(serveUntil([&] { return level() > 0.1F; }));
    bool hasEnded = false;
    selected->ended().connect([&](const std::string&) { hasEnded = true; });

    ASSERT_TRUE(server->unplugAll());
    ASSERT_TRUE(serveUntil([&] { return hasEnded; }, 10s));
    selected->close();
    EXPECT_TRUE(serveUntil([&] { return level() == 0.0F; }));

    ASSERT_TRUE(server->plugIn("vmic", "Test\\ Microphone"));
    ASSERT_TRUE(serveUntil([&] { return device("Test Microphone") != nullptr; }, 10s));
    selected = select("Test Microphone");
    EXPECT_TRUE(serveUntil([&] { return level() > 0.1F; }));
}

TEST_F(AudioCapturePulseTest, IsToldThatTheSoundServerEnded) {
    ASSERT_TRUE(server->plugIn("vmic", "Test\\ Microphone"));
    begin();
    ASSERT_TRUE(serveUntil([&] { return device("Test Microphone") != nullptr; }, 10s));
    const auto selected = select("Test Microphone");
    play();
    ASSERT_TRUE(serveUntil([&] { return level() > 0.1F; }));
    bool hasEnded = false;
    selected->ended().connect([&](const std::string&) { hasEnded = true; });

    server->end();
    EXPECT_TRUE(serveUntil([&] { return hasEnded; }, 10s));
    const auto began = std::chrono::steady_clock::now();
    selected->close();
    audio->stopCapture();
    EXPECT_LT(std::chrono::steady_clock::now() - began, 1s);
}

/// One that hangs, so that no call that needs its answer comes back.
class AudioCaptureHungServerTest : public AudioCapturePulseTest {
protected:
    /// Ends everything as the program does. return: how long that takes
    std::chrono::milliseconds end(CaptureDevicePointer selected) {
        const auto began = std::chrono::steady_clock::now();
        selected->close();
        selected.reset();
        audio->stopCapture();
        audio.reset();
        system.reset();
        devices.reset();
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - began);
    }
    /// What was left behind ends with the server.
    bool endsWithTheServer() {
        server->kill();
        return serveUntil([] { return threadsNamed("sound control") == 0; }, 10s);
    }
};

TEST_F(AudioCaptureHungServerTest, EndsSoonWhileAMicrophoneIsHeard) {
    ASSERT_TRUE(server->plugIn("vmic", "Test\\ Microphone"));
    begin();
    ASSERT_TRUE(serveUntil([&] { return device("Test Microphone") != nullptr; }, 10s));
    auto selected = select("Test Microphone");
    play();
    ASSERT_TRUE(serveUntil([&] { return level() > 0.1F; }));

    server->hang();

    EXPECT_LT(end(std::move(selected)), 3s);
    EXPECT_TRUE(endsWithTheServer());
}

TEST_F(AudioCaptureHungServerTest, EndsSoonWhileAMicrophoneIsBeingConnected) {
    ASSERT_TRUE(server->plugIn("vmic", "Test\\ Microphone"));
    begin();
    ASSERT_TRUE(serveUntil([&] { return device("Test Microphone") != nullptr; }, 10s));
    server->hang();
    auto selected = select("Test Microphone");
    serveUntil([] { return false; }, 300ms); // no condition tells that it waits

    EXPECT_LT(end(std::move(selected)), 3s);
    EXPECT_TRUE(endsWithTheServer());
}

TEST_F(AudioCaptureHungServerTest, EndsSoonWhileADescribedSourceIsHeard) {
    settings.setArray("captureSources", {"a|Described|pulsesrc"});
    begin();
    auto selected = select("Described");
    play();
    ASSERT_TRUE(serveUntil([&] { return level() > 0.1F; }));
    server->hang();

    EXPECT_LT(end(std::move(selected)), 3s);
    EXPECT_TRUE(endsWithTheServer());
}

TEST_F(AudioCaptureHungServerTest, EndsSoonWhileADescribedSourceIsBeingConnected) {
    settings.setArray("captureSources", {"a|Described|pulsesrc"});
    begin();
    server->hang();
    auto selected = select("Described");
    serveUntil([] { return false; }, 300ms);

    EXPECT_LT(end(std::move(selected)), 3s);
    EXPECT_TRUE(endsWithTheServer());
}

} // namespace

} // namespace ovelo
