#include "platform/Canvas.h"

#include "fakes/TestPicture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numbers>
#include <vector>

namespace ovelo {

namespace {

constexpr Colour kRed = {255, 0, 0, 255};
constexpr Colour kBlue = {0, 0, 255, 255};

} // namespace

class CanvasTest : public ::testing::Test {
protected:
    static constexpr int kWidth = 8;
    static constexpr int kHeight = 6;
    static constexpr std::size_t kBytesPerRow = kWidth * 4 + 8;

    [[nodiscard]] Canvas::Surface surface() {
        return {kWidth, kHeight, kBytesPerRow, memory_.data()};
    }

    [[nodiscard]] Colour at(int x, int y) const {
        return colourOf(VideoFrame{kWidth, kHeight, kBytesPerRow, memory_.data(), nullptr}, x, y);
    }

    std::vector<std::uint8_t> memory_ = std::vector<std::uint8_t>(kBytesPerRow * kHeight, 0x33);
};

TEST_F(CanvasTest, BlackFillsEverythingAndNothingElse) {
    {
        Canvas canvas(surface());
        canvas.translate(3, 3);
        canvas.fillBlack();
    }
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            EXPECT_EQ(at(x, y), kBlack);
        }
        EXPECT_EQ(memory_[static_cast<std::size_t>(y) * kBytesPerRow + kWidth * 4],
                  0x33); // after the row
    }
}

TEST_F(CanvasTest, APictureIsDrawnUprightInItsOwnColours) {
    const auto picture = pictureOf(
        kWidth, kHeight, [](int x, int y) { return x == 0 && y == 0 ? kRed : kBlue; }, 4);
    {
        Canvas canvas(surface());
        canvas.drawImage(picture, kWidth, kHeight);
    }
    EXPECT_EQ(at(0, 0), kRed);
    EXPECT_EQ(at(1, 0), kBlue);
    EXPECT_EQ(at(0, 5), kBlue);
}

TEST_F(CanvasTest, TheOriginIsAtTheBottomLeft) {
    const auto dot = pictureOf(1, 1, [](int, int) { return kRed; });
    {
        Canvas canvas(surface());
        canvas.fillBlack();
        canvas.translate(2, 1);
        canvas.drawImage(dot, 1, 1);
    }
    EXPECT_EQ(at(2, kHeight - 2), kRed);
    EXPECT_EQ(at(2, kHeight - 1), kBlack);
}

TEST_F(CanvasTest, AQuarterTurnIsExactAndCounterClockwise) {
    const auto pair = pictureOf(2, 1, [](int x, int) { return x == 0 ? kRed : kBlue; });
    {
        Canvas canvas(surface());
        canvas.fillBlack();
        canvas.translate(3, 2);
        canvas.rotate(std::numbers::pi / 2);
        canvas.drawImage(pair, 2, 1); // from (3, 2) upward, to the left
    }
    EXPECT_EQ(at(2, kHeight - 3), kRed);
    EXPECT_NEAR(at(2, kHeight - 4)[2], kBlue[2], 1); // Qt rounds
    EXPECT_EQ(at(3, kHeight - 3), kBlack);
    EXPECT_EQ(at(1, kHeight - 3), kBlack);
    EXPECT_EQ(at(2, kHeight - 2), kBlack);
    EXPECT_EQ(at(2, kHeight - 5), kBlack);
}

TEST_F(CanvasTest, ATransformationActsInsideThoseBeforeIt) {
    const auto dot = pictureOf(1, 1, [](int, int) { return kRed; });
    {
        Canvas canvas(surface());
        canvas.fillBlack();
        canvas.scale(2, 2);
        canvas.translate(1, 1); // by two pixels
        canvas.drawImage(dot, 1, 1);
    }
    EXPECT_EQ(at(2, kHeight - 3), kRed);
    EXPECT_EQ(at(3, kHeight - 4), kRed);
    EXPECT_EQ(at(1, kHeight - 3), kBlack);
    EXPECT_EQ(at(4, kHeight - 3), kBlack);
}

TEST_F(CanvasTest, StretchingAveragesWhatANewPixelCovers) {
    const auto stripes = pictureOf(kWidth * 2, kHeight * 2, [](int x, int) {
        return x % 2 == 0 ? Colour{200, 0, 0, 255} : kBlack;
    });
    stretch(stripes, surface());

    for (int x = 0; x < kWidth; ++x) {
        EXPECT_NEAR(at(x, 3)[0], 100, 2) << x;
    }
    EXPECT_EQ(memory_[kWidth * 4], 0x33); // after the row
}

TEST_F(CanvasTest, StretchingEnlarges) {
    stretch(pictureOf(1, 1, [](int, int) { return kRed; }), surface());

    EXPECT_EQ(at(0, 0), kRed);
    EXPECT_EQ(at(kWidth - 1, kHeight - 1), kRed);
}

} // namespace ovelo
