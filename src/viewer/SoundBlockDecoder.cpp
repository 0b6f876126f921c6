#include "viewer/SoundBlockDecoder.h"

#include "viewer/SoundMessage.h"

#include <cmath>
#include <utility>

namespace ovelo {

SoundBlockDecoder::SoundBlockDecoder(SoundDecoder::Create createDecoder)
    : createDecoder_(std::move(createDecoder)) {
}

std::optional<Failure> SoundBlockDecoder::configure(const AudioFormat& format) {
    rate_ = 0;
    decoder_.reset();
    if (!format.isPlayable()) {
        return Failure{"The server's sound format is not known."};
    }
    format_ = format;
    const int rate = static_cast<int>(std::lround(format.sampleRate));
    if (format.isAac()) {
        if (createDecoder_) {
            decoder_ = createDecoder_(rate, static_cast<int>(format.channels));
        }
        if (!decoder_) {
            return Failure{"This computer has no decoder for the server's sound (AAC)."};
        }
    }
    rate_ = rate;
    return std::nullopt;
}

SoundSchedule::Seconds SoundBlockDecoder::age() const {
    constexpr double kPacketsOfAge = 2.5;
    return SoundSchedule::Seconds(
        decoder_ ? kPacketsOfAge * static_cast<double>(SoundDecoder::kPacketSamples) / rate_ : 0);
}

Result<std::vector<std::int16_t>> SoundBlockDecoder::decode(std::span<const std::uint8_t> block) {
    if (rate_ == 0) {
        return Failure{"sound has come without its format"};
    }
    if (block.size() > kMaxBlock) {
        return Failure{"a sound block is longer than what is accepted"};
    }
    return decoder_ ? decodePackets(block) : decodeSamples(block);
}

Result<std::vector<std::int16_t>>
SoundBlockDecoder::decodePackets(std::span<const std::uint8_t> block) {
    const auto message = SoundMessage::parse(block);
    if (!message) {
        return Failure{message.error()};
    }
    std::vector<std::int16_t> samples;
    samples.reserve(message.value().packets.size() * SoundDecoder::kPacketSamples);
    for (const auto packet : message.value().packets) {
        const auto part = decoder_->decode(packet);
        samples.insert(samples.end(), part.begin(), part.end());
    }
    return samples;
}

/// Big-endian; an incomplete sample at the end is left out.
std::vector<std::int16_t>
SoundBlockDecoder::decodeSamples(std::span<const std::uint8_t> block) const {
    const std::size_t channels = format_.channels;
    const std::size_t frame = channels * 2;
    std::vector<std::int16_t> samples;
    samples.reserve(block.size() / frame);
    for (; block.size() >= frame; block = block.subspan(frame)) {
        int sum = 0;
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const auto bits = static_cast<unsigned>(block[channel * 2] << 8U) |
                              static_cast<unsigned>(block[channel * 2 + 1]);
            sum += static_cast<std::int16_t>(bits);
        }
        samples.push_back(static_cast<std::int16_t>(sum / static_cast<int>(channels)));
    }
    return samples;
}

} // namespace ovelo
