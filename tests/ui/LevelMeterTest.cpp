#include "ui/LevelMeter.h"

#include <gtest/gtest.h>

#include <limits>

namespace ovelo {

TEST(LevelMeterTest, LightsAsManyLampsAsTheSoundIsLoud) {
    LevelMeter meter;

    meter.setLevel(0.0F);
    EXPECT_EQ(meter.litLamps(), 0);
    meter.setLevel(0.25F);
    EXPECT_EQ(meter.litLamps(), LevelMeter::kLamps / 4);
    meter.setLevel(1.0F);
    EXPECT_EQ(meter.litLamps(), LevelMeter::kLamps);
}

TEST(LevelMeterTest, TakesLevelsOutOfRangeAsItsEnds) {
    LevelMeter meter;

    meter.setLevel(7.0F);
    EXPECT_EQ(meter.litLamps(), LevelMeter::kLamps);
    meter.setLevel(-1.0F);
    EXPECT_EQ(meter.litLamps(), 0);
    meter.setLevel(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(meter.litLamps(), 0);
}

} // namespace ovelo
