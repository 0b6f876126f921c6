#include "PictureStamp.h"

#include "JpegLuma.h"

#include <cstring>

namespace loadgen {

namespace {

constexpr int kCell = 16, kColumns = 20, kRows = 3, kTop = 96;

uint8_t stampCheck(uint64_t stamp) {
    uint8_t sum = 0x5a;
    for (int i = 0; i < 6; i++)
        sum = uint8_t((sum << 1 | sum >> 7) ^ uint8_t(stamp >> (8 * i)));
    return sum;
}

uint64_t stampBits(uint64_t us) {
    uint64_t stamp = us & kStampMask;
    return stamp << 12 | uint64_t(stampCheck(stamp)) << 4 | 0xa;
}

} // namespace

void paintStamp(std::vector<uint8_t>& rgb, uint64_t us) {
    uint64_t bits = stampBits(us);
    for (int i = 0; i < kColumns * kRows; i++) {
        uint8_t level = bits >> (kColumns * kRows - 1 - i) & 1 ? 255 : 0;
        for (int y = 0; y < kCell; y++)
            memset(&rgb[size_t(((kTop + i / kColumns * kCell + y) * kWidth + i % kColumns * kCell) *
                               3)],
                   level, kCell * 3);
    }
}

int64_t readStamp(const uint8_t* jpeg, size_t size) {
    static DcReader reader;
    if (!reader.read(jpeg, size))
        return -1;
    uint64_t bits = 0;
    for (int i = 0; i < kColumns * kRows; i++) {
        int level = reader.cell(i % kColumns * kCell, kTop + i / kColumns * kCell);
        if (level > 80 && level < 176)
            return -1;
        bits = bits << 1 | (level >= 128);
    }
    uint64_t stamp = bits >> 12;
    if ((bits & 15) != 0xa || uint8_t(bits >> 4) != stampCheck(stamp))
        return -1;
    return int64_t(stamp);
}

} // namespace loadgen
