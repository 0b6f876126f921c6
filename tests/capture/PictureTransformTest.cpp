#include "capture/PictureTransform.h"

#include "fakes/TestPicture.h"
#include "platform/MemorySettings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <optional>
#include <ostream>
#include <tuple>

namespace ovelo {

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kRounding = 3; // of Qt, which places pixels in steps of 1/256

/// A point, from the bottom left, y upward.
struct Point {
    double x = 0;
    double y = 0;
};

/// Where a point of the upright picture goes: the steps written out, innermost first.
Point forward(Point p, const PictureTransform& transform, double width, double height) {
    const double shrink = height / width;
    switch (transform.rotation) {
    case 1:
        p = {-p.y, p.x};
        p = {p.x * shrink + height, p.y * shrink};
        break;
    case 2:
        p = {width - p.x, height - p.y};
        break;
    case 3:
        p = {p.y, -p.x};
        p = {p.x + width - height, p.y};
        p = {p.x * shrink, p.y * shrink + height};
        break;
    default:
        break;
    }
    if (transform.flipVertically) {
        p.x = width - p.x;
    }
    if (transform.flipHorizontally) {
        p.y = height - p.y;
    }
    return p;
}

/// Where a point of the result comes from.
Point backward(Point p, const PictureTransform& transform, double width, double height) {
    // The map is affine: three points tell it all.
    const Point o = forward({0, 0}, transform, width, height);
    const Point i = forward({1, 0}, transform, width, height);
    const Point j = forward({0, 1}, transform, width, height);
    const double a = i.x - o.x;
    const double b = j.x - o.x;
    const double c = i.y - o.y;
    const double d = j.y - o.y;
    const double determinant = a * d - b * c;
    const double x = p.x - o.x;
    const double y = p.y - o.y;
    return {(d * x - b * y) / determinant, (a * y - c * x) / determinant};
}

/// The source of the middle of the result's pixel at a column and row from the top; row from the
/// top as well.
Point sourceOf(int column, int row, const PictureTransform& transform, int width, int height) {
    const Point middle{column + 0.5, height - (row + 0.5)};
    const Point source = backward(middle, transform, width, height);
    return {source.x, height - source.y};
}

/// Top left, top right, bottom left, bottom right.
Colour quadrantColour(double x, double y, int width, int height) {
    static constexpr Colour kRed = {255, 0, 0, 255};
    static constexpr Colour kGreen = {0, 255, 0, 255};
    static constexpr Colour kBlue = {0, 0, 255, 255};
    static constexpr Colour kYellow = {255, 255, 0, 255};
    const bool left = x < width / 2.0;
    return y < height / 2.0 ? (left ? kRed : kGreen) : (left ? kBlue : kYellow);
}

VideoFrame quadrants(int width, int height) {
    return pictureOf(width, height,
                     [=](int x, int y) { return quadrantColour(x + 0.5, y + 0.5, width, height); });
}

/// Red grows to the right, green downward.
VideoFrame gradients() {
    return pictureOf(kWidth, kHeight, [](int x, int y) {
        return Colour{static_cast<std::uint8_t>(x * 255 / (kWidth - 1)),
                      static_cast<std::uint8_t>(y * 255 / (kHeight - 1)), 128, 255};
    });
}

bool isNear(const Colour& a, const Colour& b, int tolerance) {
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (std::abs(a[i] - b[i]) > tolerance) {
            return false;
        }
    }
    return true;
}

std::string text(const Colour& c) {
    return "(" + std::to_string(c[0]) + ", " + std::to_string(c[1]) + ", " + std::to_string(c[2]) +
           ", " + std::to_string(c[3]) + ")";
}

/// return  the first pixel that differs, as text; empty when none does
template <typename A, typename B>
std::string firstDifference(const A& a, const B& b, int width, int height, int tolerance) {
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (!isNear(colourOf(a, x, y), colourOf(b, x, y), tolerance)) {
                return "at " + std::to_string(x) + ", " + std::to_string(y) + ": " +
                       text(colourOf(a, x, y)) + " and " + text(colourOf(b, x, y));
            }
        }
    }
    return "";
}

} // namespace

void PrintTo(const PictureTransform& transform, std::ostream* out) {
    *out << transform.rotation << " turns" << (transform.flipHorizontally ? ", upside down" : "")
         << (transform.flipVertically ? ", mirrored" : "");
}

class PictureTransformTest : public ::testing::TestWithParam<std::tuple<int, bool, bool>> {
protected:
    [[nodiscard]] static PictureTransform transform() {
        const auto& [rotation, flipHorizontally, flipVertically] = GetParam();
        return {flipHorizontally, flipVertically, rotation};
    }
    [[nodiscard]] static bool isQuarter() { return transform().rotation % 2 == 1; }
};

INSTANTIATE_TEST_SUITE_P(All, PictureTransformTest,
                         ::testing::Combine(::testing::Range(0, 4), ::testing::Bool(),
                                            ::testing::Bool()));

TEST_P(PictureTransformTest, EveryPixelIsWhereTheTransformationsPutIt) {
    const Bitmap result = transformed(quadrants(kWidth, kHeight), kWidth, kHeight, transform());

    constexpr double kBlur = 1.5; // between two colours, in pixels of the source
    int compared = 0;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const Point source = sourceOf(x, y, transform(), kWidth, kHeight);
            const bool onSeam = isQuarter() && (std::abs(source.x - kWidth / 2.0) < kBlur ||
                                                std::abs(source.y - kHeight / 2.0) < kBlur);
            if (onSeam) {
                continue;
            }
            const bool inside =
                source.x > 0 && source.x < kWidth && source.y > 0 && source.y < kHeight;
            const Colour expected =
                inside ? quadrantColour(source.x, source.y, kWidth, kHeight) : kBlack;
            ASSERT_EQ(colourOf(result, x, y), expected) << "at " << x << ", " << y;
            ++compared;
        }
    }
    EXPECT_GT(compared, kWidth * kHeight * 95 / 100);
}

/// The transformations that shrink nothing.
class PictureTransformPermutationTest : public PictureTransformTest {};

INSTANTIATE_TEST_SUITE_P(All, PictureTransformPermutationTest,
                         ::testing::Combine(::testing::Values(0, 2), ::testing::Bool(),
                                            ::testing::Bool()));

TEST_P(PictureTransformPermutationTest, WithoutShrinkingEveryPixelKeepsItsValue) {
    const VideoFrame picture = unevenPicture(kWidth, kHeight, 12);
    const Bitmap result = transformed(picture, kWidth, kHeight, transform());

    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const Point source = sourceOf(x, y, transform(), kWidth, kHeight);
            ASSERT_EQ(colourOf(result, x, y),
                      colourOf(picture, static_cast<int>(source.x), static_cast<int>(source.y)))
                << "at " << x << ", " << y;
        }
    }
}

TEST_P(PictureTransformTest, AShrunkPictureIsSmooth) {
    const VideoFrame picture = gradients();
    const Bitmap result = transformed(picture, kWidth, kHeight, transform());

    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const Point source = sourceOf(x, y, transform(), kWidth, kHeight);
            if (source.x < 0 || source.x > kWidth || source.y < 0 || source.y > kHeight) {
                continue;
            }
            const auto shade = [](double at, int length) {
                return static_cast<std::uint8_t>(
                    std::clamp((at - 0.5) * 255 / (length - 1), 0.0, 255.0));
            };
            const Colour expected{shade(source.x, kWidth), shade(source.y, kHeight), 128, 255};
            ASSERT_TRUE(isNear(colourOf(result, x, y), expected, 2))
                << "at " << x << ", " << y << ": " << text(colourOf(result, x, y)) << ", expected "
                << text(expected);
        }
    }
}

TEST_P(PictureTransformTest, TheQuickRoadAndTheCanvasGiveTheSamePicture) {
    const VideoFrame picture = isQuarter() ? gradients() : unevenPicture(kWidth, kHeight);
    const Bitmap quick = transformed(picture, kWidth, kHeight, transform());
    const Bitmap drawn = drawnTransformed(picture, kWidth, kHeight, transform());

    EXPECT_EQ(firstDifference(quick, drawn, kWidth, kHeight, kRounding), "");
}

TEST_P(PictureTransformTest, ASizeThatDoesNotShrinkEvenlyIsDrawn) {
    constexpr int kOddWidth = 300; // 200 * 200 / 300 is not whole
    constexpr int kOddHeight = 200;
    const Bitmap result =
        transformed(quadrants(kOddWidth, kOddHeight), kOddWidth, kOddHeight, transform());

    constexpr double kBlur = 2.5;
    const auto isFar = [](double at, double edge) { return std::abs(at - edge) > kBlur; };
    for (int y = 0; y < kOddHeight; ++y) {
        for (int x = 0; x < kOddWidth; ++x) {
            const Point source = sourceOf(x, y, transform(), kOddWidth, kOddHeight);
            const bool clear = isFar(source.x, 0) && isFar(source.x, kOddWidth / 2.0) &&
                               isFar(source.x, kOddWidth) && isFar(source.y, 0) &&
                               isFar(source.y, kOddHeight / 2.0) && isFar(source.y, kOddHeight);
            if (!clear) {
                continue;
            }
            const bool inside =
                source.x > 0 && source.x < kOddWidth && source.y > 0 && source.y < kOddHeight;
            ASSERT_EQ(colourOf(result, x, y),
                      inside ? quadrantColour(source.x, source.y, kOddWidth, kOddHeight) : kBlack)
                << "at " << x << ", " << y;
        }
    }
}

TEST_P(PictureTransformTest, ASourceOfAnotherShapeIsStretchedFirst) {
    const Bitmap large = transformed(quadrants(1280, 720), kWidth, kHeight, transform());
    const Bitmap fitting = transformed(quadrants(kWidth, kHeight), kWidth, kHeight, transform());

    EXPECT_EQ(firstDifference(large, fitting, kWidth, kHeight, 2), "");
}

TEST(PictureTransformMoreTest, BothFlipsAreHalfATurn) {
    const VideoFrame picture = unevenPicture(kWidth, kHeight);
    const Bitmap flipped = transformed(picture, kWidth, kHeight, {true, true, 0});
    const Bitmap turned = transformed(picture, kWidth, kHeight, {false, false, 2});

    EXPECT_EQ(firstDifference(flipped, turned, kWidth, kHeight, 0), "");
}

TEST(PictureTransformMoreTest, NegativeRotationsAreIgnored) {
    const VideoFrame picture = unevenPicture(kWidth, kHeight);
    for (const int rotation : {-1, -2, -7}) {
        const Bitmap result = transformed(picture, kWidth, kHeight, {false, false, rotation});
        EXPECT_EQ(firstDifference(result, picture, kWidth, kHeight, 0), "") << rotation;
    }
}

TEST(PictureTransformMoreTest, RotationsAboveThreeAreTurnedAboutTheCornerOnly) {
    const VideoFrame picture = unevenPicture(kWidth, kHeight);
    const VideoFrame black = pictureOf(kWidth, kHeight, [](int, int) { return kBlack; });
    for (const int rotation : {4, 5, 6, 7, 8, 1000000}) {
        const bool visible = rotation % 4 == 0;
        const PictureTransform transform{false, true, rotation};
        const Bitmap quick = transformed(picture, kWidth, kHeight, transform);
        const Bitmap drawn = drawnTransformed(picture, kWidth, kHeight, transform);
        const Bitmap expected =
            transformed(visible ? picture : black, kWidth, kHeight, {false, true, 0});

        EXPECT_EQ(firstDifference(quick, expected, kWidth, kHeight, 0), "") << rotation;
        EXPECT_EQ(firstDifference(drawn, expected, kWidth, kHeight, kRounding), "") << rotation;
    }
}

TEST(PictureTransformMoreTest, WhatIsTransparentIsBlack) {
    const VideoFrame picture = pictureOf(kWidth, kHeight, [](int x, int) {
        return x < 10 ? Colour{0, 0, 0, 0} : Colour{40, 20, 10, 80};
    });
    for (int rotation = 0; rotation < 4; ++rotation) {
        const Bitmap quick = transformed(picture, kWidth, kHeight, {false, false, rotation});
        const Bitmap drawn = drawnTransformed(picture, kWidth, kHeight, {false, false, rotation});

        EXPECT_EQ(firstDifference(quick, drawn, kWidth, kHeight, 1), "") << rotation;
    }
}

TEST(PictureTransformMoreTest, AFrameWithoutPixelsIsBlack) {
    const Bitmap result = transformed({}, 8, 4, {false, false, 1});

    EXPECT_EQ(result.width(), 8);
    EXPECT_EQ(result.height(), 4);
    EXPECT_EQ(colourOf(result, 7, 3), kBlack);
}

TEST(PictureTransformMoreTest, ASizeOfNothingIsNothing) {
    const Bitmap result = transformed(unevenPicture(4, 4), 0, -3, {});

    EXPECT_EQ(result.size(), 0U);
}

TEST(PictureTransformMoreTest, IsReadFromTheSettings) {
    MemorySettings settings;
    EXPECT_TRUE(PictureTransform::fromSettings(settings).isIdentity());

    settings.setBoolean("flip_horizontally", true);
    settings.setInteger("rotate_val", 3);
    const auto transform = PictureTransform::fromSettings(settings);
    EXPECT_TRUE(transform.flipHorizontally);
    EXPECT_FALSE(transform.flipVertically);
    EXPECT_EQ(transform.rotation, 3);
    EXPECT_FALSE(transform.isIdentity());

    settings.setBoolean("flip_vertically", true);
    EXPECT_TRUE(PictureTransform::fromSettings(settings).flipVertically);
}

} // namespace ovelo
