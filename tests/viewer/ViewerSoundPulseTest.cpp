#include "fakes/AacPackets.h"
#include "fakes/PulseServer.h"
#include "fakes/Tone.h"
#include "viewer/ViewerSound.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using Samples = std::vector<std::int16_t>;
using SteadyClock = std::chrono::steady_clock;

constexpr int kRecordRate = 44100;
constexpr int kPrompt = 10; // milliseconds of the recorder's latency
constexpr int kPatient = 200;
constexpr const char* kPcmLine = "CONFIG_AUDIO,4000.000000,1819304813,14,2,1,2,1,16,0.500000,20000";
constexpr const char* kAacLine = "CONFIG_AUDIO,8000.000000,1633772320,0,0,1024,0,1,0,0.500000,4096";

Bytes pcmBytes(std::span<const std::int16_t> samples) {
    Bytes bytes;
    for (const std::int16_t sample : samples) {
        bytes.push_back(static_cast<std::uint8_t>(static_cast<unsigned>(sample) >> 8U));
        bytes.push_back(static_cast<std::uint8_t>(sample));
    }
    return bytes;
}

Bytes aacBytes(std::span<const Bytes> packets) {
    std::string text = std::to_string(packets.size()) + ",";
    Bytes sound;
    for (const Bytes& packet : packets) {
        text += std::to_string(packet.size()) + "," + std::to_string(sound.size()) + ",0,";
        sound.insert(sound.end(), packet.begin(), packet.end());
    }
    text += std::to_string(sound.size());
    text.push_back('\0');
    Bytes bytes(text.begin(), text.end());
    bytes.insert(bytes.end(), sound.begin(), sound.end());
    return bytes;
}

/// The whole way: a server's blocks, at the pace of their sound, to what a sound card gets.
class ViewerSoundPulseTest : public testing::Test {
protected:
    void SetUp() override {
        if (!PulseServer::isInstalled()) {
            GTEST_SKIP() << "the packages pulseaudio and pulseaudio-utils are missing";
        }
        server = std::make_unique<PulseServer>();
        ASSERT_TRUE(server->isReady());
        file = server->folder() / "heard.raw";
        startRecorder(kPrompt);
        sound = std::make_unique<ViewerSound>(
            ViewerSound::Parts{&SoundDecoder::createAac, &SoundPlayer::create},
            [this](const std::string& problem) { plays = problem.empty(); });
    }

    void startRecorder(int latency) {
        recorder.reset();
        std::filesystem::remove(file);
        recorder = server->record(file, kRecordRate, latency);
        ASSERT_TRUE(eventually([&] { return !recorded().empty(); }, 10s));
    }

    Samples recorded() const {
        const std::string bytes = readFile(file);
        Samples samples(bytes.size() / sizeof(std::int16_t));
        if (!samples.empty()) {
            std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(std::int16_t));
        }
        return samples;
    }

    void begin(const char* line) {
        sound->handleLine(line);
        ASSERT_TRUE(eventually([&] { return plays.load(); }, 15s));
    }

    void send(std::uint32_t id, Bytes bytes, SteadyClock::time_point when) {
        std::this_thread::sleep_until(when); // the test's clock is the server's
        sound->handleBlock(
            {{BlockKind::Sound, id, static_cast<std::uint32_t>(bytes.size()), 1, false},
             std::move(bytes)});
    }

    /// Sends four seconds of a compressed tone, and tells what is wrong with what was heard.
    std::string playPackets() {
        startRecorder(kPatient);
        const auto packets = aacPackets(tone(300, 8000, 8000 * 5), 8000);
        begin(kAacLine);
        constexpr std::size_t kPackets = 4; // of 128 ms
        const auto start = SteadyClock::now();
        for (std::uint32_t i = 0; i < 8; ++i) {
            send(i, aacBytes(std::span(packets).subspan(i * kPackets, kPackets)),
                 start + i * 512ms);
        }
        sound->reset();
        plays = false;
        recorder.reset();

        const auto heard = recorded();
        const auto loud = std::find_if(heard.begin(), heard.end(), [](int s) { return s > 2000; });
        const auto first = static_cast<std::size_t>(loud - heard.begin()) + kRecordRate / 2;
        return heard.size() <= first + kRecordRate * 2
                   ? "too little was heard"
                   : complaintAbout(std::span(heard).subspan(first, kRecordRate * 2), 300,
                                    kRecordRate);
    }

    std::unique_ptr<PulseServer> server;
    std::filesystem::path file;
    std::unique_ptr<ChildProcess> recorder;
    std::atomic<bool> plays = false;
    std::unique_ptr<ViewerSound> sound;
};

TEST_F(ViewerSoundPulseTest, IsInStepWithPicturesThatAreHeldBack) {
    constexpr double kDelay = 1.0;
    sound->setDelay(kDelay);
    begin(kPcmLine);
    // Silence, and a knock in the middle of the second block.
    Samples knock(2000, 0);
    std::fill(knock.begin() + 1000, knock.begin() + 1400, std::int16_t{20000});
    const auto start = SteadyClock::now();
    send(0, pcmBytes(Samples(2000, 0)), start + 500ms);
    send(1, pcmBytes(knock), start + 1000ms);

    const auto isHeard = [&] { return loudest(recorded()) > 5000; };
    ASSERT_TRUE(eventually(isHeard, 5s));
    const auto heard = SteadyClock::now();

    const auto expected = start + 750ms + 1000ms; // when it was captured, and the delay
    const auto off = std::chrono::duration_cast<std::chrono::milliseconds>(heard - expected);
    RecordProperty("off", static_cast<int>(off.count()));
    EXPECT_LE(std::abs(off.count()), 150);
}

TEST_F(ViewerSoundPulseTest, PlaysCompressedSoundWithoutGapOrClick) {
    std::string complaint = playPackets();
    // Sound is made in time or not at all; a machine that is busy with other things has three tries.
    for (int i = 1; i < 3 && !complaint.empty(); ++i) {
        complaint = playPackets();
    }

    EXPECT_EQ(complaint, "");
}

} // namespace

} // namespace ovelo
