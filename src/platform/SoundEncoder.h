#pragma once

#include "platform/AudioQueue.h"
#include "platform/Result.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

namespace ovelo {

/// Turns captured sound into another format, without a gap.
///
/// thread  any, one call at a time
class SoundEncoder {
public:
    /// Takes one packet of a varying size, or any number of constant ones.
    using PacketTaker = std::function<void(std::span<const std::uint8_t>)>;

    SoundEncoder() = default;
    virtual ~SoundEncoder() = default;
    SoundEncoder(const SoundEncoder&) = delete;
    SoundEncoder& operator=(const SoundEncoder&) = delete;

    /// Calls `take` for each packet that is complete now.
    ///
    /// samples  16 bits, one channel, host byte order, kSoundRate
    /// return   false when the encoder has failed, and will give nothing any more
    virtual bool encode(std::span<const std::int16_t> samples, const PacketTaker& take) = 0;

    /// True for AAC or big-endian PCM of one channel.
    [[nodiscard]] static bool isKnown(const AudioStreamDescription& format);

    /// errors  which package is missing
    [[nodiscard]] static Result<std::unique_ptr<SoundEncoder>>
    create(const AudioStreamDescription& format);
};

} // namespace ovelo
