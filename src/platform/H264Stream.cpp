#include "platform/H264Stream.h"

#include "platform/MovieBytes.h"

#include <algorithm>
#include <array>

namespace ovelo::h264 {

namespace {

using Unit = std::span<const std::uint8_t>;

// Types of units, ITU-T H.264, table 7-1.
constexpr std::uint8_t kSequenceParameters = 7;
constexpr std::uint8_t kPictureParameters = 8;
constexpr std::uint8_t kDelimiter = 9;

std::uint8_t typeOf(Unit unit) {
    constexpr std::uint8_t kTypeBits = 0x1f;
    return unit.front() & kTypeBits;
}

std::vector<Unit> unitsOf(std::span<const std::uint8_t> stream) {
    constexpr std::array<std::uint8_t, 3> kStartCode = {0, 0, 1};
    const auto next = [&](auto from) {
        return std::search(from, stream.end(), kStartCode.begin(), kStartCode.end());
    };
    std::vector<Unit> units;
    for (auto code = next(stream.begin()); code != stream.end();) {
        const auto begin = code + kStartCode.size();
        code = next(begin);
        auto end = code;
        while (end != begin && *(end - 1) == 0) { // the longer start code's zero, or trailing ones
            --end;
        }
        if (end != begin) {
            units.emplace_back(begin, end);
        }
    }
    return units;
}

Unit firstOf(const std::vector<Unit>& units, std::uint8_t type) {
    const auto found =
        std::find_if(units.begin(), units.end(), [&](Unit unit) { return typeOf(unit) == type; });
    return found == units.end() ? Unit() : *found;
}

} // namespace

std::vector<std::uint8_t> sample(std::span<const std::uint8_t> byteStream) {
    MovieBytes out;
    for (const Unit unit : unitsOf(byteStream)) {
        const std::uint8_t type = typeOf(unit);
        if (type != kSequenceParameters && type != kPictureParameters && type != kDelimiter) {
            out.u32(static_cast<std::uint32_t>(unit.size()));
            out.bytes(unit);
        }
    }
    return out.data();
}

std::vector<std::uint8_t> configuration(std::span<const std::uint8_t> byteStream) {
    constexpr std::size_t kShortest = 4;
    const auto units = unitsOf(byteStream);
    const Unit sequence = firstOf(units, kSequenceParameters);
    const Unit picture = firstOf(units, kPictureParameters);
    if (sequence.size() < kShortest || picture.empty()) {
        return {};
    }
    MovieBytes out;
    out.u8(1);
    out.bytes(sequence.subspan(1, 3)); // profile, its constraints, level
    out.u8(0xff);                      // sizes of four bytes
    out.u8(0xe1);                      // one set of each
    out.u16(static_cast<std::uint32_t>(sequence.size()));
    out.bytes(sequence);
    out.u8(1);
    out.u16(static_cast<std::uint32_t>(picture.size()));
    out.bytes(picture);
    return out.data();
}

} // namespace ovelo::h264
