#pragma once

#include "audio/AQRecorderState.h"
#include "platform/AudioSystem.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace ovelo {

/// Captures the sound of the chosen device, in one of two formats, for those who listen, and
/// measures how loud it is.
///
/// errors    failures of the sound services are told on standard error and otherwise ignored
/// thread    main, but where said otherwise
/// lifetime  stops the capture at its end
class Audio final {
public:
    /// What the capture needs. Given, not owned; outlives it.
    struct Environment {
        AudioSystem& system;
        AudioSink& network;
        std::function<void(const std::string&)> systemLog; // takes a text; may be empty
    };

    explicit Audio(Environment environment);
    ~Audio();
    Audio(const Audio&) = delete;
    Audio& operator=(const Audio&) = delete;

    /// Chooses the format of the next startCapture().
    ///
    /// format  0 for PCM, 1 for AAC
    /// thread  any
    void setAudioFormat(std::int32_t format) { audioFormat_ = format; }
    [[nodiscard]] std::int32_t audioFormat() const { return audioFormat_; }

    /// Makes the device of this name the default input, and captures from it. Nothing happens when
    /// there is none.
    void setAudioInputDevice(const std::string& displayName);

    /// Captures from the default input. One that runs already is stopped before.
    void startCapture();

    /// Stops the capture; harmless when there is none. What was heard until now is encoded and sent
    /// before: waits for up to two calls of the sink, and for up to 100 ms for the device.
    void stopCapture();

    /// Writes the level of channel 0, 0 to 1, to where the pointers show.
    void getAudioLevels(float* average, float* peak);

    /// The line that describes the format to viewers.
    ///
    /// thread  any
    [[nodiscard]] std::string getAudioParameters();

    void enableLevelMetering();
    void setupAudioFormat();
    [[nodiscard]] const std::vector<AudioLevelMeter>& audioLevels() const { return audioLevels_; }
    void setAudioLevels(std::vector<AudioLevelMeter> levels) { audioLevels_ = std::move(levels); }

    /// The status of the last call of the sound services.
    [[nodiscard]] AudioStatus error() const { return error_; }

    /// Sends a full buffer, and gives it back to the queue while the capture runs.
    ///
    /// thread  the queue's
    static void HandleInputBuffer(AQRecorderState& state, AudioQueue& queue,
                                  AudioQueueBuffer& buffer, AudioQueue::TimePoint startTime,
                                  std::uint32_t packets,
                                  std::span<const AudioPacketDescription> descriptions);

    /// How large a buffer for that many seconds is, in bytes.
    static std::uint32_t DeriveBufferSize(const AudioQueue* queue,
                                          const AudioStreamDescription& description,
                                          double seconds);

    /// Tells on standard error that the operation failed; nothing when the status is 0.
    static void CheckError(AudioStatus status, const std::string& operation);

private:
    using QueueCall = std::function<AudioStatus(AudioQueue&)>;

    void check(AudioStatus status, const char* operation);
    /// Makes a call of the queue, and tells when it fails; nothing when there is no queue.
    void checkQueue(const QueueCall& call, const char* operation);
    void makeQueue();
    void completeFormat();
    void giveBuffers();
    void disposeQueue();
    bool findDevice(const std::string& displayName, AudioSystem::DeviceId& found);
    [[nodiscard]] AudioStatus onQueue(const QueueCall& call);

    AudioStatus error_ = 0;
    AQRecorderState aqData_;
    AudioSink& network_;
    std::atomic<std::int32_t> audioFormat_ = 1;
    std::vector<AudioLevelMeter> audioLevels_;

    // Our own.
    const Environment environment_;
    // A leaf: aqData_'s mDataFormat, duration and bufferByteSize, which viewers' threads read. They
    // are written on the main thread while no queue exists or before it starts.
    std::mutex formatLock_;
};

} // namespace ovelo
