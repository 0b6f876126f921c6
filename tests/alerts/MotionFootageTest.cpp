// The detector on a real street, and on scenes in which nothing moves.

#include "fakes/Footage.h"
#include "fakes/MotionFixture.h"
#include "fakes/ReferenceMotion.h"

#include <algorithm>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

class MotionFootageTest : public MotionFixture {
protected:
    void SetUp() override {
        settings.setBoolean("useMotionRecord", true);
        settings.setString("motionSense", "High");
    }

    /// A frame in two seconds, as if the others had been left out.
    void showAfterTwoSeconds(const VideoFrame& frame) {
        clock.advance(2s);
        show(frame);
        largest = std::max(largest, detector.level().ratio.value_or(0));
    }

    double largest = 0;
};

TEST_F(MotionFootageTest, PeopleThatWalkInAStreetAreSeenAtHighSensitivity) {
    const auto frames = footage(20); // one in two seconds
    ASSERT_EQ(frames.size(), 40U) << kFootage;
    for (const auto& frame : frames) {
        showAfterTwoSeconds(frame);
    }
    EXPECT_GE(motions(), 5);
    EXPECT_GT(largest, 0.08);
    EXPECT_LT(largest, 0.11);
}

TEST_F(MotionFootageTest, PeopleThatAreSmallInTheirStreetAreNotSeenAtMediumSensitivity) {
    settings.setString("motionSense", "Medium");
    for (const auto& frame : footage(20)) {
        showAfterTwoSeconds(frame);
    }
    EXPECT_EQ(motions(), 0);
    EXPECT_GT(largest, 0.08); // but looked at
}

class StillSceneTest : public MotionFootageTest, public testing::WithParamInterface<double> {};

TEST_P(StillSceneTest, NothingIsSeenInTenMinutes) {
    const auto frames = footage(300);
    ASSERT_FALSE(frames.empty()) << kFootage;
    NoisyCamera camera(GetParam());
    for (int second = 0; second < 600; second += 2) {
        showAfterTwoSeconds(camera.picture(frames[1]));
    }
    EXPECT_EQ(examined, 300);
    EXPECT_EQ(motions(), 0);
    EXPECT_LT(largest, 0.04);
    RecordProperty("largest", std::to_string(largest));
}

INSTANTIATE_TEST_SUITE_P(Noise, StillSceneTest, testing::Values(0.0, 3.0, 8.0));

TEST_F(MotionFootageTest, RatiosOfTheStreetAreThoseOfThePlainArithmetic) {
    reference::Motion plain;
    MotionImages images;
    const auto frames = footage(160);
    ASSERT_GE(frames.size(), 4U) << kFootage;
    for (const auto& frame : frames) {
        ASSERT_EQ(images.compare(OpenCVTools::CreateIplImageFromUIImage(frame)),
                  plain.compare(frame));
    }
}

} // namespace

} // namespace ovelo
