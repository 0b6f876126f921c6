#pragma once

#include "fakes/SoundTools.h"
#include "integration/WatchingViewer.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

namespace ovelo {

inline constexpr std::size_t kSamplesInAPacket = 1024;

/// The AAC packets in a block of sound.
inline std::vector<Bytes> packetsOf(const WatchingViewer::Item& block) {
    return sound::packetsOf(Bytes(block.content.begin(), block.content.end()));
}

/// All sound that came to a viewer.
struct Heard {
    std::vector<Bytes> packets;
    std::size_t samples = 0; // in the packets
    int gaps = 0;            // in the blocks' numbers
};

/// last  so many blocks; 0: all
inline Heard heardBy(const WatchingViewer& viewer, std::size_t last = 0) {
    auto blocks = viewer.items(WatchingViewer::Kind::Sound);
    if (last > 0 && blocks.size() > last) {
        blocks.erase(blocks.begin(), blocks.end() - static_cast<std::ptrdiff_t>(last));
    }
    Heard heard;
    for (std::size_t index = 0; index < blocks.size(); ++index) {
        heard.gaps += index > 0 && blocks[index].id != blocks[index - 1].id + 1 ? 1 : 0;
        const auto packets = packetsOf(blocks[index]);
        heard.packets.insert(heard.packets.end(), packets.begin(), packets.end());
    }
    heard.samples = heard.packets.size() * kSamplesInAPacket;
    return heard;
}

/// How loud sound is from one hundredth of a second to the next.
inline std::vector<double> envelopeOf(const std::vector<std::int16_t>& samples, int rate) {
    const auto step = static_cast<std::size_t>(rate / 100);
    std::vector<double> envelope;
    for (std::size_t begin = 0; begin + step <= samples.size(); begin += step) {
        double squares = 0;
        for (std::size_t i = begin; i < begin + step; ++i) {
            squares += static_cast<double>(samples[i]) * samples[i];
        }
        envelope.push_back(std::sqrt(squares / static_cast<double>(step)));
    }
    return envelope;
}

/// Where one envelope is found in a longer one, and how well it agrees with it there.
struct Found {
    double correlation = -1; // 1 is the same
    double where = 0;        // seconds
};

inline Found findEnvelope(const std::vector<double>& wanted, const std::vector<double>& in) {
    const auto count = static_cast<double>(wanted.size());
    const double wantedMean = std::accumulate(wanted.begin(), wanted.end(), 0.0) / count;
    Found best;
    for (std::size_t at = 0; at + wanted.size() <= in.size(); ++at) {
        const auto begin = in.begin() + static_cast<std::ptrdiff_t>(at);
        const double mean =
            std::accumulate(begin, begin + static_cast<std::ptrdiff_t>(wanted.size()), 0.0) / count;
        double product = 0;
        double wantedPower = 1e-9;
        double power = 1e-9;
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            const double left = wanted[i] - wantedMean;
            const double right = in[at + i] - mean;
            product += left * right;
            wantedPower += left * left;
            power += right * right;
        }
        const double correlation = product / std::sqrt(wantedPower * power);
        if (correlation > best.correlation) {
            best = {correlation, static_cast<double>(at) / 100};
        }
    }
    return best;
}

} // namespace ovelo
