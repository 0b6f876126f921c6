#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace loadgen {

constexpr int kWidth = 320, kHeight = 240;

// Average brightness of each 8 x 8 luma block of a baseline JPEG, from its DC terms only.
// Returns false when the picture is not a 320 x 240 baseline JPEG of one scan.
class DcReader {
public:
    bool read(const uint8_t* data, size_t size) {
        data_ = data;
        size_ = size;
        at_ = 2;
        restart_ = 0;
        components_ = 0;
        while (at_ + 4 <= size_) {
            if (data_[at_] != 0xff)
                return false;
            uint8_t marker = data_[at_ + 1];
            if (marker == 0xff) {
                at_++;
                continue;
            }
            if (marker == 0xd8 || (marker >= 0xd0 && marker <= 0xd7)) {
                at_ += 2;
                continue;
            }
            size_t length = size_t(data_[at_ + 2]) << 8 | data_[at_ + 3];
            if (length < 2 || at_ + 2 + length > size_)
                return false;
            const uint8_t* body = data_ + at_ + 4;
            size_t bodySize = length - 2;
            at_ += 2 + length;
            switch (marker) {
            case 0xdb:
                if (!quantTables(body, bodySize))
                    return false;
                break;
            case 0xc4:
                if (!huffmanTables(body, bodySize))
                    return false;
                break;
            case 0xc0:
            case 0xc1:
                if (!frameHeader(body, bodySize))
                    return false;
                break;
            case 0xdd:
                if (bodySize >= 2)
                    restart_ = body[0] << 8 | body[1];
                break;
            case 0xda:
                return scanHeader(body, bodySize) && scan();
            default:
                if (marker >= 0xc2 && marker <= 0xcf)
                    return false;
                break;
            }
        }
        return false;
    }
    // mean luma of the cell whose top left pixel is (x, y), 16 x 16
    int cell(int x, int y) const {
        int sum = 0;
        for (int dy = 0; dy < 2; dy++)
            for (int dx = 0; dx < 2; dx++)
                sum += luma_[size_t((y / 8 + dy) * (kWidth / 8) + x / 8 + dx)];
        return sum / 4;
    }

private:
    struct Component {
        int id = 0, h = 1, v = 1, quant = 0, dc = 0, ac = 0, last = 0;
    };
    struct Huffman {
        std::array<uint8_t, 17> counts{};
        std::vector<uint8_t> symbols;
    };

    bool quantTables(const uint8_t* p, size_t n) {
        while (n) {
            int wide = p[0] >> 4, id = p[0] & 15;
            size_t need = wide ? 129 : 65;
            if (id > 3 || n < need)
                return false;
            quantDc_[size_t(id)] = wide ? p[1] << 8 | p[2] : p[1];
            p += need;
            n -= need;
        }
        return true;
    }
    bool huffmanTables(const uint8_t* p, size_t n) {
        while (n) {
            if (n < 17)
                return false;
            int kind = p[0] >> 4, id = p[0] & 15;
            if (kind > 1 || id > 3)
                return false;
            Huffman& table = tables_[size_t(kind * 4 + id)];
            size_t total = 0;
            for (size_t i = 1; i <= 16; i++)
                total += table.counts[i] = p[i];
            if (total > 256 || n < 17 + total)
                return false;
            table.symbols.assign(p + 17, p + 17 + total);
            p += 17 + total;
            n -= 17 + total;
        }
        return true;
    }
    bool frameHeader(const uint8_t* p, size_t n) {
        if (n < 6 || p[0] != 8)
            return false;
        int height = p[1] << 8 | p[2], width = p[3] << 8 | p[4];
        components_ = p[5];
        if (width != kWidth || height != kHeight || (components_ != 1 && components_ != 3))
            return false;
        if (n < size_t(6 + 3 * components_))
            return false;
        for (int i = 0; i < components_; i++) {
            const uint8_t* c = p + 6 + 3 * i;
            component_[i] = Component{c[0], c[1] >> 4, c[1] & 15, c[2] & 3};
            if (component_[i].h < 1 || component_[i].h > 2 || component_[i].v < 1 ||
                component_[i].v > 2)
                return false;
        }
        if (components_ == 1)
            component_[0].h = component_[0].v = 1;
        return true;
    }
    bool scanHeader(const uint8_t* p, size_t n) {
        if (!components_ || n < 1 || p[0] != components_ || n < size_t(1 + 2 * components_))
            return false;
        for (int i = 0; i < components_; i++) {
            component_[i].dc = p[2 + 2 * i] >> 4 & 3;
            component_[i].ac = p[2 + 2 * i] & 3;
        }
        return true;
    }
    int bit() {
        if (!bits_) {
            if (at_ >= size_)
                return -1;
            byte_ = data_[at_++];
            if (byte_ == 0xff) {
                if (at_ >= size_ || data_[at_] != 0)
                    return -1; // a marker ends the scan
                at_++;
            }
            bits_ = 8;
        }
        return byte_ >> --bits_ & 1;
    }
    int symbol(const Huffman& table) {
        int code = 0, first = 0;
        size_t index = 0;
        for (size_t length = 1; length <= 16; length++) {
            int b = bit();
            if (b < 0)
                return -1;
            code |= b;
            int count = table.counts[length];
            if (code - first < count)
                return table.symbols[index + size_t(code - first)];
            index += size_t(count);
            first = (first + count) << 1;
            code <<= 1;
        }
        return -1;
    }
    bool block(Component& c, int& dc) {
        int size = symbol(tables_[size_t(c.dc)]);
        if (size < 0 || size > 11)
            return false;
        int value = 0;
        for (int i = 0; i < size; i++) {
            int b = bit();
            if (b < 0)
                return false;
            value = value << 1 | b;
        }
        if (size && value < 1 << (size - 1))
            value += 1 - (1 << size);
        dc = c.last += value;
        for (int k = 1; k < 64; k++) {
            int rs = symbol(tables_[size_t(4 + c.ac)]);
            if (rs < 0)
                return false;
            if ((rs & 15) == 0) {
                if (rs != 0xf0)
                    break;
                k += 15;
                continue;
            }
            k += rs >> 4;
            for (int i = rs & 15; i; i--)
                if (bit() < 0)
                    return false;
        }
        return true;
    }
    bool scan() {
        bits_ = 0;
        for (int i = 0; i < components_; i++)
            component_[i].last = 0;
        int hMax = component_[0].h, vMax = component_[0].v;
        int across = (kWidth + 8 * hMax - 1) / (8 * hMax),
            down = (kHeight + 8 * vMax - 1) / (8 * vMax);
        for (int mcu = 0; mcu < across * down; mcu++) {
            if (restart_ && mcu && mcu % restart_ == 0) {
                bits_ = 0;
                if (at_ + 2 > size_ || data_[at_] != 0xff || (data_[at_ + 1] & 0xf8) != 0xd0)
                    return false;
                at_ += 2;
                for (int i = 0; i < components_; i++)
                    component_[i].last = 0;
            }
            int mx = mcu % across, my = mcu / across;
            for (int i = 0; i < components_; i++) {
                Component& c = component_[i];
                for (int v = 0; v < c.v; v++)
                    for (int h = 0; h < c.h; h++) {
                        int dc = 0;
                        if (!block(c, dc))
                            return false;
                        int bx = mx * c.h + h, by = my * c.v + v;
                        if (i == 0 && bx < kWidth / 8 && by < kHeight / 8)
                            luma_[size_t(by * (kWidth / 8) + bx)] =
                                int16_t(128 + dc * quantDc_[size_t(c.quant)] / 8);
                    }
            }
        }
        return true;
    }

    const uint8_t* data_ = nullptr;
    size_t size_ = 0, at_ = 0;
    int components_ = 0, restart_ = 0, bits_ = 0, byte_ = 0;
    Component component_[3];
    std::array<Huffman, 8> tables_;
    std::array<int, 4> quantDc_{};
    std::array<int16_t, kWidth / 8 * kHeight / 8> luma_{};
};

} // namespace loadgen
