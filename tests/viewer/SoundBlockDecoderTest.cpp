#include "viewer/SoundBlockDecoder.h"

#include "fakes/FakeSound.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

using Samples = std::vector<std::int16_t>;
using Bytes = std::vector<std::uint8_t>;

AudioFormat pcm(std::uint32_t channels) {
    return {4000, AudioFormat::kPcm, 14, 2 * channels, 1, 2 * channels, channels, 16, 0.5, 20000};
}
const AudioFormat kAac{8000, AudioFormat::kAac, 0, 0, 1024, 0, 1, 0, 0.5, 4096};

Bytes aacBlock(std::string text, const Bytes& sound) {
    text.push_back('\0');
    Bytes block(text.begin(), text.end());
    block.insert(block.end(), sound.begin(), sound.end());
    return block;
}

TEST(SoundBlockDecoderTest, ReadsBigEndianSamples) {
    SoundBlockDecoder blocks(&FakeDecoder::create);
    ASSERT_FALSE(blocks.configure(pcm(1)));

    const auto samples = blocks.decode(Bytes{0x01, 0x02, 0xFF, 0xFE, 0x80, 0x00, 0x7F});

    ASSERT_TRUE(samples);
    EXPECT_EQ(samples.value(), (Samples{258, -2, -32768}));
    EXPECT_EQ(blocks.rate(), 4000);
    EXPECT_EQ(blocks.age().count(), 0);
}

TEST(SoundBlockDecoderTest, MixesTwoChannels) {
    SoundBlockDecoder blocks(&FakeDecoder::create);
    ASSERT_FALSE(blocks.configure(pcm(2)));

    const auto samples = blocks.decode(Bytes{0x00, 0x64, 0x00, 0x32, 0x80, 0x00, 0x80, 0x00, 1});

    ASSERT_TRUE(samples);
    EXPECT_EQ(samples.value(), (Samples{75, -32768}));
}

TEST(SoundBlockDecoderTest, DecodesPacketByPacket) {
    SoundBlockDecoder blocks(&FakeDecoder::create);
    ASSERT_FALSE(blocks.configure(kAac));

    const auto samples = blocks.decode(aacBlock("2,1,0,0,2,1,0,3", {5, 6, 7}));

    ASSERT_TRUE(samples);
    ASSERT_EQ(samples.value().size(), 2048U);
    EXPECT_EQ(samples.value()[0], 5);
    EXPECT_EQ(samples.value()[1024], 6);
    EXPECT_NEAR(blocks.age().count(), 0.32, 1e-9);
}

TEST(SoundBlockDecoderTest, RefusesBrokenBlocksAndUnknownFormats) {
    SoundBlockDecoder blocks(&FakeDecoder::create);
    EXPECT_FALSE(blocks.decode(Bytes{1, 2}));
    ASSERT_FALSE(blocks.configure(kAac));
    EXPECT_FALSE(blocks.decode(Bytes{1, 2}));

    auto unknown = kAac;
    unknown.formatID = 1;
    EXPECT_TRUE(blocks.configure(unknown));
    EXPECT_EQ(blocks.rate(), 0);
    EXPECT_FALSE(blocks.decode(aacBlock("0,0", {})));
}

TEST(SoundBlockDecoderTest, RefusesABlockThatIsTooLong) {
    SoundBlockDecoder blocks(&FakeDecoder::create);
    ASSERT_FALSE(blocks.configure(pcm(1)));

    EXPECT_TRUE(blocks.decode(Bytes(SoundBlockDecoder::kMaxBlock)));
    EXPECT_FALSE(blocks.decode(Bytes(SoundBlockDecoder::kMaxBlock + 2)));
}

TEST(SoundBlockDecoderTest, SaysWhenThereIsNoDecoder) {
    SoundBlockDecoder blocks([](int, int) { return std::unique_ptr<SoundDecoder>(); });

    EXPECT_TRUE(blocks.configure(kAac));
    EXPECT_FALSE(blocks.configure(pcm(1)));
}

} // namespace
} // namespace ovelo
