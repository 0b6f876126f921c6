#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace ovelo {

/// Puts the boxes of a QuickTime movie together: big-endian numbers, and boxes that know their size.
class MovieBytes final {
public:
    void u8(std::uint32_t value) { number(value, 1); }
    void u16(std::uint32_t value) { number(value, 2); }
    void u24(std::uint32_t value) { number(value, 3); }
    void u32(std::uint32_t value) { number(value, 4); }
    void u64(std::uint64_t value) { number(value, 8); }
    void text(std::string_view value) {
        for (const char letter : value) {
            data_.push_back(static_cast<std::uint8_t>(letter));
        }
    }
    void bytes(std::span<const std::uint8_t> value) {
        data_.insert(data_.end(), value.begin(), value.end());
    }
    void zeros(std::size_t count) { data_.resize(data_.size() + count, 0); }

    /// The matrix that leaves pictures where they are: 16.16 fixed point, its last column 2.30.
    void unchangedMatrix() {
        for (const std::uint32_t value :
             {0x10000U, 0U, 0U, 0U, 0x10000U, 0U, 0U, 0U, 0x40000000U}) {
            u32(value);
        }
    }

    /// A box of a type of four letters around what `content` adds.
    template <typename Content>
    void box(std::string_view type, Content content) {
        const std::size_t start = data_.size();
        u32(0);
        text(type);
        content();
        patch(start, static_cast<std::uint32_t>(data_.size() - start));
    }

    /// A box that begins with a version and flags.
    template <typename Content>
    void fullBox(std::string_view type, std::uint32_t version, std::uint32_t flags,
                 Content content) {
        box(type, [&] {
            u8(version);
            u24(flags);
            content();
        });
    }

    /// Overwrites four bytes at `position`.
    void patch(std::size_t position, std::uint32_t value) {
        for (std::size_t i = 0; i < 4; ++i) {
            data_[position + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
        }
    }

    [[nodiscard]] std::size_t size() const { return data_.size(); }
    [[nodiscard]] const std::vector<std::uint8_t>& data() const { return data_; }

private:
    void number(std::uint64_t value, int size) {
        for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
            data_.push_back(static_cast<std::uint8_t>(value >> shift));
        }
    }

    std::vector<std::uint8_t> data_;
};

} // namespace ovelo
