// The arithmetic against one that is written down plainly.

#include "alerts/MotionImages.h"

#include "capture/OpenCVTools.h"
#include "fakes/ReferenceMotion.h"
#include "fakes/TestPicture.h"

#include <opencv2/imgproc/imgproc_c.h>

#include <gtest/gtest.h>

#include <random>

namespace ovelo {

namespace {

class MotionImagesTest : public ::testing::Test {
protected:
    VideoFrame noise(int width, int height, int lowest = 0, int highest = 255) {
        std::uniform_int_distribution<int> level(lowest, highest);
        return pictureOf(width, height, [&](int, int) {
            const auto byte = [&] { return static_cast<std::uint8_t>(level(random)); };
            return Colour{byte(), byte(), byte(), 255};
        });
    }

    /// Some rectangles, so that the blur leaves more than one level.
    VideoFrame shapes(int width, int height) {
        std::uniform_int_distribution<int> at(0, width);
        std::vector<std::array<int, 7>> rectangles(6);
        for (auto& one : rectangles) {
            one = {at(random),       at(random),       1 + at(random) / 4, 1 + at(random) / 4,
                   at(random) % 256, at(random) % 256, at(random) % 256};
        }
        return pictureOf(width, height, [&](int x, int y) {
            Colour colour = kBlack;
            for (const auto& one : rectangles) {
                if (x >= one[0] && x < one[0] + one[2] && y >= one[1] && y < one[1] + one[3]) {
                    colour = {static_cast<std::uint8_t>(one[4]), static_cast<std::uint8_t>(one[5]),
                              static_cast<std::uint8_t>(one[6]), 255};
                }
            }
            return colour;
        });
    }

    static std::optional<double> compare(MotionImages& images, const VideoFrame& frame) {
        return images.compare(OpenCVTools::CreateIplImageFromUIImage(frame));
    }

    void expectSame(const std::vector<VideoFrame>& frames) {
        MotionImages images;
        reference::Motion plain;
        for (const auto& frame : frames) {
            ASSERT_EQ(compare(images, frame), plain.compare(frame));
        }
    }

    std::mt19937 random{20240131};
};

TEST_F(MotionImagesTest, RatiosOfShapesAreThoseOfThePlainArithmetic) {
    std::vector<VideoFrame> frames;
    for (int i = 0; i < 4; ++i) {
        frames.push_back(shapes(320, 240));
    }
    expectSame(frames);
}

TEST_F(MotionImagesTest, RatiosOfNoiseAreThoseOfThePlainArithmetic) {
    std::vector<VideoFrame> frames;
    for (const int highest : {255, 40, 130}) {
        frames.push_back(noise(320, 240, highest / 3, highest));
    }
    expectSame(frames);
}

TEST_F(MotionImagesTest, RatiosOfOtherSizesAreThoseOfThePlainArithmetic) {
    for (const auto& [width, height] : {std::pair{64, 48}, {16, 300}, {4, 4}, {300, 5}}) {
        std::vector<VideoFrame> frames;
        for (int i = 0; i < 6; ++i) {
            frames.push_back(shapes(width, height));
        }
        expectSame(frames);
    }
}

TEST_F(MotionImagesTest, GrayAndBlurAreThePlainOnesPixelForPixelUpToTheBorders) {
    for (const VideoFrame& frame : {noise(320, 240), shapes(320, 240), noise(40, 30)}) {
        const auto color = OpenCVTools::CreateIplImageFromUIImage(frame);
        const IplImagePointer gray(
            cvCreateImage(cvSize(frame.width, frame.height), IPL_DEPTH_8U, 1));
        cvCvtColor(color.get(), gray.get(), 6);
        ASSERT_EQ(reference::pixelsOf(*gray), reference::gray(frame));
        cvDilate(gray.get(), gray.get(), nullptr, 18);
        const auto dilated = reference::dilated(reference::gray(frame), frame.width, frame.height);
        ASSERT_EQ(reference::pixelsOf(*gray), dilated);
        cvErode(gray.get(), gray.get(), nullptr, 10);
        ASSERT_EQ(reference::pixelsOf(*gray),
                  reference::eroded(dilated, frame.width, frame.height));
    }
}

TEST_F(MotionImagesTest, EveryPairOfLevelsIsComparedAsSignedBytes) {
    const auto level = [](int value) {
        const auto byte = static_cast<std::uint8_t>(value);
        return pictureOf(4, 1, [=](int, int) { return Colour{byte, byte, byte, 255}; });
    };
    for (int before = 0; before < 256; before += 3) {
        for (int after = 0; after < 256; ++after) {
            MotionImages images;
            ASSERT_FALSE(compare(images, level(before)));
            const int difference =
                std::abs((before ^ 0x80) - (after ^ 0x80)); // the sign bit turns the order
            ASSERT_EQ(compare(images, level(after)), difference >= 26 ? 1.0 : 0.0)
                << before << " " << after;
        }
    }
}

TEST_F(MotionImagesTest, EachPictureIsComparedWithTheOneBefore) {
    MotionImages images;
    const VideoFrame dark = pictureOf(8, 8, [](int, int) { return Colour{0, 0, 0, 255}; });
    const VideoFrame light = pictureOf(8, 8, [](int, int) { return Colour{90, 90, 90, 255}; });
    EXPECT_EQ(compare(images, dark), std::nullopt);
    EXPECT_EQ(compare(images, light), 1.0);
    EXPECT_EQ(compare(images, light), 0.0);
    EXPECT_EQ(compare(images, dark), 1.0);
}

TEST_F(MotionImagesTest, AfterClearingTheNextPictureIsTheFirst) {
    MotionImages images;
    EXPECT_EQ(compare(images, shapes(32, 32)), std::nullopt);
    images.clear();
    EXPECT_EQ(compare(images, shapes(32, 32)), std::nullopt);
    EXPECT_TRUE(compare(images, shapes(32, 32)).has_value());
}

} // namespace

} // namespace ovelo
