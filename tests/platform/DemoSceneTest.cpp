#include "platform/DemoScene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace ovelo {

namespace {

using Picture = DemoScene::Picture;

std::unique_ptr<Picture> pictureOf(std::uint64_t number, std::uint8_t before = 0) {
    auto picture = std::make_unique<Picture>();
    picture->fill(before);
    DemoScene::sharedInstance().draw(number, *picture);
    return picture;
}

std::size_t differentPixels(const Picture& a, const Picture& b) {
    std::size_t different = 0;
    for (std::size_t i = 0; i < a.size(); i += 4) {
        different += std::equal(&a[i], &a[i] + 3, &b[i]) ? 0 : 1;
    }
    return different;
}

TEST(DemoSceneTest, PaintsTheSamePictureForTheSameNumberWhateverWasThereBefore) {
    EXPECT_EQ(*pictureOf(1234, 0), *pictureOf(1234, 0xff));
}

TEST(DemoSceneTest, PaintsOpaquePictures) {
    for (const std::uint64_t number : {0, 60, 777, 100'000}) {
        const auto picture = pictureOf(number);
        for (std::size_t i = 3; i < picture->size(); i += 4) {
            ASSERT_EQ((*picture)[i], 255) << "pixel " << i / 4 << " of picture " << number;
        }
    }
}

TEST(DemoSceneTest, MovesALittleFromPictureToPicture) {
    for (const std::uint64_t number : {0, 500, 5000}) {
        const std::size_t different = differentPixels(*pictureOf(number), *pictureOf(number + 1));
        EXPECT_GT(different, 500U);
        EXPECT_LT(different, 320U * 240U / 2);
    }
}

TEST(DemoSceneTest, LooksLikeDuskOverWater) {
    const auto picture = pictureOf(0);
    const auto at = [&](std::size_t x, std::size_t y) { return &(*picture)[(y * 320 + x) * 4]; };
    EXPECT_GT(at(60, 5)[2], at(60, 5)[0]);            // the upper sky is blue
    EXPECT_GT(at(203, 108)[0], at(203, 108)[2] + 60); // the sunset is red
    EXPECT_GT(at(200, 48)[0], 200);                   // the moon is bright
    EXPECT_LT(at(160, 239)[0], 80);                   // the road is dark
}

TEST(DemoSceneTest, RunsForYears) {
    const std::uint64_t tenYears = 20ULL * 86'400 * 3653;
    EXPECT_GT(differentPixels(*pictureOf(tenYears), *pictureOf(tenYears + 20)), 500U);
}

} // namespace

} // namespace ovelo
