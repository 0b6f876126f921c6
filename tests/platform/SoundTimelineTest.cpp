#include "platform/SoundTimeline.h"

#include <gtest/gtest.h>

#include <cmath>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using Steady = SoundTimeline::Steady;

constexpr std::size_t kBlock = 320; // 20 ms

Steady at(double seconds) {
    return Steady(
        std::chrono::round<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds)));
}

class SoundTimelineTest : public testing::Test {
protected:
    /// Gives blocks from `begin` on, whose samples have the value `value`.
    void give(double begin, int blocks, std::int16_t value = 1000) {
        const std::vector<std::int16_t> samples(kBlock, value);
        for (int i = 0; i < blocks; ++i) {
            timeline_.take({samples, at(begin + i * 0.02)});
        }
    }
    std::vector<std::int16_t> all() {
        std::vector<std::int16_t> samples;
        while (const auto block = timeline_.next()) {
            samples.insert(samples.end(), block->samples.begin(), block->samples.end());
            fillings_.push_back(block->isFilling);
        }
        return samples;
    }

    SoundTimeline timeline_{at(0), 0};
    std::vector<bool> fillings_;
};

TEST_F(SoundTimelineTest, KeepsWhatIsInStepAsItIs) {
    std::vector<std::int16_t> given;
    for (int i = 0; i < 100; ++i) {
        std::vector<std::int16_t> block;
        for (std::size_t k = 0; k < kBlock; ++k) {
            block.push_back(static_cast<std::int16_t>(i * 300 + static_cast<int>(k)));
        }
        given.insert(given.end(), block.begin(), block.end());
        timeline_.take({block, at(i * 0.02)});
    }
    const auto got = all();

    given.resize(got.size());
    EXPECT_EQ(got.size(), 31U * kAacPacketSamples);
    EXPECT_EQ(got, given);
    EXPECT_EQ(timeline_.corrected(), 0);
}

TEST_F(SoundTimelineTest, ALateBeginningIsSilenceFirst) {
    give(0.5, 50);
    const auto got = all();

    EXPECT_EQ(got[7999], 0);
    EXPECT_EQ(got[8000], 1000);
    EXPECT_TRUE(fillings_.front());
    EXPECT_FALSE(fillings_.back());
}

TEST_F(SoundTimelineTest, AGapIsSilenceOfItsLength) {
    give(0, 50);
    give(3, 50, 2000);
    const auto got = all();

    EXPECT_EQ(got[15999], 1000);
    EXPECT_EQ(got[16000], 0);
    EXPECT_EQ(got[47999], 0);
    EXPECT_EQ(got[48000], 2000);
}

TEST_F(SoundTimelineTest, WhatComesForFilledTimeIsDropped) {
    timeline_.advanceTo(at(1));
    give(0.5, 50); // its first half is late
    const auto got = all();

    EXPECT_EQ(timeline_.position(), 24000);
    EXPECT_EQ(got[15999], 0);
    EXPECT_EQ(got[16000], 1000);
}

TEST_F(SoundTimelineTest, TimesThatJumpBackAreNotHeardTwice) {
    give(0, 100);
    give(1, 50); // a device that begins anew with a wrong time

    EXPECT_EQ(timeline_.position(), 32000);
    give(2, 1);
    EXPECT_EQ(timeline_.position(), 32320);
}

TEST_F(SoundTimelineTest, LeavesOutWhatItIsToldToSkip) {
    SoundTimeline timeline(at(0), 576);
    std::vector<std::int16_t> samples(1600);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<std::int16_t>(i);
    }
    timeline.take({samples, at(0)});

    EXPECT_EQ(timeline.next()->samples[0], 576);
}

TEST_F(SoundTimelineTest, NothingHeardIsNoSound) {
    timeline_.advanceTo(at(10));
    EXPECT_FALSE(timeline_.hasSound());
    give(10, 1);
    EXPECT_TRUE(timeline_.hasSound());
}

/// Ten minutes of hardware whose pace is off, with uneven times; the number is its error in
/// millionths.
class SoundTimelinePaceTest : public testing::TestWithParam<int> {};

TEST_P(SoundTimelinePaceTest, StaysWithTheClockForTenMinutes) {
    SoundTimeline timeline(at(0), 0);
    const double pace = 1 + GetParam() * 1e-6;
    double worst = 0;
    const std::vector<std::int16_t> samples(kBlock, 1);
    for (int i = 0; i < 600 * 50; ++i) {
        const double time = i * 0.02 / pace;
        const double jitter = (i * 7919 % 21 - 10) * 0.001;
        timeline.take({samples, at(std::max(0.0, time + jitter))});
        while (timeline.next()) {
        }
        const double is = static_cast<double>(timeline.position()) / kSoundRate;
        worst = std::max(worst, std::abs(is - time - 0.02));
    }

    EXPECT_LT(worst, 0.015);
    EXPECT_NEAR(static_cast<double>(timeline.corrected()), -GetParam() * 9.6, 160);
}

INSTANTIATE_TEST_SUITE_P(Paces, SoundTimelinePaceTest, testing::Values(0, 200, -200, 1000, -1000));

} // namespace

} // namespace ovelo
