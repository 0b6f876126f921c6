#include "viewer/AudioFormat.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

/// Whatever the line: what is called playable has numbers that a player can work with.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view line(reinterpret_cast<const char*>(data), size);
    if (!ovelo::AudioFormat::announces(line)) {
        return 0;
    }
    const auto format = ovelo::AudioFormat::parse(line);
    if (!format) {
        return 0;
    }
    const auto& value = format.value();
    if (!std::isfinite(value.sampleRate) || !std::isfinite(value.duration) ||
        value.bufferSize < 0 ||
        (value.isPlayable() && (value.sampleRate < 1 || value.channels < 1))) {
        std::abort();
    }
    return 0;
}
