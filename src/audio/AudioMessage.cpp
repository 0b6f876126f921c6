#include "audio/AudioMessage.h"

#include <fmt/format.h>

#include <iterator>

namespace ovelo {

namespace {

std::int32_t lowHalf(std::int64_t offset) {
    return static_cast<std::int32_t>(offset & 0xffffffff);
}

std::int32_t highHalf(std::int64_t offset) {
    return static_cast<std::int32_t>(offset >> 32);
}

} // namespace

Data pcmMessage(std::span<const std::uint8_t> bytes) {
    return makeData(Bytes(bytes.begin(), bytes.end()));
}

Data aacMessage(std::uint32_t packets, std::span<const AudioPacketDescription> descriptions,
                std::span<const std::uint8_t> bytes) {
    Bytes message;
    constexpr std::size_t kHeaderOfOne = 20; // bytes, about
    message.reserve(bytes.size() + kHeaderOfOne * (descriptions.size() + 1));
    auto text = std::back_inserter(message);
    fmt::format_to(text, "{},", packets);
    for (const auto& packet : descriptions) {
        // Kept: no number of frames; viewers take the three numbers by their place.
        fmt::format_to(text, "{},{},{},", packet.mDataByteSize, lowHalf(packet.mStartOffset),
                       highHalf(packet.mStartOffset));
    }
    fmt::format_to(text, "{}", bytes.size());
    message.push_back(0);
    message.insert(message.end(), bytes.begin(), bytes.end());
    return makeData(std::move(message));
}

} // namespace ovelo
