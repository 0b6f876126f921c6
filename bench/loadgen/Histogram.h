#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace loadgen {

/// Log-linear histogram of microseconds: exact below 256, then 128 steps per octave (< 0.8 %).
class Histogram {
public:
    void add(int64_t us) {
        if (us < 0)
            us = 0;
        counts_[std::min<size_t>(slot(uint64_t(us)), counts_.size() - 1)]++;
        total_++;
        max_ = std::max(max_, us);
    }
    uint64_t total() const { return total_; }
    int64_t max() const { return max_; }
    int64_t quantile(double q) const {
        if (!total_)
            return 0;
        uint64_t want = uint64_t(std::ceil(q * double(total_))), seen = 0;
        if (want == 0)
            want = 1;
        for (size_t i = 0; i < counts_.size(); i++) {
            seen += counts_[i];
            if (seen >= want)
                return std::min(lowest(i), max_);
        }
        return max_;
    }
    void clear() { *this = Histogram(); }

private:
    static size_t slot(uint64_t v) {
        if (v < 256)
            return v;
        int top = 63 - __builtin_clzll(v); // >= 8
        return size_t(256 + (top - 8) * 128 + ((v >> (top - 7)) & 127));
    }
    static int64_t lowest(size_t s) {
        if (s < 256)
            return int64_t(s);
        size_t octave = (s - 256) / 128, step = (s - 256) % 128;
        return int64_t((128 + step) << (octave + 1));
    }
    std::vector<uint32_t> counts_ = std::vector<uint32_t>(256 + 128 * 32);
    uint64_t total_ = 0;
    int64_t max_ = 0;
};

} // namespace loadgen
