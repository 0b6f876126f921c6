#include "server/SessionThreads.h"

#include "fakes/Eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <latch>

namespace ovelo {
namespace {

std::ptrdiff_t threadsOfProcess() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                         std::filesystem::directory_iterator());
}

TEST(SessionThreadsTest, RunsFunctionsBesideEachOther) {
    SessionThreads threads;
    std::latch all(3);
    for (int index = 0; index < 3; ++index) {
        threads.start([&] { all.arrive_and_wait(); });
    }

    threads.join();

    EXPECT_EQ(threads.running(), 0U);
}

TEST(SessionThreadsTest, EndedThreadsAreNotKept) {
    const auto before = threadsOfProcess();
    SessionThreads threads;
    std::atomic<int> runs = 0;
    for (int index = 0; index < 500; ++index) {
        threads.start([&] { ++runs; });
    }

    EXPECT_TRUE(eventually([&] { return threads.running() == 0; }));
    EXPECT_EQ(runs, 500);
    EXPECT_TRUE(eventually([&] { return threadsOfProcess() <= before + 1; }));
}

} // namespace
} // namespace ovelo
