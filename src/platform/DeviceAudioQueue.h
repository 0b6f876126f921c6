#pragma once

#include "platform/AudioQueue.h"
#include "platform/CaptureDevice.h"
#include "platform/SoundEncoder.h"
#include "platform/SoundMeter.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace ovelo {

/// An audio queue on a tap of a capture device.
///
/// The device's thread meters and stores what it hears; the queue's own thread encodes it, eight
/// times a second, and fills the buffers. Sound that is lost is told on standard error, once for each
/// stretch of it.
class DeviceAudioQueue final : public AudioQueue {
public:
    using TapMaker = std::function<std::unique_ptr<SoundTap>(CaptureDevice::SoundHandler)>;

    struct Parts {
        AudioStreamDescription format;
        std::unique_ptr<SoundEncoder> encoder;
        TapMaker tap; // taps the default input; gives null when there is none
        const Clock& clock = Clock::system();
    };

    DeviceAudioQueue(Parts parts, InputHandler handler);
    ~DeviceAudioQueue() override;

    [[nodiscard]] AudioStatus addRunningListener(std::function<void()> listener) override;
    [[nodiscard]] AudioStatus readStreamDescription(AudioStreamDescription& format) override;
    [[nodiscard]] AudioStatus allocateBuffer(std::uint32_t bytes,
                                             AudioQueueBuffer*& buffer) override;
    [[nodiscard]] AudioStatus enqueueBuffer(AudioQueueBuffer& buffer) override;
    [[nodiscard]] AudioStatus setLevelMetering(bool isOn) override;
    [[nodiscard]] AudioStatus readLevelMeter(std::span<AudioLevelMeter> levels) override;
    [[nodiscard]] AudioStatus start() override;
    [[nodiscard]] AudioStatus flush() override;
    [[nodiscard]] AudioStatus stop() override;
    [[nodiscard]] AudioStatus dispose() override;

    /// How often sound was lost because there was no buffer for it, or nobody to encode it.
    [[nodiscard]] std::uint64_t losses() const { return losses_; }

private:
    /// The buffer that is being filled, and what is in it.
    struct Filling {
        AudioQueueBuffer* buffer = nullptr;
        TimePoint start;
        std::uint32_t packets = 0;
        std::vector<AudioPacketDescription> descriptions;
    };

    void hear(const SoundBlock& block);
    /// return  how many samples wait to be encoded; 0 when there is no room for the block
    std::size_t keep(const SoundBlock& block);
    void run(const std::stop_token& stop);
    void encode(const std::vector<std::int16_t>& samples);
    void place(std::span<const std::uint8_t> packet);
    void placeVarying(std::span<const std::uint8_t> packet);
    void placeConstant(std::span<const std::uint8_t> packets);
    bool hasBuffer();
    void handOver();
    void lose(bool& isTold, const char* reason);
    void tellRunning() const;
    [[nodiscard]] bool isVarying() const { return format_.mBytesPerPacket == 0; }

    const AudioStreamDescription format_;
    const std::unique_ptr<SoundEncoder> encoder_; // the queue's thread's
    const TapMaker tapDefaultInput_;
    const InputHandler handler_;
    SoundMeter meter_;
    std::atomic<bool> isMetering_ = false;
    std::atomic<std::uint64_t> losses_ = 0;

    // The main thread's.
    bool isDisposed_ = false; // written with lock_ held, for enqueueBuffer()
    std::vector<std::function<void()>> listeners_;
    std::vector<std::unique_ptr<AudioQueueBuffer>> buffers_;
    std::unique_ptr<SoundTap> tap_;

    // The device's thread's.
    bool isOverrunTold_ = false; // within this stretch of lost sound

    // The queue's thread's.
    Filling filling_;
    TimePoint batchStart_;    // when what is being encoded was heard
    bool isLossTold_ = false; // within this stretch of lost sound

    // Guarded by lock_, a leaf.
    std::mutex lock_;
    std::condition_variable_any changed_;
    std::vector<std::int16_t> heard_; // not encoded yet
    TimePoint heardSince_;
    std::deque<AudioQueueBuffer*> free_;
    bool mustFlush_ = false;

    std::jthread thread_; // while running
};

} // namespace ovelo
