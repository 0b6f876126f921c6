#include "server/ServedThread.h"

#include "fakes/MainLoopThread.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

TEST(ServedThreadTest, EndOnTheMainThreadServesWhatTheThreadWaitsFor) {
    MainLoopThread main;
    std::atomic<int> calls = 0;
    MainThread::performAndWait([&] {
        ServedThread thread;
        thread.start([&](const std::stop_token& stop) {
            do {
                MainThread::performAndWait([&] { ++calls; });
            } while (!stop.stop_requested());
        });

        thread.finish(5s);

        EXPECT_TRUE(thread.hasEnded());
        EXPECT_FALSE(thread.isStarted());
    });
    EXPECT_GT(calls, 0);
}

TEST(ServedThreadTest, ThreadThatDoesNotEndInTimeIsLeftToTheDestructor) {
    MainLoopThread main;
    std::atomic<bool> mayEnd = false;
    MainThread::performAndWait([&] {
        ServedThread thread;
        thread.start([&](const std::stop_token&) { mayEnd.wait(false); });

        thread.finish(1ms);

        EXPECT_TRUE(thread.isStarted());
        mayEnd = true;
        mayEnd.notify_all();
    });
}

TEST(ServedThreadTest, CanBeStartedAgain) {
    ServedThread thread;
    int runs = 0;
    for (int round = 0; round < 2; ++round) {
        thread.start([&](const std::stop_token&) { ++runs; });
        thread.finish(5s);
    }
    EXPECT_EQ(runs, 2);
}

} // namespace
} // namespace ovelo
