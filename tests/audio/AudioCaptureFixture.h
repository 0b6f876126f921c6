#pragma once

#include "audio/Audio.h"
#include "audio/AudioSink.h"
#include "fakes/SoundTools.h"
#include "fakes/TemporaryFolder.h"
#include "platform/CaptureDevices.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

/// What the sound of these tests is: a sweep, again and again.
inline constexpr double kSweepSeconds = 4;
inline constexpr double kLowest = 200;
inline constexpr double kHighest = 1600;

class GatheringSink final : public AudioSink {
public:
    void sendAudioData(const Data& data) override {
        const std::lock_guard guard(lock_);
        messages_.push_back(*data);
    }
    std::vector<Bytes> messages() const {
        const std::lock_guard guard(lock_);
        return messages_;
    }
    std::size_t count() const { return messages().size(); }

private:
    mutable std::mutex lock_;
    std::vector<Bytes> messages_;
};

/// Everything from the devices to the messages for viewers.
class AudioCaptureFixture : public testing::Test {
protected:
    void SetUp() override { MainThread::begin(); }
    void TearDown() override {
        audio.reset();
        system.reset();
        devices.reset();
        MainThread::end();
    }

    void begin() {
        devices = CaptureDevices::create(settings);
        system = AudioSystem::create(*devices);
        audio.emplace(Audio::Environment{*system, sink, {}});
    }
    void addSweep(const std::string& name) {
        const auto file = (folder.path() / "sweep.wav").string();
        sound::writeWav(file, sound::sweep(kSweepSeconds, kLowest, kHighest, 48000), 48000);
        settings.setArray("captureSources", {"a|" + name + "|file://" + file});
    }
    CaptureDevicePointer device(const std::string& name) {
        for (const auto& one : devices->devices(MediaType::Sound)) {
            if (one->localizedDisplayName() == name) {
                return one;
            }
        }
        return nullptr;
    }
    /// As the document does it.
    CaptureDevicePointer select(const std::string& name) {
        auto selected = device(name);
        EXPECT_TRUE(selected) << name;
        if (selected) {
            const auto failure = selected->open();
            EXPECT_FALSE(failure) << failure->text;
            audio->setAudioInputDevice(name);
        }
        return selected;
    }
    static bool serveUntil(const std::function<bool()>& done,
                           std::chrono::milliseconds limit = std::chrono::seconds(20)) {
        return MainThread::serveUntil(done, limit);
    }
    float level() {
        float average = 0;
        float peak = 0;
        audio->getAudioLevels(&average, &peak);
        EXPECT_GE(peak, average * 0.9F);
        return average;
    }

    std::vector<std::int16_t> decoded() const {
        std::vector<Bytes> packets;
        for (const Bytes& message : sink.messages()) {
            const auto more = sound::packetsOf(message);
            packets.insert(packets.end(), more.begin(), more.end());
        }
        return sound::decodeAac(packets);
    }

    /// Captures a sweep in AAC for so long, and compares.
    void expectGaplessAac(std::chrono::seconds time) {
        addSweep("Sweep");
        begin();
        const auto selected = select("Sweep");
        const auto wanted = static_cast<std::size_t>(time.count()) * 8000 / 1024 / 16;
        ASSERT_TRUE(
            serveUntil([&] { return sink.count() >= wanted; }, time + std::chrono::seconds(10)));
        audio->stopCapture();
        const auto samples = decoded();
        const auto fit = sound::compareWithSweep(samples, kSweepSeconds, kLowest, kHighest, 8000);
        EXPECT_GE(samples.size(), static_cast<std::size_t>(time.count() - 3) * 8000);
        EXPECT_GT(fit.worst, 0.95) << "at " << fit.where << " s";
    }

    TemporaryFolder folder;
    MemorySettings settings;
    GatheringSink sink;
    std::unique_ptr<CaptureDevices> devices;
    std::unique_ptr<AudioSystem> system;
    std::optional<Audio> audio;
};

} // namespace ovelo
