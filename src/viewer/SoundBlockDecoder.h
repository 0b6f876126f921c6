#pragma once

#include "platform/Result.h"
#include "platform/SoundDecoder.h"
#include "viewer/AudioFormat.h"
#include "viewer/SoundSchedule.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace ovelo {

/// Makes samples of the server's sound blocks, whatever their format.
///
/// thread  one at a time
class SoundBlockDecoder {
public:
    /// The longest block that is accepted, in bytes; real ones are about 20 kB.
    static constexpr std::size_t kMaxBlock = std::size_t{1024} * 1024;

    explicit SoundBlockDecoder(SoundDecoder::Create createDecoder);

    /// The blocks that follow are of this format.
    ///
    /// return  none when it can be played, else why not
    [[nodiscard]] std::optional<Failure> configure(const AudioFormat& format);

    /// The samples of a block, of one channel.
    ///
    /// errors  the block is malformed or too long, or nothing is configured
    [[nodiscard]] Result<std::vector<std::int16_t>> decode(std::span<const std::uint8_t> block);

    /// Samples a second; 0 when nothing is configured.
    [[nodiscard]] int rate() const { return rate_; }

    /// How old the last sample of a block is when the server sends it. Compressed sound is older:
    /// decoding gives back what went into the encoder about one and a half packets before, and a
    /// block is only sent when there is a further packet, which does not fit into it.
    [[nodiscard]] SoundSchedule::Seconds age() const;

private:
    [[nodiscard]] Result<std::vector<std::int16_t>>
    decodePackets(std::span<const std::uint8_t> block);
    [[nodiscard]] std::vector<std::int16_t>
    decodeSamples(std::span<const std::uint8_t> block) const;

    SoundDecoder::Create createDecoder_;
    AudioFormat format_;
    int rate_ = 0;
    std::unique_ptr<SoundDecoder> decoder_; // of compressed sound
};

} // namespace ovelo
