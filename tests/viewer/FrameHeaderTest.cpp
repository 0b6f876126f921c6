#include "viewer/FrameHeader.h"

#include <gtest/gtest.h>

#include <string>

namespace ovelo {
namespace {

TEST(FrameHeaderTest, ReadsAPictureHeader) {
    const auto header = parseFrameHeader("Frame,17,10240,1706745599,0");

    ASSERT_TRUE(header);
    EXPECT_EQ(header.value(), (FrameHeader{BlockKind::Picture, 17, 10240, 1706745599, false}));
}

TEST(FrameHeaderTest, ReadsASoundHeaderThatAsksForAReport) {
    const auto header = parseFrameHeader("Audio,0,380,1,1");

    ASSERT_TRUE(header);
    EXPECT_EQ(header.value(), (FrameHeader{BlockKind::Sound, 0, 380, 1, true}));
}

TEST(FrameHeaderTest, TakesTheWholeUnsignedRange) {
    const auto header = parseFrameHeader("Frame,4294967295,0,4294967295,0");

    ASSERT_TRUE(header);
    EXPECT_EQ(header.value().frameID, 4294967295U);
    EXPECT_EQ(header.value().timeStamp, 4294967295U);
}

TEST(FrameHeaderTest, TakesATimeStampThatWasPrintedSigned) {
    const auto header = parseFrameHeader("Frame,1,5,-2,0");

    ASSERT_TRUE(header);
    EXPECT_EQ(header.value().timeStamp, 4294967294U);
}

TEST(FrameHeaderTest, KnowsWhichLinesAnnounceABlock) {
    EXPECT_TRUE(announcesBlock("Frame,1,2,3,0"));
    EXPECT_TRUE(announcesBlock("Audio,"));
    EXPECT_FALSE(announcesBlock("Frames,1,2,3,0"));
    EXPECT_FALSE(announcesBlock("frame,1,2,3,0"));
    EXPECT_FALSE(announcesBlock("CONFIG_AUDIO,8000.000000"));
    EXPECT_FALSE(announcesBlock("Frame"));
    EXPECT_FALSE(announcesBlock(""));
}

TEST(FrameHeaderTest, AcceptsTheLongestBlockAndRefusesAByteMore) {
    EXPECT_TRUE(parseFrameHeader("Frame,1,16777216,1,0"));
    const auto refused = parseFrameHeader("Frame,1,16777217,1,0");

    ASSERT_FALSE(refused);
    EXPECT_NE(refused.error().find("16777217"), std::string::npos);
}

class MalformedFrameHeaderTest : public testing::TestWithParam<const char*> {};

TEST_P(MalformedFrameHeaderTest, IsRefused) {
    EXPECT_FALSE(parseFrameHeader(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Lines, MalformedFrameHeaderTest,
                         testing::Values("Frame,", "Frame,1", "Frame,1,2,3", "Frame,1,2,3,",
                                         "Frame,1,2,3,2", "Frame,1,2,3,0,0", "Frame,1,2,3,0\r",
                                         "Frame,,2,3,0", "Frame,1,,3,0", "Frame,x,2,3,0",
                                         "Frame,1,2x,3,0", "Frame,1, 2,3,0", "Frame,1,+2,3,0",
                                         "Frame,1,4294967296,3,0", "Frame,1,-1,3,0",
                                         "Frame,99999999999999999999,2,3,0"));

} // namespace
} // namespace ovelo
