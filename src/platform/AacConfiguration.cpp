#include "platform/AacConfiguration.h"

#include <algorithm>
#include <array>
#include <utility>

namespace ovelo {

namespace {

// ISO/IEC 14496-3, table 1.18: a rate is told by its place.
constexpr std::array kRates = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                               22050, 16000, 12000, 11025, 8000,  7350};
constexpr unsigned kLowComplexity = 2; // audioObjectType
constexpr unsigned kOtherRate = 15;    // 24 bits with the rate follow

/// Bits, the most significant first.
class BitWriter {
public:
    void put(unsigned value, unsigned bits) {
        while (bits-- > 0) {
            if (used_ % 8 == 0) {
                bytes_.push_back(0);
            }
            bytes_.back() |= static_cast<std::uint8_t>(((value >> bits) & 1U) << (7 - used_ % 8));
            ++used_;
        }
    }
    [[nodiscard]] std::vector<std::uint8_t> take() { return std::move(bytes_); }

private:
    std::vector<std::uint8_t> bytes_;
    unsigned used_ = 0;
};

} // namespace

std::vector<std::uint8_t> aacConfiguration(int rate, int channels) {
    BitWriter bits;
    bits.put(kLowComplexity, 5);
    const auto found = std::find(kRates.begin(), kRates.end(), rate);
    if (found != kRates.end()) {
        bits.put(static_cast<unsigned>(found - kRates.begin()), 4);
    } else {
        bits.put(kOtherRate, 4);
        bits.put(static_cast<unsigned>(rate), 24);
    }
    bits.put(static_cast<unsigned>(channels), 4);
    bits.put(0, 3); // 1024 samples, no core coder, no extension
    return bits.take();
}

} // namespace ovelo
