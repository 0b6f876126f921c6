#include "alerts/MailThreads.h"

#include "fakes/Eventually.h"

#include <gtest/gtest.h>

#include <atomic>

namespace ovelo {
namespace {

constexpr std::size_t kLimit = 2;

/// Runs until it is asked to stop.
void linger(const std::stop_token& stop) {
    eventually([&] { return stop.stop_requested(); });
}

TEST(MailThreadsTest, StartsNoMoreThanTheLimit) {
    MailThreads threads;

    EXPECT_TRUE(threads.start(kLimit, linger, [] {}));
    EXPECT_TRUE(threads.start(kLimit, linger, [] {}));
    EXPECT_FALSE(threads.start(kLimit, linger, [] {}));
    EXPECT_EQ(threads.running(), kLimit);
}

TEST(MailThreadsTest, EndedTasksMakeRoom) {
    MailThreads threads;
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(eventually([&] { return threads.running() < kLimit; }));
        EXPECT_TRUE(threads.start(
            kLimit, [](const std::stop_token&) {}, [] {}));
    }
}

TEST(MailThreadsTest, TaskDoesNotCountWhenItsEndIsTold) {
    MailThreads threads;
    std::atomic<int> running = -1;

    ASSERT_TRUE(threads.start(
        kLimit, [](const std::stop_token&) {},
        [&] { running = static_cast<int>(threads.running()); }));

    EXPECT_TRUE(eventually([&] { return running == 0; }));
}

TEST(MailThreadsTest, StopAsksAllAndWaitsAndStartsNoMore) {
    MailThreads threads;
    std::atomic<int> ended = 0;
    ASSERT_TRUE(threads.start(kLimit, linger, [&] { ++ended; }));
    ASSERT_TRUE(threads.start(kLimit, linger, [&] { ++ended; }));

    threads.stop();

    EXPECT_EQ(ended, 2);
    EXPECT_FALSE(threads.start(kLimit, linger, [] {}));
}

} // namespace
} // namespace ovelo
