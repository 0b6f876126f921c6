#include "platform/SoundEncoder.h"

#include "fakes/HiddenElements.h"
#include "fakes/SoundTools.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace ovelo {

namespace {

AudioStreamDescription aac() {
    AudioStreamDescription format;
    format.mSampleRate = 8000;
    format.mFormatID = kAudioFormatAac;
    format.mFramesPerPacket = 1024;
    format.mChannelsPerFrame = 1;
    return format;
}

AudioStreamDescription pcm() {
    AudioStreamDescription format;
    format.mSampleRate = 4000;
    format.mFormatID = kAudioFormatPcm;
    format.mFormatFlags = kAudioPcmFlags;
    format.mBytesPerPacket = 2;
    format.mChannelsPerFrame = 1;
    format.mBitsPerChannel = 16;
    return format;
}

/// Encodes the sound in uneven pieces.
std::vector<Bytes> encoded(const AudioStreamDescription& format,
                           const std::vector<std::int16_t>& sound) {
    std::vector<Bytes> packets;
    auto encoder = SoundEncoder::create(format);
    EXPECT_TRUE(encoder) << encoder.error();
    if (!encoder) {
        return packets;
    }
    const auto running = std::move(encoder).value();
    std::span<const std::int16_t> left(sound);
    for (std::size_t i = 0; !left.empty(); ++i) {
        const auto count = std::min<std::size_t>(left.size(), 500 + i * 37 % 3000);
        EXPECT_TRUE(running->encode(left.first(count), [&](std::span<const std::uint8_t> packet) {
            packets.emplace_back(packet.begin(), packet.end());
        }));
        left = left.subspan(count);
    }
    return packets;
}

class SoundEncoderTest : public testing::Test {
protected:
    std::vector<std::int16_t> asSamples(const std::vector<Bytes>& pieces) {
        std::vector<std::int16_t> samples;
        for (const Bytes& piece : pieces) {
            const auto more = sound::fromBigEndian(piece);
            samples.insert(samples.end(), more.begin(), more.end());
        }
        return samples;
    }
};

TEST_F(SoundEncoderTest, MakesSamplesOfAQuarterOfTheRateWithoutAGap) {
    const auto samples = asSamples(encoded(pcm(), sound::sweep(4, 100, 1500, kSoundRate)));

    EXPECT_NEAR(static_cast<double>(samples.size()), 16000, 100);
    const auto fit = sound::compareWithSweep(samples, 4, 100, 1500, 4000);
    EXPECT_GT(fit.worst, 0.999) << "at " << fit.where << " s";
}

TEST_F(SoundEncoderTest, LetsNothingThroughThatWouldComeOutAsAnotherTone) {
    for (const double frequency : {2500.0, 3000.0, 5000.0, 7000.0}) {
        const auto samples =
            asSamples(encoded(pcm(), sound::sweep(1, frequency, frequency, kSoundRate)));
        const auto steady = std::span(samples).subspan(400); // behind the filter's beginning
        EXPECT_LT(sound::loudness(steady), 0.005) << frequency << " Hz";
    }
}

TEST_F(SoundEncoderTest, MakesPacketsOfHalfTheRateWithoutAGap) {
    const auto packets = encoded(aac(), sound::sweep(4, 100, 3000, kSoundRate));

    EXPECT_NEAR(static_cast<double>(packets.size()), 4 * 8000 / 1024.0, 3);
    for (const Bytes& packet : packets) {
        EXPECT_LE(packet.size(), 768U); // the most that the format allows for one channel
    }
    const auto samples = sound::decodeAac(packets);
    EXPECT_EQ(samples.size(), packets.size() * 1024);
    const auto fit = sound::compareWithSweep(samples, 4, 100, 3000, 8000);
    EXPECT_GT(fit.worst, 0.97) << "at " << fit.where << " s";
}

TEST_F(SoundEncoderTest, NamesThePackagesWhenNoEncoderIsInstalled) {
    ASSERT_TRUE(SoundEncoder::create(aac())); // the library is ready
    const HiddenElements hidden({"voaacenc", "avenc_aac"});

    const auto encoder = SoundEncoder::create(aac());
    ASSERT_FALSE(encoder);
    EXPECT_EQ(encoder.error(),
              "Sound cannot be encoded: install the package gstreamer1.0-plugins-bad or "
              "gstreamer1.0-libav. (no element \"voaacenc\"; no element \"avenc_aac\")");
    EXPECT_TRUE(SoundEncoder::create(pcm())); // samples need none
}

TEST_F(SoundEncoderTest, NamesThePackageOfWhatEveryFormatNeeds) {
    ASSERT_TRUE(SoundEncoder::create(pcm()));
    GstRegistry* registry = gst_registry_get();
    for (const char* name : {"audioresample", "audioconvert"}) {
        GstPluginFeature* feature = gst_registry_lookup_feature(registry, name);
        ASSERT_NE(feature, nullptr);
        gst_registry_remove_feature(registry, feature);
        for (const auto& format : {pcm(), aac()}) {
            const auto encoder = SoundEncoder::create(format);
            ASSERT_FALSE(encoder) << name;
            EXPECT_EQ(encoder.error(),
                      "Sound cannot be encoded: install the package gstreamer1.0-plugins-base.");
        }
        gst_registry_add_feature(registry, feature);
        gst_object_unref(feature);
    }
}

TEST_F(SoundEncoderTest, DoesWithTheOtherEncoder) {
    ASSERT_TRUE(SoundEncoder::create(aac()));
    const HiddenElements hidden({"voaacenc"});
    if (!SoundEncoder::create(aac())) {
        GTEST_SKIP() << "there are no two encoders: gstreamer1.0-plugins-bad, gstreamer1.0-libav";
    }

    const auto samples = sound::decodeAac(encoded(aac(), sound::sweep(4, 100, 2500, kSoundRate)));
    const auto fit = sound::compareWithSweep(samples, 4, 100, 2500, 8000);
    EXPECT_GT(fit.worst, 0.9) << "at " << fit.where << " s";
}

TEST_F(SoundEncoderTest, KnowsItsFormats) {
    EXPECT_TRUE(SoundEncoder::isKnown(aac()));
    EXPECT_TRUE(SoundEncoder::isKnown(pcm()));
    EXPECT_FALSE(SoundEncoder::isKnown({}));
    auto stereo = pcm();
    stereo.mChannelsPerFrame = 2;
    EXPECT_FALSE(SoundEncoder::isKnown(stereo));
    auto other = pcm();
    other.mFormatFlags = 12; // little-endian
    EXPECT_FALSE(SoundEncoder::isKnown(other));
    auto fast = aac();
    fast.mSampleRate = 48000;
    EXPECT_FALSE(SoundEncoder::isKnown(fast));
}

} // namespace

} // namespace ovelo
