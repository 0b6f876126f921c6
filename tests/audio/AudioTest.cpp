#include "audio/Audio.h"

#include "audio/AudioSink.h"
#include "fakes/FakeAudioSystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <thread>

namespace ovelo {

namespace {

using Calls = FakeAudioRecord::Calls;
using testing::ElementsAre;
using testing::HasSubstr;

class RecordingSink final : public AudioSink {
public:
    void sendAudioData(const Data& data) override { messages.push_back(*data); }

    std::vector<Bytes> messages;
};

class AudioTest : public testing::Test {
protected:
    /// Has the newest queue hand over a buffer with these packets, or samples without any.
    void deliver(const std::vector<Bytes>& packets, const Bytes& samples = {}) {
        AudioQueueBuffer& buffer = *system.record.buffers.back();
        buffer.bytes = samples;
        std::vector<AudioPacketDescription> descriptions;
        for (const Bytes& packet : packets) {
            descriptions.push_back({static_cast<std::int64_t>(buffer.bytes.size()),
                                    static_cast<std::uint32_t>(packet.size())});
            buffer.bytes.insert(buffer.bytes.end(), packet.begin(), packet.end());
        }
        const auto count = samples.empty() ? packets.size() : samples.size() / 2;
        FakeAudioQueue other(system.record, {});
        AudioQueue& queue = system.record.queue ? *system.record.queue : other;
        handler()(queue, buffer, {}, static_cast<std::uint32_t>(count), descriptions);
    }
    const AudioQueue::InputHandler& handler() { return system.record.handler; }

    static Bytes message(const std::string& header, const std::vector<Bytes>& packets) {
        Bytes bytes(header.begin(), header.end());
        bytes.push_back(0);
        for (const Bytes& packet : packets) {
            bytes.insert(bytes.end(), packet.begin(), packet.end());
        }
        return bytes;
    }

    FakeAudioSystem system;
    RecordingSink sink;
    std::vector<std::string> systemLog;
    Audio audio{{system, sink, [this](const std::string& text) { systemLog.push_back(text); }}};
};

TEST_F(AudioTest, CapturesInAacUnlessToldOtherwise) {
    EXPECT_EQ(audio.audioFormat(), 1);

    audio.startCapture();

    AudioStreamDescription aac;
    aac.mSampleRate = 8000.0;
    aac.mFormatID = 0x61616320; // "aac "
    aac.mFramesPerPacket = 1024;
    aac.mChannelsPerFrame = 1;
    EXPECT_EQ(system.requested, aac);
}

TEST_F(AudioTest, StartsAQueueWithTenBuffersThatMeters) {
    audio.startCapture();

    Calls expected = {"new", "listen", "describe"};
    for (int i = 0; i < 10; ++i) {
        expected.insert(expected.end(), {"allocate", "enqueue"});
    }
    expected.insert(expected.end(), {"meter on", "start"});
    EXPECT_EQ(system.record.calls, expected);
    EXPECT_EQ(audio.audioLevels().size(), 1U);
    EXPECT_EQ(audio.error(), 0);
    for (const auto& buffer : system.record.buffers) {
        EXPECT_EQ(buffer->capacity, 4096U);
    }
}

TEST_F(AudioTest, SendsSamplesAsTheyAre) {
    audio.setAudioFormat(0);
    audio.startCapture();
    ASSERT_EQ(system.record.buffers.back()->capacity, 20000U);

    deliver({}, {0x12, 0x34, 0xff, 0x00});

    EXPECT_THAT(sink.messages, ElementsAre(Bytes{0x12, 0x34, 0xff, 0x00}));
}

TEST_F(AudioTest, PutsAHeaderBeforePackets) {
    audio.startCapture();
    const std::vector<Bytes> packets = {Bytes(200, 0xa1), Bytes(180, 0xb2)};

    deliver(packets);

    EXPECT_THAT(sink.messages, ElementsAre(message("2,200,0,0,180,200,0,380", packets)));
}

TEST_F(AudioTest, PutsAHeaderBeforeNoPacketsAtAll) {
    audio.startCapture();

    deliver({});

    EXPECT_THAT(sink.messages, ElementsAre(Bytes{'0', ',', '0', 0}));
}

TEST_F(AudioTest, GivesBuffersBackWhileItRuns) {
    audio.startCapture();
    system.record.enqueued.clear();

    deliver({Bytes(7, 1)});

    EXPECT_THAT(system.record.enqueued, ElementsAre(system.record.buffers.back().get()));
}

TEST_F(AudioTest, SendsButKeepsABufferThatComesAfterTheStop) {
    audio.startCapture();
    audio.stopCapture();
    system.record.enqueued.clear();
    system.record.queue = nullptr; // it is gone

    deliver({Bytes(7, 1)});

    EXPECT_EQ(sink.messages.size(), 1U);
    EXPECT_TRUE(system.record.enqueued.empty());
}

TEST_F(AudioTest, StopsInOrderAndOnlyOnce) {
    audio.stopCapture();
    EXPECT_TRUE(system.record.calls.empty());

    audio.startCapture();
    system.record.calls.clear();
    audio.stopCapture();
    audio.stopCapture();
    EXPECT_EQ(system.record.calls, (Calls{"flush", "stop", "dispose"}));
}

TEST_F(AudioTest, GivesUpTheQueueThatRunsBeforeItStartsAnother) {
    audio.startCapture();
    system.record.calls.clear();

    audio.startCapture();

    system.record.calls.resize(4);
    EXPECT_EQ(system.record.calls, (Calls{"flush", "stop", "dispose", "new"}));
}

TEST_F(AudioTest, SelectsADeviceByNameAndStarts) {
    system.names = {"Front", "", "Back", "Other"};

    audio.setAudioInputDevice("Back");

    EXPECT_EQ(system.defaultInput, "Back");
    EXPECT_THAT(systemLog, ElementsAre("Front", "Back")); // one has no input, one was not needed
    EXPECT_EQ(system.record.count("start"), 1U);
    system.record.calls.resize(8);
    EXPECT_EQ(system.record.calls, (Calls{"count", "devices", "name size", "name", "name size",
                                          "name size", "name", "default"}));
}

TEST_F(AudioTest, StartsAnewWhenTheDeviceChanges) {
    system.names = {"Front", "Back"};
    audio.setAudioInputDevice("Front");
    system.record.calls.clear();

    audio.setAudioInputDevice("Back");

    EXPECT_EQ(system.defaultInput, "Back");
    EXPECT_EQ(system.record.count("dispose"), 1U);
    EXPECT_EQ(system.record.count("new"), 1U);
    EXPECT_EQ(system.record.calls.back(), "start");
}

TEST_F(AudioTest, GoesOnWithTheFormerDeviceWhenTheNameIsUnknown) {
    system.names = {"Front", "Back"};
    audio.setAudioInputDevice("Front");
    system.record.calls.clear();
    testing::internal::CaptureStderr();

    for (const char* name : {"front", "Front1", "Front ", "None", ""}) {
        audio.setAudioInputDevice(name);
    }

    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(system.defaultInput, "Front");
    EXPECT_EQ(system.record.count("stop"), 0U);
    EXPECT_EQ(system.record.count("new"), 0U);
    EXPECT_EQ(system.record.count("default"), 0U);
}

TEST_F(AudioTest, DescribesAacToViewers) {
    audio.startCapture();

    EXPECT_EQ(audio.getAudioParameters(),
              "CONFIG_AUDIO,8000.000000,1633772320,0,0,1024,0,1,0,0.500000,4096\n");
}

TEST_F(AudioTest, DescribesSamplesToViewers) {
    audio.setAudioFormat(0);
    audio.startCapture();

    EXPECT_EQ(audio.getAudioParameters(),
              "CONFIG_AUDIO,4000.000000,1819304813,14,2,1,2,1,16,0.500000,20000\n");
}

TEST_F(AudioTest, DescribesWhatTheQueueMadeOfTheFormat) {
    AudioStreamDescription completed;
    completed.mSampleRate = 8000.0;
    completed.mFormatID = kAudioFormatAac;
    completed.mFormatFlags = 2;
    completed.mFramesPerPacket = 1024;
    completed.mChannelsPerFrame = 1;
    system.completed = completed;

    audio.startCapture();

    EXPECT_EQ(audio.getAudioParameters(),
              "CONFIG_AUDIO,8000.000000,1633772320,2,0,1024,0,1,0,0.500000,4096\n");
}

TEST_F(AudioTest, KeepsItsFormatWhenToldOneThatDoesNotExist) {
    audio.setAudioFormat(0);
    audio.startCapture();
    const auto before = system.requested;

    audio.setAudioFormat(2);
    audio.startCapture();

    EXPECT_EQ(audio.audioFormat(), 2);
    EXPECT_EQ(system.requested, before);
}

TEST_F(AudioTest, ChangesItsFormatAtTheNextStartOnly) {
    audio.startCapture();
    const auto line = audio.getAudioParameters();

    audio.setAudioFormat(0);
    EXPECT_EQ(audio.getAudioParameters(), line);

    audio.startCapture();
    EXPECT_NE(audio.getAudioParameters(), line);
}

TEST_F(AudioTest, ReadsTheLevelOfTheFirstChannel) {
    float average = 7;
    float peak = 7;
    audio.getAudioLevels(&average, &peak); // before anything is known of the format
    EXPECT_EQ(average, 0.0F);
    EXPECT_EQ(peak, 0.0F);
    EXPECT_TRUE(system.record.calls.empty());

    audio.startCapture();
    system.record.level = {0.25F, 0.5F};
    audio.getAudioLevels(&average, &peak);
    EXPECT_EQ(average, 0.25F);
    EXPECT_EQ(peak, 0.5F);
    EXPECT_EQ(audio.audioLevels().front().mPeakPower, 0.5F);

    audio.stopCapture();
    audio.getAudioLevels(&average, &peak);
    EXPECT_EQ(average, 0.0F);
    EXPECT_EQ(peak, 0.0F);
}

TEST_F(AudioTest, ReportsWhatFailsAndGoesOn) {
    system.record.failing = "new";
    system.record.failure = ENOTSUP;
    testing::internal::CaptureStderr();

    audio.startCapture();

    // There is no queue: what follows cannot be done, either, and would only bury the reason.
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: AudioQueueNewInput failed (95)\n");
    EXPECT_EQ(audio.error(), EBADF);
    EXPECT_THAT(audio.getAudioParameters(), HasSubstr("CONFIG_AUDIO,8000.000000,"));

    system.record.failing.clear();
    audio.startCapture(); // the next try is a fresh one
    EXPECT_EQ(audio.error(), 0);
}

TEST_F(AudioTest, KeepsTheRequestedFormatWhenTheQueueDoesNotCompleteIt) {
    system.record.failing = "describe";
    system.record.failure = -50;
    testing::internal::CaptureStderr();

    audio.startCapture();

    EXPECT_EQ(testing::internal::GetCapturedStderr(), ""); // there are no words for it
    EXPECT_THAT(audio.getAudioParameters(), HasSubstr("CONFIG_AUDIO,8000.000000,1633772320,"));
}

struct FailingCall {
    const char* call;
    const char* text;
};

class AudioFailureTest : public AudioTest, public testing::WithParamInterface<FailingCall> {};

TEST_P(AudioFailureTest, IsReportedByItsName) {
    system.names = {"Front"};
    system.record.failing = GetParam().call;
    system.record.failure = -50;
    testing::internal::CaptureStderr();

    audio.setAudioInputDevice("Front");
    audio.stopCapture();

    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr(std::string("Error: ") + GetParam().text + " (-50)\n"));
}

INSTANTIATE_TEST_SUITE_P(
    All, AudioFailureTest,
    testing::Values(FailingCall{"count", "AudioHardwareGetPropertyInfo failed"},
                    FailingCall{"devices", "AudioHardwareGetPropertyInfo failed"},
                    FailingCall{"name size", "AudioDeviceGetPropertyInfo failed"},
                    FailingCall{"name", "AudioHardwareGetPropertyInfo failed"},
                    FailingCall{"default", "AudioHardwareSetProperty failed"},
                    FailingCall{"listen", "AudioQueueNewInput failed"},
                    FailingCall{"allocate", "AudioQueueAllocateBuffer failed"},
                    FailingCall{"enqueue", "AudioQueueEnqueueBuffer failed"},
                    FailingCall{"start", "AudioQueueStart failed"},
                    FailingCall{"flush", "AudioQueueFlush failed"},
                    FailingCall{"stop", "AudioQueueStop failed"}));

TEST_F(AudioTest, RendersAStatusAsLettersWhenItIsSome) {
    testing::internal::CaptureStderr();
    Audio::CheckError(0, "Nothing");
    Audio::CheckError(0x666d743f, "Letters"); // fmt?
    Audio::CheckError(0x20202020, "Blanks");
    Audio::CheckError(0x666d740a, "A control");
    Audio::CheckError(-1, "A number");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Letters ('fmt?')\n"
                                                      "Error: Blanks ('    ')\n"
                                                      "Error: A control (1718449162)\n"
                                                      "Error: A number (-1)\n");
}

TEST_F(AudioTest, DerivesTheSizeOfABuffer) {
    AudioStreamDescription format;
    EXPECT_EQ(Audio::DeriveBufferSize(nullptr, format, 0.5), 4096U);
    format.mBytesPerPacket = 2;
    format.mSampleRate = 4000;
    EXPECT_EQ(Audio::DeriveBufferSize(nullptr, format, 0.5), 20000U);
    EXPECT_EQ(Audio::DeriveBufferSize(nullptr, format, 0.00001), 0U);
    format.mSampleRate = 44100;
    EXPECT_EQ(Audio::DeriveBufferSize(nullptr, format, 0.5), 220500U);
    EXPECT_EQ(Audio::DeriveBufferSize(nullptr, format, 1.0), 0x50000U);
}

TEST_F(AudioTest, IsAskedByViewersWhileItStartsAndStops) {
    std::atomic<bool> isOver = false;
    std::thread viewer([&] {
        while (!isOver) {
            audio.setAudioFormat(1);
            EXPECT_THAT(audio.getAudioParameters(), testing::StartsWith("CONFIG_AUDIO,"));
            EXPECT_EQ(audio.audioFormat(), 1);
        }
    });
    for (int i = 0; i < 50; ++i) {
        audio.startCapture();
        audio.stopCapture();
    }
    isOver = true;
    viewer.join();
}

} // namespace

} // namespace ovelo
