#pragma once

#include "fakes/UdpPeer.h"
#include "nat/StunBytes.h"

#include <array>
#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace ovelo {

/// A STUN server on loopback that answers as a test wants.
class StunServer {
public:
    /// What is answered to the test of that number; empty: nothing. count: requests of the test so
    /// far, this one included
    using Answer = std::function<StunBytes(int test, int count)>;

    explicit StunServer(Answer answer) : answer_(std::move(answer)) {}

    [[nodiscard]] StunAddress4 address() const { return {peer_.port(), kIp}; }

    /// Requests of a test that came.
    [[nodiscard]] int count(int test) const { return counts_.at(static_cast<std::size_t>(test)); }

    static constexpr std::uint32_t kIp = 0x7F000001;

private:
    void run(const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            const auto request = peer_.receive(std::chrono::milliseconds(20));
            if (!request || request->size() < kStunHeaderSize) {
                continue;
            }
            const auto test = static_cast<std::uint8_t>((*request)[4]);
            const StunBytes bytes = answer_(test, ++counts_.at(test % counts_.size()));
            if (!bytes.empty()) {
                peer_.reply({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
            }
        }
    }

    const Answer answer_;
    UdpPeer peer_;
    std::array<std::atomic<int>, 16> counts_{};
    std::jthread thread_{[this](const std::stop_token& stop) { run(stop); }};
};

} // namespace ovelo
