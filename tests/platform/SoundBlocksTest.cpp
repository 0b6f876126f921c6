#include "platform/SoundBlocks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <numeric>
#include <vector>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using TimePoint = SoundBlocks::TimePoint;
using testing::Each;

class SoundBlocksTest : public testing::Test {
protected:
    /// Adds the next `count` samples of a ramp.
    void add(std::size_t count, TimePoint time) {
        std::vector<std::int16_t> samples(count);
        for (auto& sample : samples) {
            sample = next++;
        }
        blocks.add(samples, time);
    }
    static TimePoint at(std::chrono::nanoseconds time) { return TimePoint(1h + time); }

    std::int16_t next = 0;
    std::vector<std::int16_t> heard;
    std::vector<std::size_t> sizes;
    std::vector<TimePoint> times;
    SoundBlocks blocks{[this](const SoundBlock& block) {
        heard.insert(heard.end(), block.samples.begin(), block.samples.end());
        sizes.push_back(block.samples.size());
        times.push_back(block.time);
    }};
};

TEST_F(SoundBlocksTest, GivesBlocksOfFortyMillisecondsWhateverComes) {
    std::size_t total = 0;
    for (const std::size_t count : {1U, 639U, 640U, 641U, 3000U, 0U, 7U, 72U}) {
        add(count, at(total * 62500ns));
        total += count;
    }

    EXPECT_THAT(sizes, Each(640U));
    ASSERT_EQ(sizes.size(), total / 640);
    for (std::size_t i = 0; i < heard.size(); ++i) {
        ASSERT_EQ(heard[i], static_cast<std::int16_t>(i));
    }
    for (std::size_t i = 0; i < times.size(); ++i) {
        EXPECT_EQ(times[i], at(i * 40ms));
    }
}

TEST_F(SoundBlocksTest, SmoothsTimesThatAreEarlyOrLate) {
    constexpr int kBlocks = 500;
    for (int i = 0; i < kBlocks; ++i) {
        add(640, at(i * 40ms + (i % 2 == 0 ? 8ms : -8ms)));
    }

    for (std::size_t i = kBlocks / 2; i < kBlocks; ++i) {
        EXPECT_LT(std::chrono::abs(times[i] - at(i * 40ms)), 1ms);
        EXPECT_LT(std::chrono::abs(times[i] - times[i - 1] - 40ms), 1ms);
    }
}

TEST_F(SoundBlocksTest, FollowsAClockThatGoesWrong) {
    constexpr int kBlocks = 2500; // 100 s, after which the clock is wrong by 100 ms
    for (int i = 0; i < kBlocks; ++i) {
        add(640, at(i * 40ms + i * 40us));
    }

    EXPECT_LT(std::chrono::abs(times.back() - at((kBlocks - 1) * 40040us)), 2ms);
}

TEST_F(SoundBlocksTest, BeginsANewAfterAGap) {
    add(1000, at(0ms));
    add(640, at(5s));

    EXPECT_EQ(sizes, (std::vector<std::size_t>{640, 360, 640}));
    EXPECT_EQ(times.back(), at(5s));
}

TEST_F(SoundBlocksTest, ForgetsWhatItKept) {
    add(100, at(0ms));
    blocks.reset();
    add(640, at(10ms));

    ASSERT_EQ(sizes.size(), 1U);
    EXPECT_EQ(heard.front(), 100);
    EXPECT_EQ(times.front(), at(10ms));
}

} // namespace

} // namespace ovelo
