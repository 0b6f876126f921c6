#include "audio/Audio.h"

#include "audio/AudioMessage.h"
#include "audio/AudioSink.h"
#include "platform/AacConfiguration.h"
#include "platform/Console.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace ovelo {

namespace {

constexpr float kBufferSeconds = 0.5F;

/// The listener for the queue's running state. There is nothing to do: whoever starts and stops
/// the queue is who wants to know.
void MyAudioQueuePropertyListenerProc() {
}

AudioStreamDescription aacFormat() {
    AudioStreamDescription format;
    format.mSampleRate = 8000;
    format.mFormatID = kAudioFormatAac;
    format.mFramesPerPacket = kAacPacketSamples;
    format.mChannelsPerFrame = 1;
    return format;
}

AudioStreamDescription pcmFormat() {
    AudioStreamDescription format;
    format.mSampleRate = 4000;
    format.mFormatID = kAudioFormatPcm;
    format.mFormatFlags = kAudioPcmFlags;
    format.mBytesPerPacket = 2;
    format.mFramesPerPacket = 1;
    format.mBytesPerFrame = 2;
    format.mChannelsPerFrame = 1;
    format.mBitsPerChannel = 16;
    return format;
}

} // namespace

Audio::Audio(Environment environment)
    : network_(environment.network)
    , environment_(std::move(environment)) {
}

Audio::~Audio() {
    stopCapture();
}

void Audio::setAudioInputDevice(const std::string& displayName) {
    AudioSystem::DeviceId device = 0;
    if (!findDevice(displayName, device)) {
        return;
    }
    check(environment_.system.setDefaultInput(device), "AudioHardwareSetProperty failed");
    if (aqData_.mIsRunning) {
        stopCapture();
    }
    startCapture();
}

bool Audio::findDevice(const std::string& displayName, AudioSystem::DeviceId& found) {
    AudioSystem& system = environment_.system;
    std::size_t count = 0;
    std::vector<AudioSystem::DeviceId> devices;
    check(system.readDeviceCount(count), "AudioHardwareGetPropertyInfo failed");
    check(system.readDevices(devices), "AudioHardwareGetPropertyInfo failed");
    for (const auto device : devices) {
        std::size_t size = 0;
        check(system.readInputNameSize(device, size), "AudioDeviceGetPropertyInfo failed");
        if (size == 0) {
            continue; // no input
        }
        std::string name;
        // Kept: the words of the listing.
        check(system.readInputName(device, name), "AudioHardwareGetPropertyInfo failed");
        if (environment_.systemLog) {
            environment_.systemLog(name);
        }
        if (name == displayName) {
            found = device;
            return true;
        }
    }
    return false;
}

void Audio::startCapture() {
    disposeQueue(); // one that runs would go on unseen
    setupAudioFormat();
    aqData_.network = &network_;
    makeQueue();
    completeFormat();
    giveBuffers();
    enableLevelMetering();
    aqData_.mCurrentPacket = 0;
    aqData_.mIsRunning = true;
    checkQueue([](AudioQueue& queue) { return queue.start(); }, "AudioQueueStart failed");
}

void Audio::setupAudioFormat() {
    const std::lock_guard guard(formatLock_);
    switch (audioFormat_) {
    case 0:
        aqData_.mDataFormat = pcmFormat();
        break;
    case 1:
        aqData_.mDataFormat = aacFormat();
        break;
    default:
        break; // Kept: what it was.
    }
}

void Audio::makeQueue() {
    const auto handler = [this](AudioQueue& queue, AudioQueueBuffer& buffer,
                                AudioQueue::TimePoint start, std::uint32_t packets,
                                std::span<const AudioPacketDescription> descriptions) {
        HandleInputBuffer(aqData_, queue, buffer, start, packets, descriptions);
    };
    check(environment_.system.newInput(aqData_.mDataFormat, handler, aqData_.mQueue),
          "AudioQueueNewInput failed");
    // Kept: the words of the line before.
    checkQueue(
        [](AudioQueue& queue) {
            return queue.addRunningListener(MyAudioQueuePropertyListenerProc);
        },
        "AudioQueueNewInput failed");
}

void Audio::completeFormat() {
    AudioStreamDescription format = aqData_.mDataFormat;
    const auto size = DeriveBufferSize(aqData_.mQueue.get(), format, kBufferSeconds);
    error_ = onQueue([&](AudioQueue& queue) { return queue.readStreamDescription(format); });
    const std::lock_guard guard(formatLock_);
    aqData_.duration = kBufferSeconds;
    aqData_.bufferByteSize = size;
    aqData_.mDataFormat = format;
}

void Audio::giveBuffers() {
    for (AudioQueueBuffer*& buffer : aqData_.mBuffers) {
        buffer = nullptr;
        checkQueue(
            [&](AudioQueue& queue) { return queue.allocateBuffer(aqData_.bufferByteSize, buffer); },
            "AudioQueueAllocateBuffer failed");
        checkQueue(
            [&](AudioQueue& queue) { return buffer ? queue.enqueueBuffer(*buffer) : EINVAL; },
            "AudioQueueEnqueueBuffer failed");
    }
}

void Audio::enableLevelMetering() {
    audioLevels_.assign(aqData_.mDataFormat.mChannelsPerFrame, {});
    error_ = onQueue([](AudioQueue& queue) { return queue.setLevelMetering(true); });
}

void Audio::stopCapture() {
    if (!aqData_.mQueue && !aqData_.mIsRunning) {
        return;
    }
    disposeQueue();
    aqData_.mIsRunning = false;
}

void Audio::disposeQueue() {
    if (!aqData_.mQueue) {
        return; // none was made
    }
    AudioQueue& queue = *aqData_.mQueue;
    check(queue.flush(), "AudioQueueFlush failed");
    check(queue.stop(), "AudioQueueStop failed");
    error_ = queue.dispose();
    aqData_.mBuffers.fill(nullptr);
    aqData_.mQueue.reset();
}

void Audio::getAudioLevels(float* average, float* peak) {
    if (aqData_.mDataFormat.mChannelsPerFrame != 0) {
        std::vector<AudioLevelMeter> levels(aqData_.mDataFormat.mChannelsPerFrame);
        error_ = onQueue([&](AudioQueue& queue) { return queue.readLevelMeter(levels); });
        audioLevels_ = std::move(levels); // zeros without a queue: nothing is heard
    }
    const AudioLevelMeter level = audioLevels_.empty() ? AudioLevelMeter{} : audioLevels_.front();
    *average = level.mAveragePower;
    *peak = level.mPeakPower;
}

std::string Audio::getAudioParameters() {
    const std::lock_guard guard(formatLock_);
    const AudioStreamDescription& format = aqData_.mDataFormat;
    const auto number = [](std::uint32_t value) { return static_cast<std::int32_t>(value); };
    return fmt::format("CONFIG_AUDIO,{:f},{},{},{},{},{},{},{},{:f},{}\n", format.mSampleRate,
                       number(format.mFormatID), number(format.mFormatFlags),
                       number(format.mBytesPerPacket), number(format.mFramesPerPacket),
                       number(format.mBytesPerFrame), number(format.mChannelsPerFrame),
                       number(format.mBitsPerChannel), aqData_.duration, aqData_.bufferByteSize);
}

void Audio::HandleInputBuffer(AQRecorderState& state, AudioQueue& queue, AudioQueueBuffer& buffer,
                              AudioQueue::TimePoint /*startTime*/, std::uint32_t packets,
                              std::span<const AudioPacketDescription> descriptions) {
    state.network->sendAudioData(state.mDataFormat.mBytesPerPacket == 0
                                     ? aacMessage(packets, descriptions, buffer.bytes)
                                     : pcmMessage(buffer.bytes));
    if (state.mIsRunning) {
        // Nobody could do anything about a failure here: the buffer is missed when all are gone.
        static_cast<void>(queue.enqueueBuffer(buffer));
    }
}

std::uint32_t Audio::DeriveBufferSize(const AudioQueue* /*queue*/,
                                      const AudioStreamDescription& description, double seconds) {
    constexpr std::uint32_t kForVaryingPackets = 4096;
    constexpr double kMost = 0x50000;
    if (description.mBytesPerPacket == 0) {
        return kForVaryingPackets;
    }
    // Kept: five times as long as asked for.
    const double size = description.mBytesPerPacket * description.mSampleRate * seconds * 5.0;
    return static_cast<std::uint32_t>(std::clamp(size, 0.0, kMost));
}

void Audio::CheckError(AudioStatus status, const std::string& operation) {
    if (status == 0) {
        return;
    }
    std::string letters;
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        letters += static_cast<char>(static_cast<std::uint32_t>(status) >> shift & 0xffU);
    }
    const bool isCode = std::all_of(letters.begin(), letters.end(),
                                    [](char letter) { return letter >= ' ' && letter <= '~'; });
    const std::string rendering = isCode ? "'" + letters + "'" : std::to_string(status);
    console::write(fmt::format("Error: {} ({})", operation, rendering));
}

void Audio::check(AudioStatus status, const char* operation) {
    error_ = status;
    CheckError(status, operation);
}

void Audio::checkQueue(const QueueCall& call, const char* operation) {
    error_ = onQueue(call);
    if (aqData_.mQueue) {
        CheckError(error_, operation);
    } // else why there is none was told, and two dozen lines would bury it
}

AudioStatus Audio::onQueue(const QueueCall& call) {
    return aqData_.mQueue ? call(*aqData_.mQueue) : EBADF;
}

} // namespace ovelo
