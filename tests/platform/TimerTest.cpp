#include "platform/Timer.h"

#include "fakes/QtWait.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

namespace ovelo {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

TEST(TimerTest, ARepeatingTimerTicksAgainAndAgainFirstAfterOneInterval) {
    const auto start = Steady::now();
    int ticks = 0;
    auto first = start;
    const auto timer = Timer::repeating(5ms, [&] { first = ticks++ == 0 ? Steady::now() : first; });

    EXPECT_TRUE(runLoopUntil([&] { return ticks >= 3; }));
    EXPECT_GE(first - start, 4ms);
    EXPECT_GE(Steady::now() - start, 14ms);
}

TEST(TimerTest, ASingleTimerTicksOnce) {
    int ticks = 0;
    const auto timer = Timer::once(1ms, [&] { ++ticks; });
    int later = 0;
    const auto other = Timer::repeating(5ms, [&] { ++later; });

    EXPECT_TRUE(runLoopUntil([&] { return later >= 3; }));
    EXPECT_EQ(ticks, 1);
}

TEST(TimerTest, ATimerThatIsGoneDoesNotTick) {
    int ticks = 0;
    Timer::once(0ms, [&] { ++ticks; }).reset();
    bool later = false;
    const auto other = Timer::once(3ms, [&] { later = true; });

    EXPECT_TRUE(runLoopUntil([&] { return later; }));
    EXPECT_EQ(ticks, 0);
}

TEST(TimerTest, ATickMayEndItsTimer) {
    int ticks = 0;
    std::unique_ptr<Timer> timer;
    timer = Timer::repeating(1ms, [&] {
        timer.reset();
        ++ticks; // what it refers to is still there
    });
    bool later = false;
    const auto other = Timer::once(10ms, [&] { later = true; });

    EXPECT_TRUE(runLoopUntil([&] { return later; }));
    EXPECT_EQ(ticks, 1);
}

} // namespace ovelo
