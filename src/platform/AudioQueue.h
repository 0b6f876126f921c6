#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

namespace ovelo {

/// How a call of the sound services went: 0, or an error number of the system.
using AudioStatus = std::int32_t;

/// A four-character code as the number that stands for it.
constexpr std::uint32_t audioCode(std::string_view letters) {
    std::uint32_t code = 0;
    for (const char letter : letters) {
        code = code << 8 | static_cast<unsigned char>(letter);
    }
    return code;
}

inline constexpr std::uint32_t kAudioFormatAac = audioCode("aac ");
inline constexpr std::uint32_t kAudioFormatPcm = audioCode("lpcm");

/// Big-endian, signed integers, packed.
inline constexpr std::uint32_t kAudioPcmFlags = 14;

/// What a stream of sound is made of; 0 where it does not apply or varies.
struct AudioStreamDescription {
    double mSampleRate = 0; // Hz
    std::uint32_t mFormatID = 0;
    std::uint32_t mFormatFlags = 0;
    std::uint32_t mBytesPerPacket = 0;
    std::uint32_t mFramesPerPacket = 0;
    std::uint32_t mBytesPerFrame = 0;
    std::uint32_t mChannelsPerFrame = 0;
    std::uint32_t mBitsPerChannel = 0;
    std::uint32_t mReserved = 0;

    friend bool operator==(const AudioStreamDescription&, const AudioStreamDescription&) = default;
};

/// Where a packet of varying size lies in its buffer, in bytes.
struct AudioPacketDescription {
    std::int64_t mStartOffset = 0;
    std::uint32_t mDataByteSize = 0;
};

/// How loud a channel is: 0 is silence, 1 full scale.
struct AudioLevelMeter {
    float mAveragePower = 0;
    float mPeakPower = 0;
};

/// A piece of sound, filled by the queue that allocated it.
struct AudioQueueBuffer {
    std::uint32_t capacity = 0; // bytes
    std::vector<std::uint8_t> bytes;
};

/// Fills the buffers that are given to it with sound, in the order in which they come, and hands
/// each over when it is full. Sound for which there is no buffer is lost.
///
/// errors  every operation tells its status, and does nothing when that is not 0
/// thread  main, but for enqueueBuffer(), which its handler may call
class AudioQueue {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Takes a full buffer; called on the queue's own thread, one call at a time. It must not wait
    /// for the main thread.
    ///
    /// start    when its first sound was heard
    /// packets  how many packets it holds; for those of constant size there are no descriptions
    using InputHandler = std::function<void(AudioQueue& queue, AudioQueueBuffer& buffer,
                                            TimePoint start, std::uint32_t packets,
                                            std::span<const AudioPacketDescription> descriptions)>;

    AudioQueue() = default;
    virtual ~AudioQueue() = default;
    AudioQueue(const AudioQueue&) = delete;
    AudioQueue& operator=(const AudioQueue&) = delete;

    /// Calls `listener` whenever the queue starts or stops, on the thread that does it.
    [[nodiscard]] virtual AudioStatus addRunningListener(std::function<void()> listener) = 0;

    /// The format of what is delivered, complete.
    [[nodiscard]] virtual AudioStatus readStreamDescription(AudioStreamDescription& format) = 0;

    /// buffer  lives as long as the queue is not disposed of
    [[nodiscard]] virtual AudioStatus allocateBuffer(std::uint32_t bytes,
                                                     AudioQueueBuffer*& buffer) = 0;

    /// Gives a buffer to be filled.
    [[nodiscard]] virtual AudioStatus enqueueBuffer(AudioQueueBuffer& buffer) = 0;

    [[nodiscard]] virtual AudioStatus setLevelMetering(bool isOn) = 0;

    /// levels  one for each channel
    [[nodiscard]] virtual AudioStatus readLevelMeter(std::span<AudioLevelMeter> levels) = 0;

    /// Begins to record from the default input.
    [[nodiscard]] virtual AudioStatus start() = 0;

    /// Asks for what there is to be handed over, full or not; done at the latest when stop()
    /// returns.
    [[nodiscard]] virtual AudioStatus flush() = 0;

    /// Returns when the handler is not running any more; it is not called again.
    [[nodiscard]] virtual AudioStatus stop() = 0;

    /// Stops, and gives everything back; of no use from then on.
    [[nodiscard]] virtual AudioStatus dispose() = 0;
};

} // namespace ovelo
