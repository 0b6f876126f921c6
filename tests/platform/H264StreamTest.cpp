#include "platform/H264Stream.h"

#include <gtest/gtest.h>

namespace ovelo {

namespace {

using Bytes = std::vector<std::uint8_t>;

const Bytes kPicture = {
    0, 0, 0, 1,    0x67, 0x42, 0xc0, 0x0d, 0xaa, // sequence parameters
    0, 0, 0, 1,    0x68, 0xce,                   // picture parameters
    0, 0, 1, 0x65, 1,    2,    3,                // a slice
    0, 0, 1, 0x65, 4,                            // another
};

TEST(H264StreamTest, ASampleHasSizesBeforeItsSlices) {
    EXPECT_EQ(h264::sample(kPicture), (Bytes{0, 0, 0, 4, 0x65, 1, 2, 3, 0, 0, 0, 2, 0x65, 4}));
}

TEST(H264StreamTest, TheConfigurationHoldsTheParameterSets) {
    EXPECT_EQ(h264::configuration(kPicture),
              (Bytes{1, 0x42, 0xc0, 0x0d, 0xff,                // profile and level
                     0xe1, 0, 5, 0x67, 0x42, 0xc0, 0x0d, 0xaa, // sequence parameters
                     1, 0, 2, 0x68, 0xce}));                   // picture parameters
}

TEST(H264StreamTest, WithoutParameterSetsThereIsNoConfiguration) {
    EXPECT_TRUE(h264::configuration(Bytes{0, 0, 1, 0x65, 1}).empty());
    EXPECT_TRUE(h264::configuration(Bytes{}).empty());
    EXPECT_TRUE(h264::configuration(Bytes{0, 0, 1, 0x67, 0x42, 0, 0, 1, 0x68}).empty());
}

TEST(H264StreamTest, BytesWithoutUnitsGiveNothing) {
    EXPECT_TRUE(h264::sample(Bytes{}).empty());
    EXPECT_TRUE(h264::sample(Bytes{0, 0, 1}).empty());
    EXPECT_TRUE(h264::sample(Bytes{0, 0, 0, 0, 1, 0, 0, 1}).empty());
    EXPECT_TRUE(h264::sample(Bytes{1, 2, 3, 4}).empty());
}

} // namespace

} // namespace ovelo
