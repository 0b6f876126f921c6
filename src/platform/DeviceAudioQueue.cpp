#include "platform/DeviceAudioQueue.h"

#include "platform/Console.h"
#include "platform/Threads.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>

namespace ovelo {

namespace {

constexpr std::size_t kBatch = 2048; // samples: one AAC packet at half the rate
constexpr std::size_t kMostHeard =
    std::size_t{4} * kSoundRate;                    // samples; 4 s behind is too far behind
constexpr std::uint32_t kLargestBuffer = 1U << 24U; // bytes
constexpr const char* kNoBuffer = "the buffers do not come back fast enough.";

} // namespace

DeviceAudioQueue::DeviceAudioQueue(Parts parts, InputHandler handler)
    : format_(parts.format)
    , encoder_(std::move(parts.encoder))
    , tapDefaultInput_(std::move(parts.tap))
    , handler_(std::move(handler))
    , meter_(parts.clock) {
}

DeviceAudioQueue::~DeviceAudioQueue() {
    static_cast<void>(stop());
}

AudioStatus DeviceAudioQueue::addRunningListener(std::function<void()> listener) {
    if (isDisposed_) {
        return EBADF;
    }
    listeners_.push_back(std::move(listener));
    return 0;
}

AudioStatus DeviceAudioQueue::readStreamDescription(AudioStreamDescription& format) {
    if (isDisposed_) {
        return EBADF;
    }
    format = format_;
    return 0;
}

AudioStatus DeviceAudioQueue::allocateBuffer(std::uint32_t bytes, AudioQueueBuffer*& buffer) {
    if (isDisposed_) {
        return EBADF;
    }
    if (bytes == 0 || bytes > kLargestBuffer) {
        return EINVAL;
    }
    buffers_.push_back(std::make_unique<AudioQueueBuffer>());
    buffer = buffers_.back().get();
    buffer->capacity = bytes;
    buffer->bytes.reserve(bytes);
    return 0;
}

AudioStatus DeviceAudioQueue::enqueueBuffer(AudioQueueBuffer& buffer) {
    const std::lock_guard guard(lock_);
    if (isDisposed_) {
        return EBADF; // the buffer may be gone
    }
    if (std::find(free_.begin(), free_.end(), &buffer) != free_.end()) {
        return EBUSY;
    }
    buffer.bytes.clear();
    free_.push_back(&buffer);
    return 0;
}

AudioStatus DeviceAudioQueue::setLevelMetering(bool isOn) {
    if (isDisposed_) {
        return EBADF;
    }
    isMetering_ = isOn;
    return 0;
}

AudioStatus DeviceAudioQueue::readLevelMeter(std::span<AudioLevelMeter> levels) {
    if (isDisposed_) {
        return EBADF;
    }
    if (levels.empty() || !isMetering_) {
        return EINVAL;
    }
    const auto level = meter_.level();
    levels.front() = {level.average, level.peak};
    return 0;
}

AudioStatus DeviceAudioQueue::start() {
    if (isDisposed_) {
        return EBADF;
    }
    if (thread_.joinable()) {
        return 0; // running
    }
    auto tap = tapDefaultInput_([this](const SoundBlock& block) { hear(block); });
    if (!tap) {
        return ENODEV;
    }
    tap_ = std::move(tap);
    thread_ = std::jthread([this](const std::stop_token& stopping) { run(stopping); });
    tellRunning();
    return 0;
}

AudioStatus DeviceAudioQueue::flush() {
    if (isDisposed_) {
        return EBADF;
    }
    if (thread_.joinable()) {
        {
            const std::lock_guard guard(lock_);
            mustFlush_ = true;
        }
        changed_.notify_all();
    }
    return 0;
}

AudioStatus DeviceAudioQueue::stop() {
    if (isDisposed_) {
        return EBADF;
    }
    tap_.reset();
    if (thread_.joinable()) {
        thread_.request_stop();
        thread_.join();
        tellRunning();
    }
    return 0;
}

AudioStatus DeviceAudioQueue::dispose() {
    const AudioStatus status = stop();
    if (status == 0) {
        const std::lock_guard guard(lock_);
        isDisposed_ = true;
        free_.clear();
        buffers_.clear();
    }
    return status;
}

void DeviceAudioQueue::hear(const SoundBlock& block) {
    if (isMetering_) {
        meter_.add(block.samples);
    }
    const std::size_t kept = keep(block);
    if (kept == 0) {
        lose(isOverrunTold_, "it is not encoded fast enough.");
        return;
    }
    isOverrunTold_ = false;
    if (kept >= kBatch) {
        changed_.notify_all();
    }
}

std::size_t DeviceAudioQueue::keep(const SoundBlock& block) {
    const std::lock_guard guard(lock_);
    if (heard_.size() + block.samples.size() > kMostHeard) {
        return 0;
    }
    if (heard_.empty()) {
        heardSince_ = block.time;
    }
    heard_.insert(heard_.end(), block.samples.begin(), block.samples.end());
    return heard_.size();
}

void DeviceAudioQueue::lose(bool& isTold, const char* reason) {
    ++losses_;
    if (!std::exchange(isTold, true)) {
        console::write(std::string("Sound is lost: ") + reason);
    }
}

void DeviceAudioQueue::run(const std::stop_token& stop) {
    settleThread("audio queue");
    std::vector<std::int16_t> samples;
    while (true) {
        bool isFlushing = false;
        {
            std::unique_lock guard(lock_);
            changed_.wait(guard, stop, [this] { return heard_.size() >= kBatch || mustFlush_; });
            isFlushing = std::exchange(mustFlush_, false);
            if (stop.stop_requested() && !isFlushing) {
                return; // what was to be flushed before the stop is
            }
            samples.clear();
            samples.swap(heard_);
            batchStart_ = heardSince_;
        }
        encode(samples);
        if (isFlushing) {
            handOver();
        }
    }
}

void DeviceAudioQueue::encode(const std::vector<std::int16_t>& samples) {
    if (samples.empty()) {
        return;
    }
    const bool isEncoded =
        encoder_->encode(samples, [this](std::span<const std::uint8_t> packet) { place(packet); });
    if (!isEncoded) {
        lose(isLossTold_, "the encoder has failed, until the capture starts anew.");
    }
}

void DeviceAudioQueue::place(std::span<const std::uint8_t> packet) {
    if (isVarying()) {
        placeVarying(packet);
    } else {
        placeConstant(packet);
    }
}

void DeviceAudioQueue::placeVarying(std::span<const std::uint8_t> packet) {
    const auto fits = [&] {
        return filling_.buffer->bytes.size() + packet.size() <= filling_.buffer->capacity;
    };
    if (filling_.buffer && !fits()) {
        handOver();
    }
    if (!hasBuffer()) {
        lose(isLossTold_, kNoBuffer);
        return;
    }
    if (!fits()) {
        lose(isLossTold_, "a packet is larger than a buffer.");
        return;
    }
    isLossTold_ = false;
    auto& bytes = filling_.buffer->bytes;
    filling_.descriptions.push_back(
        {static_cast<std::int64_t>(bytes.size()), static_cast<std::uint32_t>(packet.size())});
    bytes.insert(bytes.end(), packet.begin(), packet.end());
    ++filling_.packets;
}

void DeviceAudioQueue::placeConstant(std::span<const std::uint8_t> packets) {
    while (!packets.empty()) {
        if (!hasBuffer()) {
            lose(isLossTold_, kNoBuffer);
            return;
        }
        isLossTold_ = false;
        auto& bytes = filling_.buffer->bytes;
        const std::size_t room =
            (filling_.buffer->capacity - bytes.size()) / format_.mBytesPerPacket;
        const std::size_t taken = std::min(room * format_.mBytesPerPacket, packets.size());
        bytes.insert(bytes.end(), packets.begin(),
                     packets.begin() + static_cast<std::ptrdiff_t>(taken));
        filling_.packets += static_cast<std::uint32_t>(taken / format_.mBytesPerPacket);
        packets = packets.subspan(taken);
        if (bytes.size() + format_.mBytesPerPacket > filling_.buffer->capacity) {
            handOver();
        }
    }
}

bool DeviceAudioQueue::hasBuffer() {
    if (filling_.buffer) {
        return true;
    }
    const std::lock_guard guard(lock_);
    if (free_.empty()) {
        return false;
    }
    filling_ = {free_.front(), batchStart_, 0, {}};
    free_.pop_front();
    return true;
}

void DeviceAudioQueue::handOver() {
    if (!filling_.buffer || filling_.packets == 0) {
        return;
    }
    const Filling full = std::exchange(filling_, {});
    handler_(*this, *full.buffer, full.start, full.packets, full.descriptions);
}

void DeviceAudioQueue::tellRunning() const {
    for (const auto& listener : listeners_) {
        listener();
    }
}

} // namespace ovelo
