#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <string_view>

namespace ovelo {

/// The line that answers "Audio,1": "CONFIG_AUDIO,8000.000000,1633772320,0,0,1024,0,1,0,0.500000,4096".
struct AudioFormat {
    static constexpr std::uint32_t kAac = 0x61616320; // "aac "
    static constexpr std::uint32_t kPcm = 0x6C70636D; // "lpcm"

    double sampleRate = 0; // samples a second of each channel
    std::uint32_t formatID = 0;
    std::uint32_t flags = 0;
    std::uint32_t bytesPerPacket = 0;  // 0: each packet has its own size
    std::uint32_t framesPerPacket = 0; // samples of each channel
    std::uint32_t bytesPerFrame = 0;
    std::uint32_t channels = 0;
    std::uint32_t bitsPerChannel = 0;
    double duration = 0;         // seconds that a block aims at
    std::int64_t bufferSize = 0; // the most bytes of sound in a block

    friend bool operator==(const AudioFormat&, const AudioFormat&) = default;

    /// True for a line that parse() takes, well formed or not.
    [[nodiscard]] static bool announces(std::string_view line);

    /// Reads a line for which announces() holds, without its line feed. Further fields at the end
    /// are accepted.
    ///
    /// errors  a field that is missing or is not the number it should be
    static Result<AudioFormat> parse(std::string_view line);

    /// Whether a viewer can play it: packets of raw AAC, or big-endian signed 16-bit samples, of
    /// one or two channels at a rate between 1 000 and 192 000 a second.
    [[nodiscard]] bool isPlayable() const;

    /// What the server tells as long as it has captured nothing, for instance without a microphone.
    [[nodiscard]] bool isOfNothing() const { return formatID == 0 && !(sampleRate > 0); }

    [[nodiscard]] bool isAac() const { return formatID == kAac; }
};

} // namespace ovelo
