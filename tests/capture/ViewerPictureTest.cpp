#include "capture/ViewerPicture.h"

#include "capture/ImageUtil.h"
#include "fakes/TestPicture.h"
#include "platform/Jpeg.h"
#include "platform/MemorySettings.h"

#include <gtest/gtest.h>

namespace ovelo {

namespace {

constexpr int kQuality = 40;

/// The JPEG of the picture that the settings make of another one.
Bytes expected(const VideoFrame& picture, const Settings& settings) {
    const Bitmap bitmap = ImageUtil::GetResizedImage(picture, 320, 240, settings);
    return *jpeg::encode(bitmap.frame(), kQuality).value();
}

} // namespace

TEST(ViewerPictureTest, EncodesAtAFactorOfTwoFifths) {
    const auto picture = unevenPicture(320, 240);
    EXPECT_EQ(*viewerpicture::encode(picture).value(), *jpeg::encode(picture, kQuality).value());
}

TEST(ViewerPictureTest, LeavesAFittingPictureAsItIs) {
    const auto picture = unevenPicture(320, 240, 64);
    EXPECT_EQ(*viewerpicture::plain(picture, MemorySettings()).value(),
              *jpeg::encode(picture, kQuality).value());
}

TEST(ViewerPictureTest, StretchesAnotherSize) {
    const MemorySettings settings;
    const auto picture = unevenPicture(200, 300);
    EXPECT_EQ(*viewerpicture::plain(picture, settings).value(), expected(picture, settings));
}

TEST(ViewerPictureTest, TurnsAndMirrorsAsTheSettingsSay) {
    const auto picture = unevenPicture(320, 240);
    MemorySettings settings;
    settings.setInteger("rotate_val", 1);
    settings.setBoolean("flip_vertically", true);

    const auto turned = *viewerpicture::plain(picture, settings).value();

    EXPECT_EQ(turned, expected(picture, settings));
    EXPECT_NE(turned, expected(picture, MemorySettings()));
}

TEST(ViewerPictureTest, AddsNoNightVisionAndNoTexts) {
    const auto picture = unevenPicture(320, 240);
    MemorySettings settings;
    settings.setBoolean("night_vision", true);
    settings.setBoolean("show_timestamp", true);
    settings.setBoolean("show_devicename", true);
    EXPECT_EQ(*viewerpicture::plain(picture, settings).value(),
              expected(picture, MemorySettings()));
}

} // namespace ovelo
