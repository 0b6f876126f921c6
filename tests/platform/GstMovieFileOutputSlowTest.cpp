#include "platform/MovieFixture.h"

#include <gtest/gtest.h>

#include <iostream>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

class GstMovieFileOutputSlowTest : public MovieFixture {};

TEST_F(GstMovieFileOutputSlowTest, SoundOfAFastClockStaysWithThePicturesForTenMinutes) {
    feeder_.soundClock = 1.0002;
    feeder_.soundJitter = 8ms;
    start();
    pass(10min);
    stop();

    EXPECT_EQ(probe_.complaints(), "");
    EXPECT_TRUE(log_.empty()) << log_.front();
    const auto pictures = probe_.pictures();
    EXPECT_EQ(pictures.size(), static_cast<std::size_t>(feeder_.number));
    ASSERT_FALSE(pictures.empty());
    EXPECT_NEAR(pictures.back().time, pictures.back().number / 15.0, 0.005);
    const auto beginnings = beginningsOfBeeps(probe_.sound());
    EXPECT_GE(beginnings.size(), 599U);
    EXPECT_LT(worstBeep(beginnings), 0.04);
    std::cout << "sound and pictures apart by at most " << worstBeep(beginnings) * 1000
              << " ms, at the end by " << (beginnings.back() - std::round(beginnings.back())) * 1000
              << " ms; " << std::filesystem::file_size(file_) << " bytes\n";
}

} // namespace

} // namespace ovelo
