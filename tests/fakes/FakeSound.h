#pragma once

#include "platform/SoundDecoder.h"
#include "platform/SoundPlayer.h"

#include <memory>
#include <utility>

namespace ovelo {

/// Makes of each packet samples of the value of its first byte.
class FakeDecoder final : public SoundDecoder {
public:
    [[nodiscard]] std::vector<std::int16_t> decode(std::span<const std::uint8_t> packet) override {
        return std::vector<std::int16_t>(kPacketSamples,
                                         packet.empty() ? std::int16_t{0} : packet.front());
    }
    static std::unique_ptr<SoundDecoder> create(int /*rate*/, int /*channels*/) {
        return std::make_unique<FakeDecoder>();
    }
};

/// Plays when a test says so.
class FakePlayer final : public SoundPlayer {
public:
    explicit FakePlayer(Functions given) : functions(std::move(given)) {}
    Functions functions;
};

} // namespace ovelo
