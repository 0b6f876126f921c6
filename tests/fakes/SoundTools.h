#pragma once

#include "platform/Data.h"
#include "platform/SoundBlock.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// Sound whose every sample is known, and what became of it.
namespace ovelo::sound {

/// A tone of half the full scale that rises evenly; with from = to it stays.
std::vector<std::int16_t> sweep(double seconds, double from, double to, int rate);

/// Writes the samples as a WAV file.
void writeWav(const std::string& path, std::span<const std::int16_t> samples, int rate);

/// Writes the samples and nothing else, in host byte order.
void writeRaw(const std::string& path, std::span<const std::int16_t> samples);

std::vector<std::int16_t> fromBigEndian(std::span<const std::uint8_t> bytes);

/// Root of the mean square, 0 to 1.
double loudness(std::span<const std::int16_t> samples);

/// How well sound agrees with what it should be.
struct Fit {
    double worst = 0; // correlation of the worst tenth of a second: 1 is the same
    double where = 0; // seconds from the beginning of that one
    double delay = 0; // seconds; the best one for the whole
};

/// Compares with a sweep that is repeated for ever, beginning anywhere; a gap, a click or another
/// rate anywhere shows in `worst`. The first half second, where filters start, does not count.
Fit compareWithSweep(std::span<const std::int16_t> samples, double seconds, double from, double to,
                     int rate);

/// Decodes raw packets of AAC-LC, 8000 Hz, one channel.
std::vector<std::int16_t> decodeAac(const std::vector<Bytes>& packets);

/// The packets in a message to viewers; none, and a failed test, when its header is wrong.
std::vector<Bytes> packetsOf(const Bytes& message);

} // namespace ovelo::sound
