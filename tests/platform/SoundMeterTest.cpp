#include "platform/SoundMeter.h"

#include "fakes/FakeClock.h"
#include "platform/SoundBlock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

class SoundMeterTest : public testing::Test {
protected:
    /// A second of a 500 Hz tone, in blocks of 40 ms.
    void hear(double amplitude) {
        for (int block = 0; block < 25; ++block) {
            std::vector<std::int16_t> samples(640);
            for (std::size_t i = 0; i < samples.size(); ++i) {
                const double phase =
                    2 * std::numbers::pi * 500 * static_cast<double>(i) / kSoundRate;
                samples[i] =
                    static_cast<std::int16_t>(std::lround(32767 * amplitude * std::sin(phase)));
            }
            meter.add(samples);
            clock.advance(40ms);
        }
    }

    FakeClock clock;
    SoundMeter meter{clock};
};

TEST_F(SoundMeterTest, IsZeroForSilence) {
    EXPECT_EQ(meter.level().average, 0.0F);
    hear(0);
    EXPECT_EQ(meter.level().average, 0.0F);
    EXPECT_EQ(meter.level().peak, 0.0F);
}

TEST_F(SoundMeterTest, ShowsAverageAndPeakOfATone) {
    hear(0.5);
    EXPECT_NEAR(meter.level().average, 0.5 / std::numbers::sqrt2, 0.01);
    EXPECT_NEAR(meter.level().peak, 0.5, 0.01);
}

TEST_F(SoundMeterTest, IsOneAtMost) {
    meter.add(std::vector<std::int16_t>(16000, -32768));
    EXPECT_LE(meter.level().average, 1.0F);
    EXPECT_GT(meter.level().average, 0.99F);
    EXPECT_EQ(meter.level().peak, 1.0F);
}

TEST_F(SoundMeterTest, FallsWhenItGetsQuiet) {
    hear(0.8);
    hear(0.1);
    EXPECT_NEAR(meter.level().average, 0.1 / std::numbers::sqrt2, 0.01);
    EXPECT_LT(meter.level().peak, 0.3);
    EXPECT_GE(meter.level().peak, 0.1 - 0.001);
}

TEST_F(SoundMeterTest, FallsToZeroWhenNoSoundComesAnyMore) {
    hear(0.8);
    clock.advance(100ms); // on top of the 40 ms since the last block: nothing is late yet
    EXPECT_GT(meter.level().peak, 0.7);
    clock.advance(200ms);
    EXPECT_LT(meter.level().peak, 0.4);
    clock.advance(2s);
    EXPECT_EQ(meter.level().average, 0.0F);
    EXPECT_EQ(meter.level().peak, 0.0F);
}

} // namespace

} // namespace ovelo
