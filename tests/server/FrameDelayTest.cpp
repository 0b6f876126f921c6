#include "server/FrameDelay.h"

#include "fakes/FakeClock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace ovelo {
namespace {

class FrameDelayTest : public ::testing::Test {
protected:
    /// The number of the frame that comes out when the next one goes in; -1 for none.
    int push() {
        const auto due = delay.push({nullptr, {next++, 0, false}, clock.timeOfDay()});
        return due ? static_cast<int>(due->syncData.frameID) : -1;
    }
    void pass(int milliseconds) { clock.advance(std::chrono::milliseconds(milliseconds)); }

    FakeClock clock;
    FrameDelay delay{clock};
    std::uint32_t next = 0;
};

TEST_F(FrameDelayTest, WithoutDelayEveryFrameComesOutAtOnceAndInOrder) {
    delay.setDelay(0);

    for (int id = 0; id < 5; ++id) {
        EXPECT_EQ(push(), id);
    }
}

TEST_F(FrameDelayTest, InitialDelayHoldsFramesForTwoSeconds) {
    std::vector<int> sent;
    for (int turn = 0; turn < 30; ++turn) {
        sent.push_back(push());
        pass(100);
    }

    for (std::size_t turn = 0; turn < 20; ++turn) {
        EXPECT_EQ(sent[turn], -1) << turn;
    }
    int came = 0;
    for (std::size_t turn = 20; turn < 30; ++turn) {
        came += sent[turn] >= 0 ? 1 : 0;
    }
    EXPECT_GE(came, 9) << "about one frame a call from then on";
    EXPECT_LE(sent[29], 9);
}

TEST_F(FrameDelayTest, OnlyTheNewestOfSeveralDueFramesIsSent) {
    delay.setDelay(1.0F);
    EXPECT_EQ(push(), -1);
    EXPECT_EQ(push(), -1);
    EXPECT_EQ(push(), -1);
    pass(1500);

    EXPECT_EQ(push(), 2);
    EXPECT_EQ(delay.waiting(), 1U);
}

TEST_F(FrameDelayTest, NoDelayWhileFramesWaitLeavesThemInTheQueue) {
    delay.setDelay(2.0F);
    push();
    push();
    delay.setDelay(0);

    EXPECT_EQ(push(), 0) << "one goes in, the oldest comes out";
    EXPECT_EQ(push(), 1);
    EXPECT_EQ(delay.waiting(), 2U);
}

TEST_F(FrameDelayTest, VerySmallDelayEmptiesTheQueue) {
    delay.setDelay(2.0F);
    push();
    push();
    pass(100);
    delay.setDelay(0.001F);
    EXPECT_EQ(push(), 1);
    pass(2);
    delay.setDelay(0);

    EXPECT_EQ(push(), 2);
    EXPECT_EQ(delay.waiting(), 1U);
}

TEST_F(FrameDelayTest, ClockThatIsSetBackDoesNotStopThePictures) {
    push();
    push();
    pass(-3600 * 1000);

    EXPECT_EQ(push(), 1) << "what was put in before is due";
    EXPECT_EQ(push(), -1);
    pass(2000);
    EXPECT_EQ(push(), 3);
}

TEST_F(FrameDelayTest, NegativeDelaySendsEachFrameAtOnce) {
    delay.setDelay(-3.0F);

    EXPECT_EQ(push(), 0);
    EXPECT_EQ(push(), 1);
}

TEST_F(FrameDelayTest, NotANumberAndEndlessDelaysHoldABoundedNumberOfFrames) {
    for (const float value : {std::nanf(""), std::numeric_limits<float>::infinity()}) {
        delay.setDelay(value);
        for (int turn = 0; turn < 1000; ++turn) {
            EXPECT_EQ(push(), -1);
        }
        EXPECT_EQ(delay.waiting(), FrameDelay::kMostFrames);
    }
}

} // namespace
} // namespace ovelo
