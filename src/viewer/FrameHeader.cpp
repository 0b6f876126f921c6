#include "viewer/FrameHeader.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <string>

namespace ovelo {

namespace {

constexpr std::string_view kPicture = "Frame,";
constexpr std::string_view kSound = "Audio,";
constexpr std::size_t kFieldCount = 4;
constexpr std::size_t kShownLength = 80; // of a malformed line in an error text

using Fields = std::array<std::string_view, kFieldCount>;

std::optional<Fields> splitFields(std::string_view text) {
    Fields fields;
    for (std::size_t i = 0; i + 1 < kFieldCount; ++i) {
        const auto comma = text.find(',');
        if (comma == std::string_view::npos) {
            return std::nullopt;
        }
        fields[i] = text.substr(0, comma);
        text.remove_prefix(comma + 1);
    }
    fields.back() = text;
    return fields;
}

/// Takes a 32-bit number as an unsigned one, also when a 32-bit server printed it as a signed one.
std::optional<std::uint32_t> parseNumber(std::string_view text) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size() ||
        number < std::numeric_limits<std::int32_t>::min() ||
        number > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(number);
}

std::optional<FrameHeader> parseWellFormed(std::string_view line) {
    const auto fields = splitFields(line.substr(kPicture.size()));
    if (!fields) {
        return std::nullopt;
    }
    const auto frameID = parseNumber((*fields)[0]);
    const auto length = parseNumber((*fields)[1]);
    const auto timeStamp = parseNumber((*fields)[2]);
    const std::string_view report = (*fields)[3];
    if (!frameID || !length || !timeStamp || (report != "0" && report != "1")) {
        return std::nullopt;
    }
    const BlockKind kind = line.starts_with(kSound) ? BlockKind::Sound : BlockKind::Picture;
    return FrameHeader{kind, *frameID, *length, *timeStamp, report == "1"};
}

} // namespace

bool announcesBlock(std::string_view line) {
    return line.starts_with(kPicture) || line.starts_with(kSound);
}

Result<FrameHeader> parseFrameHeader(std::string_view line) {
    const auto header = parseWellFormed(line);
    if (!header) {
        return Failure{fmt::format("malformed block header: {}", line.substr(0, kShownLength))};
    }
    if (header->length > kMaxBlockLength) {
        return Failure{fmt::format("a block of {} bytes is longer than the {} that are accepted",
                                   header->length, kMaxBlockLength)};
    }
    return *header;
}

} // namespace ovelo
