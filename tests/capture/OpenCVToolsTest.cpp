#include "capture/OpenCVTools.h"

#include "fakes/TestPicture.h"

#include <gtest/gtest.h>

namespace ovelo {

TEST(OpenCVToolsTest, ACopyHasBlueGreenAndRedOfEveryPixel) {
    const VideoFrame frame = unevenPicture(33, 21, 8); // padded rows on both sides
    const auto image = OpenCVTools::CreateIplImageFromUIImage(frame);

    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->width, 33);
    EXPECT_EQ(image->height, 21);
    EXPECT_EQ(image->nChannels, 3);
    EXPECT_EQ(image->depth, static_cast<int>(IPL_DEPTH_8U));
    for (int y = 0; y < 21; ++y) {
        for (int x = 0; x < 33; ++x) {
            const auto* pixel = reinterpret_cast<const std::uint8_t*>(image->imageData) +
                                y * image->widthStep + x * 3;
            const Colour colour = colourOf(frame, x, y);
            ASSERT_EQ(pixel[0], colour[2]);
            ASSERT_EQ(pixel[1], colour[1]);
            ASSERT_EQ(pixel[2], colour[0]);
        }
    }
}

TEST(OpenCVToolsTest, ACopyIsIndependentOfTheFrame) {
    IplImagePointer image;
    {
        const VideoFrame frame = pictureOf(4, 4, [](int, int) { return Colour{1, 2, 3, 255}; });
        image = OpenCVTools::CreateIplImageFromUIImage(frame);
    }
    EXPECT_EQ(image->imageData[0], 3);
}

TEST(OpenCVToolsTest, AFrameWithoutPixelsHasNoImage) {
    EXPECT_EQ(OpenCVTools::CreateIplImageFromUIImage({}), nullptr);
}

} // namespace ovelo
