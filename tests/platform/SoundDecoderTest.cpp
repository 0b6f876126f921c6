#include "platform/SoundDecoder.h"

#include "fakes/AacPackets.h"
#include "fakes/Tone.h"

#include <gtest/gtest.h>

namespace ovelo {

namespace {

using Samples = std::vector<std::int16_t>;

struct Setup {
    int rate;
    int channels;
    std::vector<std::uint8_t> expected;
};

class AacConfigurationTest : public testing::TestWithParam<Setup> {};

TEST_P(AacConfigurationTest, TellsRateAndChannels) {
    EXPECT_EQ(aacConfiguration(GetParam().rate, GetParam().channels), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Formats, AacConfigurationTest,
                         testing::Values(Setup{8000, 1, {0x15, 0x88}},
                                         Setup{44100, 2, {0x12, 0x10}},
                                         Setup{96000, 1, {0x10, 0x08}},
                                         Setup{7350, 1, {0x16, 0x08}},
                                         Setup{10000, 1, {0x17, 0x80, 0x13, 0x88, 0x08}}));

class SoundDecoderTest : public testing::TestWithParam<int> {
protected:
    static Samples decodeAll(SoundDecoder& decoder, const std::vector<Bytes>& packets) {
        Samples samples;
        for (const auto& packet : packets) {
            const auto part = decoder.decode(packet);
            EXPECT_EQ(part.size(), SoundDecoder::kPacketSamples);
            samples.insert(samples.end(), part.begin(), part.end());
        }
        return samples;
    }
};

TEST_P(SoundDecoderTest, GivesBackTheToneThatWasEncoded) {
    const int rate = GetParam();
    const auto packets = aacPackets(tone(440, rate, 20480), rate);
    const auto decoder = SoundDecoder::createAac(rate, 1);
    ASSERT_TRUE(decoder);

    const auto samples = decodeAll(*decoder, packets);

    const auto middle = std::span(samples).subspan(4096, 12288);
    EXPECT_NEAR(frequencyOf(middle, rate), 440, 0.5);
    EXPECT_NEAR(loudest(middle), 10000, 1500);
    EXPECT_TRUE(isWithoutGap(middle, static_cast<std::size_t>(rate / 400)));
}

INSTANTIATE_TEST_SUITE_P(Rates, SoundDecoderTest, testing::Values(8000, 16000, 44100));

TEST_F(SoundDecoderTest, LagsBehindTheEncodersInputByAPacketAndAHalf) {
    Samples samples(8192, 0);
    std::fill(samples.begin() + 4096, samples.begin() + 4104, std::int16_t{20000});
    const auto decoder = SoundDecoder::createAac(8000, 1);
    ASSERT_TRUE(decoder);

    const auto decoded = decodeAll(*decoder, aacPackets(samples, 8000));

    const auto peak = std::max_element(decoded.begin(), decoded.end()) - decoded.begin();
    RecordProperty("lag", static_cast<int>(peak - 4096));
    EXPECT_NEAR(static_cast<double>(peak - 4096), 1.5 * SoundDecoder::kPacketSamples, 300);
}

TEST_F(SoundDecoderTest, IsNotMadeForARateThatNoDecoderTakes) {
    EXPECT_FALSE(SoundDecoder::createAac(1000, 1));
    EXPECT_FALSE(SoundDecoder::createAac(192000, 1));
}

TEST_F(SoundDecoderTest, PlaysSilenceForBrokenPacketsAndGoesOn) {
    const auto packets = aacPackets(tone(440, 8000, 20480), 8000);
    const auto decoder = SoundDecoder::createAac(8000, 1);
    ASSERT_TRUE(decoder);

    for (int i = 0; i < 300; ++i) {
        const Bytes broken(static_cast<std::size_t>(i), static_cast<std::uint8_t>(0x5A + 37 * i));
        EXPECT_EQ(decoder->decode(broken).size(), SoundDecoder::kPacketSamples);
    }
    const auto samples = decodeAll(*decoder, packets);

    EXPECT_NEAR(frequencyOf(std::span(samples).subspan(4096, 12288), 8000), 440, 0.5);
}

} // namespace

} // namespace ovelo
