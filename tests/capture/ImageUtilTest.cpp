#include "capture/ImageUtil.h"

#include "fakes/TestPicture.h"
#include "platform/Canvas.h"
#include "platform/MemorySettings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace ovelo {

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;

Bitmap bitmapOf(const VideoFrame& picture) {
    const MemorySettings settings;
    return ImageUtil::GetResizedImage(picture, static_cast<float>(picture.width),
                                      static_cast<float>(picture.height), settings);
}

Bitmap blackBitmap() {
    return bitmapOf(pictureOf(kWidth, kHeight, [](int, int) { return kBlack; }));
}

bool isSame(const Bitmap& a, const Bitmap& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size()) == 0;
}

/// Where a text has left something on black, from the bottom left.
struct Ink {
    struct Spot {
        double x;
        double y;
    };
    std::vector<Spot> spots;
    double left = kWidth;
    double right = 0;
    double bottom = kHeight;
    double top = 0;
};

Ink inkOf(const Bitmap& bitmap) {
    Ink ink;
    for (int y = 0; y < bitmap.height(); ++y) {
        for (int x = 0; x < bitmap.width(); ++x) {
            if (colourOf(bitmap, x, y) == kBlack) {
                continue;
            }
            const double fromBottom = bitmap.height() - 1 - y;
            ink.spots.push_back({x + 0.5, fromBottom + 0.5});
            ink.left = std::min<double>(ink.left, x);
            ink.right = std::max<double>(ink.right, x + 1);
            ink.bottom = std::min(ink.bottom, fromBottom);
            ink.top = std::max(ink.top, fromBottom + 1);
        }
    }
    return ink;
}

/// The direction in which the ink extends most, in radians.
double directionOf(const Ink& ink) {
    double meanX = 0;
    double meanY = 0;
    for (const auto& spot : ink.spots) {
        meanX += spot.x / static_cast<double>(ink.spots.size());
        meanY += spot.y / static_cast<double>(ink.spots.size());
    }
    double xx = 0;
    double yy = 0;
    double xy = 0;
    for (const auto& spot : ink.spots) {
        xx += (spot.x - meanX) * (spot.x - meanX);
        yy += (spot.y - meanY) * (spot.y - meanY);
        xy += (spot.x - meanX) * (spot.y - meanY);
    }
    return 0.5 * std::atan2(2 * xy, xx - yy);
}

} // namespace

TEST(ImageUtilTest, AFrameIsStretchedToTheWholePixelsOfTheSize) {
    const MemorySettings settings;
    const Bitmap result = ImageUtil::GetResizedImage(unevenPicture(64, 64), 32.9F, 24.9F, settings);

    EXPECT_EQ(result.width(), 32);
    EXPECT_EQ(result.height(), 24);
    EXPECT_EQ(result.bytesPerRow(), 128U);
}

TEST(ImageUtilTest, TheSettingsTurnThePicture) {
    const VideoFrame picture = unevenPicture(kWidth, kHeight);
    MemorySettings settings;
    settings.setBoolean("flip_horizontally", true);
    const Bitmap upsideDown = ImageUtil::GetResizedImage(picture, kWidth, kHeight, settings);
    EXPECT_EQ(colourOf(upsideDown, 5, 0), colourOf(picture, 5, kHeight - 1));

    settings.setBoolean("flip_horizontally", false);
    settings.setBoolean("flip_vertically", true);
    const Bitmap mirrored = ImageUtil::GetResizedImage(picture, kWidth, kHeight, settings);
    EXPECT_EQ(colourOf(mirrored, 0, 5), colourOf(picture, kWidth - 1, 5));

    settings.setBoolean("flip_vertically", false);
    settings.setInteger("rotate_val", 2);
    const Bitmap turned = ImageUtil::GetResizedImage(picture, kWidth, kHeight, settings);
    EXPECT_EQ(colourOf(turned, 0, 0), colourOf(picture, kWidth - 1, kHeight - 1));
}

struct NightVision {
    Colour before;
    Colour after;
};

class ImageUtilNightVisionTest : public ::testing::TestWithParam<NightVision> {};

TEST_P(ImageUtilNightVisionTest, MakesGreyABrightGreen) {
    Bitmap bitmap = bitmapOf(pictureOf(4, 2, [](int, int) { return GetParam().before; }));
    ImageUtil::SetNightVision(bitmap, 4, 2);

    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 4; ++x) {
            EXPECT_EQ(colourOf(bitmap, x, y), GetParam().after);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Colours, ImageUtilNightVisionTest,
                         ::testing::Values(NightVision{{255, 255, 255, 255}, {0, 255, 0, 255}},
                                           NightVision{{100, 100, 100, 255}, {0, 250, 0, 255}},
                                           NightVision{{101, 101, 101, 255}, {0, 252, 0, 255}},
                                           NightVision{{102, 102, 102, 255}, {0, 255, 0, 255}},
                                           NightVision{{103, 103, 103, 255}, {0, 255, 0, 255}},
                                           NightVision{kBlack, kBlack},
                                           NightVision{{1, 0, 0, 255}, {0, 0, 0, 255}},
                                           NightVision{{1, 1, 0, 255}, {0, 0, 0, 255}},
                                           NightVision{{1, 1, 1, 255}, {0, 2, 0, 255}},
                                           NightVision{{10, 20, 31, 255}, {0, 50, 0, 255}}));

TEST(ImageUtilTest, NightVisionFollowsItsFormulaForEverySum) {
    Bitmap bitmap = bitmapOf(pictureOf(766, 1, [](int x, int) {
        const auto part = [x](int n) {
            return static_cast<std::uint8_t>(std::clamp(x - 255 * n, 0, 255));
        };
        return Colour{part(0), part(1), part(2), 255};
    }));
    ImageUtil::SetNightVision(bitmap, 766, 1);

    for (int sum = 0; sum < 766; ++sum) {
        const int grey = static_cast<int>(sum / 3.0);
        const int green = std::min(static_cast<int>(grey * 2.5), 255);
        ASSERT_EQ(colourOf(bitmap, sum, 0), (Colour{0, static_cast<std::uint8_t>(green), 0, 255}))
            << sum;
    }
}

TEST(ImageUtilTest, NightVisionLeavesAlpha) {
    Bitmap bitmap(2, 1);
    const Colour before = {30, 30, 30, 77};
    std::copy(before.begin(), before.end(), bitmap.row(0));
    std::copy(before.begin(), before.end(), bitmap.row(0) + 4);
    ImageUtil::SetNightVision(bitmap, 2, 1);

    EXPECT_EQ(colourOf(bitmap, 1, 0), (Colour{0, 75, 0, 77}));
}

TEST(ImageUtilTest, NightVisionStopsAtTheGivenSize) {
    const Colour grey = {40, 40, 40, 255};
    Bitmap bitmap = bitmapOf(pictureOf(4, 4, [&](int, int) { return grey; }));
    ImageUtil::SetNightVision(bitmap, 4, 2);

    EXPECT_EQ(colourOf(bitmap, 3, 1), (Colour{0, 100, 0, 255}));
    EXPECT_EQ(colourOf(bitmap, 0, 2), grey);
    ImageUtil::SetNightVision(bitmap, 4000, 4000); // more than there is
    EXPECT_EQ(colourOf(bitmap, 3, 3), (Colour{0, 100, 0, 255}));
}

TEST(ImageUtilTest, AnEmptyTextChangesNothing) {
    const VideoFrame picture = unevenPicture(kWidth, kHeight);
    Bitmap bitmap = bitmapOf(picture);
    ImageUtil::AddText(bitmap, kWidth, kHeight, "", 10, 10);
    ImageUtil::AddText(bitmap, kWidth, kHeight, std::string_view("\0hidden", 7), 10, 10);
    ImageUtil::AddText(bitmap, kWidth, kHeight, "   ", 10, 10);

    EXPECT_TRUE(isSame(bitmap, bitmapOf(picture)));
}

TEST(ImageUtilTest, ATextRunsUpwardFromItsPlaceAtOneRadian) {
    constexpr double kX = 100;
    constexpr double kY = 10;
    constexpr double kAscent = 15; // no letter is higher
    Bitmap bitmap = blackBitmap();
    ImageUtil::AddText(bitmap, kWidth, kHeight, "2024-01-31 23:59", kX, kY);
    const Ink ink = inkOf(bitmap);

    EXPECT_NEAR(directionOf(ink), 1.0, 0.03);
    // Letters stand to the left of the line that runs up to the right.
    EXPECT_GE(ink.left, kX - kAscent * std::sin(1.0) - 1);
    EXPECT_LE(ink.left, kX);
    EXPECT_GE(ink.bottom, kY - 2);
    EXPECT_LE(ink.bottom, kY + 3);
    for (const auto& spot : ink.spots) {
        const double along = (spot.x - kX) * std::cos(1.0) + (spot.y - kY) * std::sin(1.0);
        const double above = (spot.y - kY) * std::cos(1.0) - (spot.x - kX) * std::sin(1.0);
        ASSERT_GE(along, -1.5);
        ASSERT_GE(above, -1.5);
        ASSERT_LE(above, kAscent);
    }
}

TEST(ImageUtilTest, EachCharacterTakesItsWidthAndFivePixels) {
    const auto lengthOf = [](const std::string& text) {
        Bitmap bitmap = blackBitmap();
        ImageUtil::AddText(bitmap, kWidth, kHeight, text, 50, 10);
        double length = 0;
        for (const auto& spot : inkOf(bitmap).spots) {
            length =
                std::max(length, (spot.x - 50) * std::cos(1.0) + (spot.y - 10) * std::sin(1.0));
        }
        return length;
    };
    constexpr double kDigit = 0.5 * 15; // of the bold Times metrics
    EXPECT_NEAR(lengthOf("00000") - lengthOf("0"), 4 * (kDigit + 5), 0.8);
    constexpr double kCapitalW = 1.0 * 15;
    EXPECT_NEAR(lengthOf("WWWW") - lengthOf("W"), 3 * (kCapitalW + 5), 0.8);
}

TEST(ImageUtilTest, LettersAreHalfTransparentWithAnOpaqueWhiteEdge) {
    // A bold capital I has a stem of more than two pixels, whose middle the strokes leave free.
    const Colour green = {0, 200, 0, 255};
    Bitmap bitmap = bitmapOf(pictureOf(kWidth, kHeight, [&](int, int) { return green; }));
    ImageUtil::AddText(bitmap, kWidth, kHeight, "HHHHHHHHHHHH", 60, 20);

    int brightest = 0;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const Colour colour = colourOf(bitmap, x, y);
            brightest = std::max<int>(brightest, colour[0]);
            ASSERT_EQ(colour[0], colour[2]);    // white only
            ASSERT_GE(colour[1] + 1, green[1]); // nothing gets darker
            ASSERT_EQ(colour[3], 255);
        }
    }
    EXPECT_GT(brightest, 240);
}

TEST(ImageUtilTest, ATextLaidOverIsTheTextDrawn) {
    const VideoFrame picture = unevenPicture(kWidth, kHeight);
    Bitmap laid = bitmapOf(picture);
    ImageUtil::AddText(laid, kWidth, kHeight, "Demo Camera", 10, 220);
    ImageUtil::AddText(laid, kWidth, kHeight, "1/31/24 11:59 PM", kWidth / 3.0F, 10);
    Bitmap drawn = bitmapOf(picture);
    {
        Canvas canvas(drawn.surface());
        canvas.drawText(U"Demo Camera", 10, 220, {.direction = 1.0});
        canvas.drawText(U"1/31/24 11:59 PM", kWidth / 3.0F, 10, {.direction = 1.0});
    }

    for (std::size_t i = 0; i < laid.size(); ++i) {
        ASSERT_NEAR(laid.data()[i], drawn.data()[i], 2) << "byte " << i;
    }
}

TEST(ImageUtilTest, TheSameTextAgainIsTheSamePicture) {
    Bitmap first = blackBitmap();
    ImageUtil::AddText(first, kWidth, kHeight, "again", 30, 30);
    for (int n = 0; n < 20; ++n) { // more than are kept
        Bitmap other = blackBitmap();
        ImageUtil::AddText(other, kWidth, kHeight, "other " + std::to_string(n), 30, 30);
        EXPECT_FALSE(isSame(first, other));
    }
    Bitmap second = blackBitmap();
    ImageUtil::AddText(second, kWidth, kHeight, "again", 30, 30);
    EXPECT_TRUE(isSame(first, second));

    Bitmap moved = blackBitmap();
    ImageUtil::AddText(moved, kWidth, kHeight, "again", 31, 30);
    EXPECT_FALSE(isSame(first, moved));
}

TEST(ImageUtilTest, ATextEndsAtItsFirstNul) {
    Bitmap cut = blackBitmap();
    ImageUtil::AddText(cut, kWidth, kHeight, std::string_view("one\0two", 7), 30, 30);
    Bitmap one = blackBitmap();
    ImageUtil::AddText(one, kWidth, kHeight, "one", 30, 30);

    EXPECT_TRUE(isSame(cut, one));
}

TEST(ImageUtilTest, BeyondAsciiEachByteIsACharacter) {
    const auto widthOf = [](const char* text) {
        Bitmap bitmap = blackBitmap();
        ImageUtil::AddText(bitmap, kWidth, kHeight, text, 50, 50);
        return inkOf(bitmap).top;
    };
    EXPECT_GT(widthOf("caf\xC3\xA9"), widthOf("cafe") + 8); // one character more
}

TEST(ImageUtilTest, ATextOutsideThePictureIsCutOff) {
    Bitmap bitmap = blackBitmap();
    ImageUtil::AddText(bitmap, kWidth, kHeight, "far away", 5000, 5000);
    ImageUtil::AddText(bitmap, kWidth, kHeight, "below", -500, -500);
    EXPECT_TRUE(isSame(bitmap, blackBitmap()));

    ImageUtil::AddText(bitmap, kWidth, kHeight, std::string(100000, 'x'), 10, 220);
    EXPECT_FALSE(isSame(bitmap, blackBitmap()));
}

TEST(ImageUtilTest, ASizeBeyondThePictureHarmsNothing) {
    Bitmap bitmap = bitmapOf(pictureOf(32, 24, [](int, int) { return kBlack; }));
    ImageUtil::AddText(bitmap, 4000, 4000, "text", 0, 0);
    ImageUtil::AddText(bitmap, -5, 0, "text", 0, 0);
}

TEST(ImageUtilTest, ThreadsMayDrawTexts) {
    Bitmap expected = blackBitmap();
    ImageUtil::AddText(expected, kWidth, kHeight, "common", 30, 30);
    std::vector<std::jthread> threads;
    for (int n = 0; n < 3; ++n) {
        threads.emplace_back([&expected, n] {
            for (int i = 0; i < 12; ++i) {
                Bitmap own = blackBitmap();
                ImageUtil::AddText(own, kWidth, kHeight, std::to_string(n * 100 + i), 30, 30);
                Bitmap common = blackBitmap();
                ImageUtil::AddText(common, kWidth, kHeight, "common", 30, 30);
                ASSERT_TRUE(isSame(common, expected));
            }
        });
    }
}

} // namespace ovelo
