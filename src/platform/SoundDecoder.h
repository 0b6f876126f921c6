#pragma once

#include "platform/AacConfiguration.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace ovelo {

/// Makes samples of compressed sound.
///
/// thread  one at a time
class SoundDecoder {
public:
    using Create = std::function<std::unique_ptr<SoundDecoder>(int rate, int channels)>;

    /// Samples of each channel in a packet.
    static constexpr std::size_t kPacketSamples = kAacPacketSamples;

    SoundDecoder() = default;
    virtual ~SoundDecoder() = default;
    SoundDecoder(const SoundDecoder&) = delete;
    SoundDecoder& operator=(const SoundDecoder&) = delete;

    /// One packet of raw AAC (low complexity, no headers).
    ///
    /// return  kPacketSamples signed samples of one channel, the average of all channels; silence
    ///         when the packet is broken
    [[nodiscard]] virtual std::vector<std::int16_t>
    decode(std::span<const std::uint8_t> packet) = 0;

    /// A decoder of AAC.
    ///
    /// rate      samples a second; one of the thirteen of MPEG-4, or any other
    /// channels  1 or 2
    /// return    null when this computer has none, or none that takes such sound
    [[nodiscard]] static std::unique_ptr<SoundDecoder> createAac(int rate, int channels);
};

} // namespace ovelo
