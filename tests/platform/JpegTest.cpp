#include "platform/Jpeg.h"

#include "fakes/TestPicture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>
#include <vector>

namespace ovelo {

namespace {

/// A picture without fine detail in its colours.
VideoFrame smoothPicture(int width, int height, std::size_t padding = 0) {
    return pictureOf(
        width, height,
        [](int x, int y) {
            const auto shade = [](double value) {
                return static_cast<std::uint8_t>(128 + 100 * value);
            };
            return Colour{shade(std::sin(x / 50.0)), shade(std::cos(y / 40.0)),
                          shade(std::sin((x + y) / 60.0)), 255};
        },
        padding);
}

Bytes encoded(const VideoFrame& picture, int quality = 40) {
    const auto jpeg = jpeg::encode(picture, quality);
    EXPECT_TRUE(jpeg) << jpeg.error();
    return *jpeg.value();
}

/// The payload of the first segment of a kind.
std::vector<std::uint8_t> segment(const Bytes& jpeg, std::uint8_t marker) {
    for (std::size_t i = 2; i + 3 < jpeg.size() && jpeg[i] == 0xFF;) {
        const std::size_t length = jpeg[i + 2] * 256U + jpeg[i + 3];
        if (jpeg[i + 1] == marker) {
            return {jpeg.begin() + static_cast<std::ptrdiff_t>(i) + 4,
                    jpeg.begin() + static_cast<std::ptrdiff_t>(i + 2 + length)};
        }
        i += 2 + length;
    }
    return {};
}

} // namespace

TEST(JpegTest, APictureComesBackNearlyAsItWas) {
    const VideoFrame picture = smoothPicture(320, 240);
    const auto decoded = jpeg::decode(encoded(picture));

    ASSERT_TRUE(decoded) << decoded.error();
    EXPECT_EQ(decoded.value().width, 320);
    EXPECT_EQ(decoded.value().height, 240);
    double sum = 0;
    for (int y = 0; y < 240; ++y) {
        for (int x = 0; x < 320; ++x) {
            const Colour before = colourOf(picture, x, y);
            const Colour after = colourOf(decoded.value(), x, y);
            for (std::size_t i = 0; i < 3; ++i) {
                ASSERT_NEAR(before[i], after[i], 24) << "at " << x << ", " << y;
                sum += std::abs(before[i] - after[i]);
            }
            ASSERT_EQ(after[3], 255);
        }
    }
    EXPECT_LT(sum / (320 * 240 * 3), 4.0);
}

TEST(JpegTest, ColoursAreInTheirOrder) {
    const auto red = pictureOf(32, 32, [](int, int) { return Colour{230, 30, 60, 255}; });
    const auto decoded = jpeg::decode(encoded(red));

    ASSERT_TRUE(decoded);
    const Colour colour = colourOf(decoded.value(), 16, 16);
    EXPECT_NEAR(colour[0], 230, 8);
    EXPECT_NEAR(colour[1], 30, 8);
    EXPECT_NEAR(colour[2], 60, 8);
}

TEST(JpegTest, ChromaIsHalvedInBothDirections) {
    const auto frameHeader = segment(encoded(smoothPicture(320, 240)), 0xC0);

    ASSERT_EQ(frameHeader.size(), 15U);
    EXPECT_EQ(frameHeader[1] * 256 + frameHeader[2], 240);
    EXPECT_EQ(frameHeader[3] * 256 + frameHeader[4], 320);
    EXPECT_EQ(frameHeader[7], 0x22);  // brightness: two by two samples
    EXPECT_EQ(frameHeader[10], 0x11); // for each of either colour
    EXPECT_EQ(frameHeader[13], 0x11);
}

TEST(JpegTest, QualityScalesTheQuantisationTable) {
    const auto picture = smoothPicture(64, 64);
    EXPECT_EQ(segment(encoded(picture, 40), 0xDB).at(1), 20); // the standard's 16, times 1.25
    EXPECT_EQ(segment(encoded(picture, 50), 0xDB).at(1), 16);
}

TEST(JpegTest, PaddingAfterTheRowsIsLeftOut) {
    EXPECT_EQ(encoded(smoothPicture(50, 30, 24)), encoded(smoothPicture(50, 30)));
}

TEST(JpegTest, SizesThatFillNoBlockAreKept) {
    const auto decoded = jpeg::decode(encoded(smoothPicture(17, 1)));

    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded.value().width, 17);
    EXPECT_EQ(decoded.value().height, 1);
    EXPECT_EQ(decoded.value().bytesPerRow, 17U * 4);
}

TEST(JpegTest, NoPictureIsAFailure) {
    const VideoFrame good = smoothPicture(8, 8);
    VideoFrame broken = good;
    broken.pixels = nullptr;
    EXPECT_FALSE(jpeg::encode(broken, 40));
    broken = good;
    broken.width = 0;
    EXPECT_FALSE(jpeg::encode(broken, 40));
    broken = good;
    broken.height = -1;
    EXPECT_FALSE(jpeg::encode(broken, 40));
    broken = good;
    broken.bytesPerRow = 31;
    EXPECT_FALSE(jpeg::encode(broken, 40));
    broken = good;
    broken.width = 70000;
    broken.bytesPerRow = 280000;
    EXPECT_FALSE(jpeg::encode(broken, 40));
}

TEST(JpegTest, AnImpossibleQualityIsAFailure) {
    EXPECT_FALSE(jpeg::encode(smoothPicture(8, 8), 0));
    EXPECT_FALSE(jpeg::encode(smoothPicture(8, 8), 101));
}

TEST(JpegTest, WhatIsNoJpegIsAFailure) {
    const std::vector<Bytes> inputs = {{},
                                       {0xFF},
                                       {0xFF, 0xD8},
                                       {0xFF, 0xD8, 0, 1, 2},
                                       {'h', 'e', 'l', 'l', 'o'},
                                       Bytes(1000, 0),
                                       Bytes(1000, 0xFF),
                                       {0xFF, 0xD8, 0xFF, 0xD9}};
    for (const auto& input : inputs) {
        EXPECT_FALSE(jpeg::decode(input)) << input.size();
        EXPECT_FALSE(jpeg::decode(input, {.acceptDamaged = true})) << input.size();
    }
}

TEST(JpegTest, APictureCutOffIsAFailureUnlessItIsAccepted) {
    const Bytes whole = encoded(smoothPicture(320, 240));
    const std::span<const std::uint8_t> half(whole.data(), whole.size() / 2);

    EXPECT_FALSE(jpeg::decode(half));
    const auto accepted = jpeg::decode(half, {.acceptDamaged = true});
    ASSERT_TRUE(accepted) << accepted.error();
    EXPECT_EQ(accepted.value().height, 240);
    EXPECT_TRUE(jpeg::decode(whole)); // the failure leaves nothing behind
}

TEST(JpegTest, APictureCutOffAnywhereHarmsNothing) {
    const Bytes whole = encoded(smoothPicture(64, 48));
    for (std::size_t length = 0; length < whole.size() - 2; ++length) {
        // A copy of its own, so that a read beyond its end is noticed.
        const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        ASSERT_FALSE(jpeg::decode(part)) << length;
        static_cast<void>(jpeg::decode(part, {.acceptDamaged = true}));
    }
}

TEST(JpegTest, AFlippedByteAnywhereHarmsNothing) {
    const Bytes whole = encoded(smoothPicture(64, 48));
    int readable = 0;
    for (std::size_t i = 0; i < whole.size(); ++i) {
        Bytes damaged = whole;
        damaged[i] ^= 0xFF;
        const auto decoded =
            jpeg::decode(damaged, {.maxWidth = 512, .maxHeight = 512, .acceptDamaged = true});
        readable += decoded ? 1 : 0;
        if (decoded) {
            EXPECT_LE(decoded.value().width, 512);
            EXPECT_LE(decoded.value().height, 512);
        }
    }
    EXPECT_GT(readable, 0); // so it is not the first damage that all have failed at
}

TEST(JpegTest, AFailureDoesNotSpoilTheNextPicture) {
    const Bytes whole = encoded(smoothPicture(64, 48));
    for (std::size_t length = 0; length < whole.size() - 2; ++length) {
        ASSERT_FALSE(jpeg::decode({whole.data(), length}));
        ASSERT_TRUE(jpeg::decode(whole)) << length;
    }
}

TEST(JpegTest, APictureBeyondTheLimitsIsAFailure) {
    const Bytes jpeg = encoded(smoothPicture(65, 33));

    const auto fitting = jpeg::decode(jpeg, {.maxWidth = 65, .maxHeight = 33});
    EXPECT_TRUE(fitting) << fitting.error();
    EXPECT_FALSE(jpeg::decode(jpeg, {.maxWidth = 64, .maxHeight = 33}));
    EXPECT_FALSE(jpeg::decode(jpeg, {.maxWidth = 65, .maxHeight = 32}));
}

TEST(JpegTest, ThreadsEncodeTheSameBytes) {
    const VideoFrame picture = smoothPicture(320, 240);
    const Bytes expected = encoded(picture);
    std::vector<std::jthread> threads;
    for (int n = 0; n < 4; ++n) {
        threads.emplace_back([&] {
            for (int i = 0; i < 10; ++i) {
                ASSERT_EQ(*jpeg::encode(picture, 40).value(), expected);
            }
        });
    }
}

} // namespace ovelo
