#include "viewer/AudioFormat.h"

#include "platform/AacConfiguration.h"
#include "viewer/Fields.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <limits>
#include <optional>

namespace ovelo {

namespace {

constexpr std::string_view kPrefix = "CONFIG_AUDIO,";
constexpr std::size_t kFieldCount = 10;
constexpr std::size_t kShownLength = 80; // of a malformed line in an error text
constexpr std::uint32_t kBigEndianFlag = 2;
constexpr std::uint32_t kSignedFlag = 4;
constexpr std::uint32_t kFloatFlag = 1;
constexpr double kSlowest = 1000; // samples a second
constexpr double kFastest = 192000;

/// A 32-bit field; servers print it signed, so a four-character code may come as a negative one.
std::optional<std::uint32_t> word(std::string_view text) {
    const auto value = fields::number<std::int64_t>(text);
    if (!value || *value < std::numeric_limits<std::int32_t>::min() ||
        *value > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(*value);
}

/// A number of at least nothing; neither infinity nor not-a-number.
std::optional<double> amount(std::string_view text) {
    const auto value = fields::number<double>(text);
    return value && std::isfinite(*value) && *value >= 0 ? value : std::nullopt;
}

bool isPcm(const AudioFormat& format) {
    return format.formatID == AudioFormat::kPcm && format.bitsPerChannel == 16 &&
           (format.flags & kBigEndianFlag) != 0 && (format.flags & kSignedFlag) != 0 &&
           (format.flags & kFloatFlag) == 0 && format.bytesPerFrame == 2 * format.channels;
}

std::optional<AudioFormat> parseWellFormed(std::string_view line) {
    const auto field = fields::split(line.substr(kPrefix.size()), ',');
    if (field.size() < kFieldCount) {
        return std::nullopt;
    }
    AudioFormat format;
    const std::array words = {
        &format.formatID,      &format.flags,    &format.bytesPerPacket, &format.framesPerPacket,
        &format.bytesPerFrame, &format.channels, &format.bitsPerChannel};
    for (std::size_t i = 0; i < words.size(); ++i) {
        const auto value = word(field[i + 1]);
        if (!value) {
            return std::nullopt;
        }
        *words[i] = *value;
    }
    const auto rate = amount(field[0]);
    const auto duration = amount(field[8]);
    const auto size = fields::number<std::int64_t>(field[9]);
    if (!rate || !duration || !size || *size < 0) {
        return std::nullopt;
    }
    format.sampleRate = *rate;
    format.duration = *duration;
    format.bufferSize = *size;
    return format;
}

} // namespace

bool AudioFormat::announces(std::string_view line) {
    return line.starts_with(kPrefix);
}

Result<AudioFormat> AudioFormat::parse(std::string_view line) {
    const auto format = parseWellFormed(line);
    if (!format) {
        return Failure{fmt::format("malformed sound format: {}", line.substr(0, kShownLength))};
    }
    return *format;
}

bool AudioFormat::isPlayable() const {
    if (sampleRate < kSlowest || sampleRate > kFastest || channels < 1 || channels > 2) {
        return false;
    }
    return isPcm(*this) || (isAac() && bytesPerPacket == 0 && framesPerPacket == kAacPacketSamples);
}

} // namespace ovelo
