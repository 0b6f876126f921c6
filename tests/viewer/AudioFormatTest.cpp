#include "viewer/AudioFormat.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

constexpr const char* kAacLine = "CONFIG_AUDIO,8000.000000,1633772320,0,0,1024,0,1,0,0.500000,4096";
constexpr const char* kPcmLine = "CONFIG_AUDIO,4000.000000,1819304813,14,2,1,2,1,16,0.500000,20000";

TEST(AudioFormatTest, ReadsTheLineOfCompressedSound) {
    const auto format = AudioFormat::parse(kAacLine);

    ASSERT_TRUE(format);
    EXPECT_EQ(format.value(),
              (AudioFormat{8000, AudioFormat::kAac, 0, 0, 1024, 0, 1, 0, 0.5, 4096}));
    EXPECT_TRUE(format.value().isAac());
    EXPECT_TRUE(format.value().isPlayable());
}

TEST(AudioFormatTest, ReadsTheLineOfPlainSamples) {
    const auto format = AudioFormat::parse(kPcmLine);

    ASSERT_TRUE(format);
    EXPECT_EQ(format.value(),
              (AudioFormat{4000, AudioFormat::kPcm, 14, 2, 1, 2, 1, 16, 0.5, 20000}));
    EXPECT_FALSE(format.value().isAac());
    EXPECT_TRUE(format.value().isPlayable());
}

TEST(AudioFormatTest, AcceptsFurtherFields) {
    EXPECT_TRUE(AudioFormat::parse(std::string(kAacLine) + ",more"));
}

TEST(AudioFormatTest, KnowsItsLineAmongOthers) {
    EXPECT_TRUE(AudioFormat::announces(kAacLine));
    EXPECT_TRUE(AudioFormat::announces("CONFIG_AUDIO,"));
    EXPECT_FALSE(AudioFormat::announces("CONFIG_AUDIO"));
    EXPECT_FALSE(AudioFormat::announces("Audio,1,2,3,0"));
}

class MalformedAudioFormatTest : public testing::TestWithParam<const char*> {};

TEST_P(MalformedAudioFormatTest, IsRefused) {
    EXPECT_FALSE(AudioFormat::parse(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Lines, MalformedAudioFormatTest,
                         testing::Values("CONFIG_AUDIO,",
                                         "CONFIG_AUDIO,8000.0,1633772320,0,0,1024,0,1,0,0.5",
                                         "CONFIG_AUDIO,fast,1633772320,0,0,1024,0,1,0,0.5,4096",
                                         "CONFIG_AUDIO,nan,1633772320,0,0,1024,0,1,0,0.5,4096",
                                         "CONFIG_AUDIO,inf,1633772320,0,0,1024,0,1,0,0.5,4096",
                                         "CONFIG_AUDIO,-8000,1633772320,0,0,1024,0,1,0,0.5,4096",
                                         "CONFIG_AUDIO,8000.0,aac ,0,0,1024,0,1,0,0.5,4096",
                                         "CONFIG_AUDIO,8000.0,4294967296,0,0,1024,0,1,0,0.5,4096",
                                         "CONFIG_AUDIO,8000.0,1633772320,0,0,1024,0,1,0,0.5,-1",
                                         "CONFIG_AUDIO,8000.0,1633772320,0,0,,0,1,0,0.5,4096"));

class UnplayableAudioFormatTest : public testing::TestWithParam<const char*> {};

TEST_P(UnplayableAudioFormatTest, IsReadButNotPlayed) {
    const auto format = AudioFormat::parse(GetParam());

    ASSERT_TRUE(format);
    EXPECT_FALSE(format.value().isPlayable());
}

INSTANTIATE_TEST_SUITE_P(
    Lines, UnplayableAudioFormatTest,
    testing::Values("CONFIG_AUDIO,0,1633772320,0,0,1024,0,1,0,0.5,4096",
                    "CONFIG_AUDIO,1e300,1633772320,0,0,1024,0,1,0,0.5,4096",
                    "CONFIG_AUDIO,8000,1633772320,0,0,1024,0,0,0,0.5,4096",
                    "CONFIG_AUDIO,8000,1633772320,0,0,1024,0,9,0,0.5,4096",
                    "CONFIG_AUDIO,8000,1633772320,0,0,960,0,1,0,0.5,4096",
                    "CONFIG_AUDIO,8000,-1,0,0,1024,0,1,0,0.5,4096",
                    "CONFIG_AUDIO,4000,1819304813,12,2,1,2,1,16,0.5,20000", // little-endian
                    "CONFIG_AUDIO,4000,1819304813,15,4,1,4,1,32,0.5,20000", // floats
                    "CONFIG_AUDIO,4000,1819304813,14,1,1,1,1,8,0.5,20000",  // bytes
                    "CONFIG_AUDIO,4000,1819304813,14,3,1,3,1,16,0.5,20000"));

} // namespace
} // namespace ovelo
