#include "platform/MovieComposer.h"

#include "platform/AacConfiguration.h"
#include "platform/H264Stream.h"

#include <algorithm>
#include <array>
#include <utility>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kInFlight = 4;
constexpr std::int64_t kKeyTicks = 2 * static_cast<std::int64_t>(kPictureTimescale);
constexpr auto kStandIn = 2s;

// Sound comes late, by its block's length and by the way through the sound server.
constexpr auto kSoundLatency = 500ms;

// A whole packet without a sound in it: one channel of no bands at no gain, and the end mark.
constexpr std::array<std::uint8_t, 4> kSilentPacket = {0x00, 0x00, 0x00, 0x07};

VideoFrame blackFrame() {
    constexpr int kWidth = 320;
    constexpr int kHeight = 240;
    constexpr std::size_t kRow = 4UL * kWidth;
    constexpr std::size_t kAlpha = 3;
    auto pixels = std::make_shared<std::vector<std::uint8_t>>(kRow * kHeight, std::uint8_t{0});
    for (std::size_t i = kAlpha; i < pixels->size(); i += 4) {
        (*pixels)[i] = 0xff;
    }
    return {kWidth, kHeight, kRow, pixels->data(), pixels};
}

std::chrono::nanoseconds fromTicks(std::int64_t ticks) {
    constexpr std::int64_t kNanoseconds = 1000000000;
    return std::chrono::nanoseconds(ticks * (kNanoseconds / 10000) / (kPictureTimescale / 10000));
}

} // namespace

MovieComposer::MovieComposer(Parts parts, Steady begun)
    : parts_(std::move(parts))
    , begun_(begun)
    , timeline_(begun, parts_.sound.delay % kAacPacketSamples)
    , toDiscard_(parts_.sound.delay / kAacPacketSamples) {
}

std::int64_t MovieComposer::ticks(Steady moment) const {
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, kPictureTimescale>>;
    return std::chrono::round<Ticks>(moment - begun_).count();
}

std::chrono::milliseconds MovieComposer::duration() const {
    return std::chrono::round<std::chrono::milliseconds>(
        fromTicks(std::max<std::int64_t>(lastTicks_, 0)));
}

void MovieComposer::take(const MovieInbox::Batch& batch, Steady now) {
    for (const auto& sound : batch.sounds) {
        timeline_.take({sound.samples, sound.time});
    }
    timeline_.advanceTo(now - kSoundLatency);
    encodeSound();
    for (const auto& picture : batch.pictures) {
        takePicture(picture.frame, picture.time);
    }
    standIn(now);
    drainPictures(0s);
}

void MovieComposer::standIn(Steady now) {
    if (now - (last_ ? lastTime_ : begun_) >= kStandIn) {
        takePicture(last_ ? *last_ : blackFrame(), now);
    }
}

void MovieComposer::takePicture(const VideoFrame& frame, Steady time) {
    if (!waitForEncoder()) {
        return;
    }
    // The first one stands from the beginning.
    const std::int64_t start = lastTicks_ < 0 ? 0 : std::max(ticks(time), lastTicks_ + 1);
    const bool wantKey = lastTicks_ < 0 || start - lastKey_ >= kKeyTicks;
    if (wantKey) {
        lastKey_ = start;
    }
    parts_.pictures->push(frame, fromTicks(start), start, wantKey);
    last_ = frame;
    lastTime_ = time;
    lastTicks_ = start;
}

/// Waits until the encoder may get another picture. An encoder that hangs is waited for once.
bool MovieComposer::waitForEncoder() {
    const auto deadline = std::chrono::steady_clock::now() + parts_.patience;
    while (!failure() && parts_.pictures->pending() >= kInFlight) {
        if (std::chrono::steady_clock::now() >= deadline) {
            failure_ = Failure{"The encoder does not answer."};
        } else {
            drainPictures(50ms);
        }
    }
    return !failure();
}

void MovieComposer::drainPictures(std::chrono::nanoseconds patience) {
    while (!failure_) {
        const auto packet = parts_.pictures->pull(patience);
        if (!packet) {
            return;
        }
        writePicture(*packet);
        patience = 0s;
    }
}

void MovieComposer::writePicture(const EncodedPacket& packet) {
    const bool isH264 = parts_.codec == PictureCodec::H264;
    if (!writer_) {
        const auto config = isH264 ? h264::configuration(packet.bytes) : parts_.pictures->config();
        if (config.empty()) {
            failure_ = Failure{"The encoder does not tell how its pictures are decoded."};
            return;
        }
        beginFile(config);
    }
    writer_->addPicture(isH264 ? h264::sample(packet.bytes) : packet.bytes, packet.label,
                        packet.isKey);
}

void MovieComposer::beginFile(const std::vector<std::uint8_t>& pictureConfig) {
    writer_.emplace(
        std::move(parts_.file),
        MovieFileWriter::Format{parts_.codec, pictureConfig, aacConfiguration(kSoundRate, 1)},
        parts_.createdAt);
    for (const auto& sound : std::exchange(early_, {})) {
        writer_->addSound(sound);
    }
}

void MovieComposer::encodeSound() {
    while (const auto block = timeline_.next()) {
        silentRun_ = block->isFilling ? silentRun_ + 1 : 0;
        // A packet holds a part of the blocks before it: silence begins when they are silent, too.
        const std::size_t lead = parts_.sound.delay / kAacPacketSamples + 2;
        const bool isSilent = soundFailure_ || (parts_.sound.givesAtOnce && silentRun_ > lead);
        blocks_.push_back(isSilent ? Block::Silent : Block::Encoded);
        if (!isSilent) {
            const std::int64_t samples =
                encodedBlocks_++ * static_cast<std::int64_t>(kAacPacketSamples);
            parts_.sound.encoder->push(
                block->samples, std::chrono::nanoseconds(samples * 1000000000 / kSoundRate), 0);
        }
    }
    drainSound(0s);
}

void MovieComposer::drainSound(std::chrono::nanoseconds patience) {
    while (!blocks_.empty()) {
        std::vector<std::uint8_t> bytes(kSilentPacket.begin(), kSilentPacket.end());
        if (blocks_.front() == Block::Encoded && !soundFailure_) {
            auto packet = parts_.sound.encoder->pull(patience);
            if (!packet) {
                return;
            }
            bytes = std::move(packet->bytes);
        }
        blocks_.pop_front();
        addSound(std::move(bytes));
    }
}

void MovieComposer::addSound(std::vector<std::uint8_t> packet) {
    if (toDiscard_ > 0) {
        --toDiscard_;
        return;
    }
    if (mostSoundPackets_ && soundPackets_ >= *mostSoundPackets_) {
        return;
    }
    ++soundPackets_;
    if (writer_) {
        writer_->addSound(packet);
    } else {
        early_.push_back(std::move(packet));
    }
}

void MovieComposer::finish(Steady end) {
    if (!last_) {
        takePicture(blackFrame(), begun_);
    }
    const std::int64_t endTicks = std::max(ticks(end), lastTicks_ + 1);
    drainRest();
    finishSound(endTicks);
    lastTicks_ = endTicks;
    if (writer_) {
        writer_->finish(endTicks, timeline_.hasSound());
    } else if (!failure_) {
        failure_ = Failure{"The encoder of pictures gave nothing."};
    }
}

/// Waits for the pictures that the encoder has. One that gives them at once is not told of the end:
/// OpenH264 would complain about it on standard error.
void MovieComposer::drainRest() {
    const auto begun = std::chrono::steady_clock::now();
    bool isTold = false;
    while (parts_.pictures->pending() > 0 && !failure()) {
        const auto waited = std::chrono::steady_clock::now() - begun;
        if (waited > parts_.patience) {
            return;
        }
        if (waited > parts_.patience / 4 && !std::exchange(isTold, true)) {
            parts_.pictures->end();
        }
        drainPictures(20ms);
    }
}

void MovieComposer::finishSound(std::int64_t end) {
    constexpr auto kPacket = static_cast<std::int64_t>(kAacPacketSamples);
    const std::int64_t samples = end * kSoundRate / kPictureTimescale;
    const std::int64_t packets = (samples + kPacket - 1) / kPacket;
    timeline_.advanceToPosition(packets * kPacket + static_cast<std::int64_t>(parts_.sound.delay));
    mostSoundPackets_ = packets;
    encodeSound();
    parts_.sound.encoder->end();
    const auto deadline = std::chrono::steady_clock::now() + parts_.patience;
    while (!blocks_.empty() && !soundFailure() && std::chrono::steady_clock::now() < deadline) {
        drainSound(100ms);
    }
    if (!blocks_.empty()) { // what the encoder did not give in time is silent
        blocks_.assign(blocks_.size(), Block::Silent);
        drainSound(0s);
    }
}

std::optional<Failure> MovieComposer::failure() {
    if (!failure_) {
        failure_ = parts_.pictures->failure();
    }
    return writer_ && writer_->failure() ? writer_->failure() : failure_;
}

std::optional<Failure> MovieComposer::soundFailure() {
    if (!soundFailure_) {
        soundFailure_ = parts_.sound.encoder->failure();
    }
    return soundFailure_;
}

} // namespace ovelo
