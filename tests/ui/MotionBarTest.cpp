#include "ui/MotionBar.h"

#include <gtest/gtest.h>

#include <limits>

namespace ovelo {

TEST(MotionBarTest, IsEmptyWhileNobodyWatches) {
    MotionBar bar;
    EXPECT_EQ(bar.filled(), 0.0);
    EXPECT_FALSE(bar.isMotion());

    bar.setReading(MotionBar::Reading{0.2, 0.1});
    bar.setReading(std::nullopt);
    EXPECT_EQ(bar.filled(), 0.0);
    EXPECT_FALSE(bar.isMotion());
}

TEST(MotionBarTest, TellsMotionAboveTheThresholdOnly) {
    MotionBar bar;
    bar.setReading(MotionBar::Reading{0.1, 0.1});
    EXPECT_FALSE(bar.isMotion());
    bar.setReading(MotionBar::Reading{0.1001, 0.1});
    EXPECT_TRUE(bar.isMotion());
}

TEST(MotionBarTest, GivesSmallPartsMoreRoomAndEndsWhenItIsFull) {
    MotionBar bar;
    bar.setReading(MotionBar::Reading{0.15, 0.1});
    EXPECT_DOUBLE_EQ(bar.filled(), 0.5);
    bar.setReading(MotionBar::Reading{1.0, 0.1});
    EXPECT_DOUBLE_EQ(bar.filled(), 1.0);
    bar.setReading(MotionBar::Reading{std::numeric_limits<double>::quiet_NaN(), 0.1});
    EXPECT_DOUBLE_EQ(bar.filled(), 0.0);
}

} // namespace ovelo
