#include "viewer/SoundMessage.h"

#include <cstdint>
#include <cstdlib>

/// Whatever the block: its packets lie within it, one behind the other, and they are
/// not so many that decoding them would take long.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto message = ovelo::SoundMessage::parse({data, size});
    if (!message) {
        if (message.error().empty()) {
            std::abort();
        }
        return 0;
    }
    constexpr std::size_t kMostPackets = 1024; // a million samples
    if (message.value().packets.size() > kMostPackets) {
        std::abort();
    }
    const std::uint8_t* end = data;
    for (const auto& packet : message.value().packets) {
        if (packet.empty() || packet.data() < end || packet.size() > size ||
            packet.data() > data + (size - packet.size())) {
            std::abort();
        }
        end = packet.data() + packet.size();
    }
    return 0;
}
