#include "ipcam/JpegCameraPictures.h"

#include "fakes/TestPicture.h"
#include "platform/Jpeg.h"
#include "platform/PictureFile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace ovelo {
namespace {

/// Left half red, right half blue; the lower third darker.
VideoFrame colourful(int width, int height) {
    return pictureOf(width, height, [=](int x, int y) {
        const std::uint8_t level = y * 3 < height * 2 ? 220 : 110;
        return x * 2 < width ? Colour{level, 0, 0, 255} : Colour{0, 0, level, 255};
    });
}

Bytes jpegOf(const VideoFrame& picture) {
    return *jpeg::encode(picture, 90).value();
}

class JpegCameraPicturesTest : public ::testing::Test {
protected:
    /// The picture as it is shown; a failure makes it empty.
    Bytes shown(const Bytes& jpeg) {
        const auto picture = pictures.decode(jpeg);
        EXPECT_TRUE(picture) << picture.error();
        return picture ? pictures.fill(picture.value()) : Bytes();
    }
    static void expectNear(const Bytes& rgba, int x, int y, Colour wanted) {
        ASSERT_EQ(rgba.size(), picturefile::kSize);
        for (std::size_t i = 0; i < 4; ++i) {
            EXPECT_NEAR(
                rgba[static_cast<std::size_t>(y) * 1280 + static_cast<std::size_t>(x) * 4 + i],
                wanted[i], 12)
                << x << ", " << y << ", sample " << i;
        }
    }

    JpegCameraPictures pictures;
};

class JpegCameraPicturesSizeTest : public JpegCameraPicturesTest,
                                   public ::testing::WithParamInterface<std::pair<int, int>> {};

TEST_P(JpegCameraPicturesSizeTest, FillsTheWholePicture) {
    const auto [width, height] = GetParam();
    const Bytes rgba = shown(jpegOf(colourful(width, height)));

    expectNear(rgba, 60, 40, {220, 0, 0, 255});
    expectNear(rgba, 260, 40, {0, 0, 220, 255});
    expectNear(rgba, 60, 220, {110, 0, 0, 255});
    expectNear(rgba, 260, 235, {0, 0, 110, 255});
}

INSTANTIATE_TEST_SUITE_P(Sizes, JpegCameraPicturesSizeTest,
                         ::testing::Values(std::pair(320, 240), std::pair(160, 120),
                                           std::pair(640, 480), std::pair(1920, 1080),
                                           std::pair(481, 1021), std::pair(4000, 60),
                                           std::pair(5120, 3840)));

TEST_F(JpegCameraPicturesTest, SmallestPictureFillsItToo) {
    const Bytes rgba = shown(jpegOf(pictureOf(1, 1, [](int, int) {
        return Colour{200, 100, 50, 255};
    })));

    expectNear(rgba, 0, 0, {200, 100, 50, 255});
    expectNear(rgba, 319, 239, {200, 100, 50, 255});
}

TEST_F(JpegCameraPicturesTest, DamagedPicturesAreRefused) {
    const Bytes whole = jpegOf(colourful(640, 480));
    Bytes scratched = whole;
    for (std::size_t i = whole.size() / 2; i < whole.size() / 2 + 40; ++i) {
        scratched[i] = 0xff;
    }
    const auto half = static_cast<std::ptrdiff_t>(whole.size() / 2);

    EXPECT_FALSE(pictures.decode(Bytes(whole.begin(), whole.begin() + half)));
    EXPECT_FALSE(pictures.decode(scratched));
    EXPECT_FALSE(pictures.decode(Bytes(whole.begin() + 1, whole.end())));
    EXPECT_FALSE(pictures.decode(Bytes()));
}

TEST_F(JpegCameraPicturesTest, BytesBehindThePictureDoNotMatter) {
    Bytes jpeg = jpegOf(colourful(320, 240));
    jpeg.insert(jpeg.end(), {'\r', '\n', 0, 0});

    EXPECT_TRUE(pictures.decode(jpeg));
}

TEST_F(JpegCameraPicturesTest, TooLargePictureIsRefused) {
    EXPECT_FALSE(pictures.decode(jpegOf(colourful(8200, 16))));
}

/// A picture as other programs write it, from the command line of ImageMagick.
Bytes converted(const std::string& options) {
    const std::string command =
        "convert -size 640x480 gradient:red-blue " + options + " jpeg:- 2>/dev/null";
    Bytes jpeg;
    if (FILE* output = ::popen(command.c_str(), "r")) {
        for (int byte = 0; (byte = std::fgetc(output)) != EOF;) {
            jpeg.push_back(static_cast<std::uint8_t>(byte));
        }
        ::pclose(output);
    }
    return jpeg;
}

class JpegCameraPicturesKindTest : public JpegCameraPicturesTest {
protected:
    void SetUp() override {
        if (std::system("command -v convert >/dev/null") != 0) {
            GTEST_SKIP() << "ImageMagick is not installed";
        }
    }
};

TEST_F(JpegCameraPicturesKindTest, ProgressivePictureIsRead) {
    const Bytes rgba = shown(converted("-interlace JPEG"));

    expectNear(rgba, 160, 3, {252, 0, 3, 255});
    expectNear(rgba, 160, 236, {3, 0, 252, 255});
}

TEST_F(JpegCameraPicturesKindTest, GreyPictureIsRead) {
    const Bytes rgba = shown(converted("-colorspace Gray"));
    ASSERT_EQ(rgba.size(), picturefile::kSize);

    EXPECT_EQ(rgba[1280 * 100], rgba[1280 * 100 + 1]);
    EXPECT_EQ(rgba[1280 * 100], rgba[1280 * 100 + 2]);
    EXPECT_GT(rgba[0], rgba[1280 * 239]);
}

TEST_F(JpegCameraPicturesKindTest, PrintColoursAreRefusedByName) {
    const auto picture = pictures.decode(converted("-colorspace CMYK"));

    ASSERT_FALSE(picture);
    EXPECT_EQ(picture.error(), "a JPEG in CMYK");
}

TEST_F(JpegCameraPicturesTest, LineIsWrittenAcrossTheMiddle) {
    const Bytes before = shown(jpegOf(colourful(320, 240)));
    Bytes rgba = before;
    pictures.drawLine(rgba, "NO SIGNAL since 08:13");

    std::size_t white = 0;
    for (std::size_t pixel = 0; pixel < rgba.size(); pixel += 4) {
        white += rgba[pixel] > 250 && rgba[pixel + 1] > 250 && rgba[pixel + 2] > 250 ? 1 : 0;
        ASSERT_EQ(rgba[pixel + 3], 255);
    }
    EXPECT_GT(white, 300U);
    const auto unchanged = [&](std::size_t from, std::size_t to) {
        return std::equal(before.begin() + static_cast<std::ptrdiff_t>(from * 1280),
                          before.begin() + static_cast<std::ptrdiff_t>(to * 1280),
                          rgba.begin() + static_cast<std::ptrdiff_t>(from * 1280));
    };
    EXPECT_TRUE(unchanged(0, 95));
    EXPECT_TRUE(unchanged(145, 240));
    if (const char* kept = std::getenv("OVELO_KEEP_PICTURE")) { // for a look at it
        const VideoFrame frame{320, 240, 1280, rgba.data(), nullptr};
        const auto jpeg = jpeg::encode(frame, 90);
        FILE* file = std::fopen(kept, "wb");
        std::fwrite(jpeg.value()->data(), 1, jpeg.value()->size(), file);
        std::fclose(file);
    }
}

} // namespace
} // namespace ovelo
