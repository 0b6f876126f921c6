#pragma once

#include "fakes/Eventually.h"
#include "fakes/SoundTools.h"
#include "integration/Program.h"
#include "integration/Sounds.h"
#include "integration/WatchingViewer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <memory>
#include <string>

namespace ovelo {

inline constexpr double kSweepSeconds = 4;
inline constexpr double kLowest = 200;
inline constexpr double kHighest = 1600;
inline constexpr int kRate = 8000;
inline constexpr const char* kFormat =
    "CONFIG_AUDIO,8000.000000,1633772320,0,0,1024,0,1,0,0.500000,4096";
inline constexpr const char* kCamera =
    "\"v|Cam|videotestsrc is-live=true ! video/x-raw,framerate=10/1\"";

/// Starts the program with sound of which every sample is known.
class SoundTestFixture : public ::testing::Test {
protected:
    /// A rising tone for a microphone, and a camera.
    void startWithSweep(const std::string& more = "") {
        const std::string file = program.home() / "sweep.wav";
        sound::writeWav(file, sound::sweep(kSweepSeconds, kLowest, kHighest, 48000), 48000);
        start(std::string(kCamera) + ", a|Tone|file://" + file + more);
    }
    void start(const std::string& sources) {
        program.setting("captureSources=" + sources);
        program.start();
        ASSERT_TRUE(program.waitUntilListening()) << program.output();
    }
    std::unique_ptr<WatchingViewer> viewer(const std::string& first) const {
        return std::make_unique<WatchingViewer>(program.port(), first);
    }

    /// Listens for so many samples and compares every tenth of a second of them.
    void expectEverySample(std::chrono::seconds time) {
        startWithSweep();
        const auto listener = viewer("Audio,1\n");
        const auto wanted = static_cast<std::size_t>(time.count()) * kRate;
        ASSERT_TRUE(eventually([&] { return heardBy(*listener).samples >= wanted; },
                               time + std::chrono::seconds(15)))
            << heardBy(*listener).samples;
        listener->leave();
        const Heard heard = heardBy(*listener);
        EXPECT_EQ(heard.gaps, 0);
        const auto samples = sound::decodeAac(heard.packets);
        ASSERT_GE(samples.size(), wanted);
        const auto fit = sound::compareWithSweep(samples, kSweepSeconds, kLowest, kHighest, kRate);
        EXPECT_GT(fit.worst, 0.95) << "at " << fit.where << " s";
        EXPECT_NEAR(sound::loudness(samples), 0.5 / std::sqrt(2), 0.05);
        EXPECT_EQ(listener->countOfTexts(kFormat), 1U) << listener->texts();
    }
    void TearDown() override {
        if (program.pid() > 0) {
            EXPECT_EQ(program.terminate(), 0) << program.output();
        }
    }

    Program program;
};

} // namespace ovelo
