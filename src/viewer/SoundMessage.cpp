#include "viewer/SoundMessage.h"

#include "viewer/Fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>

namespace ovelo {

namespace {

constexpr std::size_t kFieldsOfPacket = 3;
constexpr std::size_t kFieldsOfBlock = 2; // the number of packets and the size of all
// The longest number has 10 digits and a comma.
constexpr std::size_t kMaxText =
    (SoundMessage::kMaxPackets * kFieldsOfPacket + kFieldsOfBlock) * std::size_t{11};

using Bytes = std::span<const std::uint8_t>;

struct Split {
    std::string_view text;
    Bytes sound;
};

std::optional<Split> splitAtZero(Bytes block) {
    const auto searched = block.first(std::min(block.size(), kMaxText + 1));
    const auto zero = std::find(searched.begin(), searched.end(), std::uint8_t{0});
    if (zero == searched.end()) {
        return std::nullopt;
    }
    const auto length = static_cast<std::size_t>(zero - searched.begin());
    return Split{{reinterpret_cast<const char*>(block.data()), length}, block.subspan(length + 1)};
}

/// The packet that the three fields at `field` describe, if it lies between `begin` and the end.
std::optional<Bytes> packetAt(const std::string_view* field, Bytes sound, std::size_t begin) {
    const auto size = fields::number<std::uint32_t>(field[0]);
    const auto low = fields::number<std::uint32_t>(field[1]);
    const auto high = fields::number<std::uint32_t>(field[2]);
    if (!size || *size == 0 || !low ||
        high != 0U) { // no block is longer than the low half can tell
        return std::nullopt;
    }
    if (*low < begin || *low > sound.size() || *size > sound.size() - *low) {
        return std::nullopt;
    }
    return sound.subspan(*low, *size);
}

} // namespace

Result<SoundMessage> SoundMessage::parse(Bytes block) {
    const auto parts = splitAtZero(block);
    if (!parts) {
        return Failure{"the sound block has no zero byte behind its text"};
    }
    const auto field = fields::split(parts->text, ',');
    const auto count = fields::number<std::uint32_t>(field.front());
    if (!count || *count > kMaxPackets ||
        field.size() != *count * kFieldsOfPacket + kFieldsOfBlock) {
        return Failure{fmt::format("the sound block has {} fields, which does not fit its number "
                                   "of packets",
                                   field.size())};
    }
    const auto total = fields::number<std::uint32_t>(field.back());
    if (total != parts->sound.size()) {
        return Failure{fmt::format("the sound block has {} bytes of sound, not as many as it says",
                                   parts->sound.size())};
    }
    SoundMessage message;
    message.packets.reserve(*count);
    std::size_t end = 0; // of the packets so far
    for (std::uint32_t i = 0; i < *count; ++i) {
        const auto packet = packetAt(&field[1 + i * kFieldsOfPacket], parts->sound, end);
        if (!packet) {
            return Failure{fmt::format("packet {} does not lie within the sound block", i)};
        }
        message.packets.push_back(*packet);
        end = static_cast<std::size_t>(packet->data() - parts->sound.data()) + packet->size();
    }
    return message;
}

} // namespace ovelo
