#include "platform/QtMainLoop.h"

#include "fakes/QtWait.h"
#include "platform/MainThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace ovelo {

TEST(QtMainLoopTest, RunsACallOfAnotherThreadWhileTheLoopRuns) {
    const QtMainLoop loop;
    std::atomic<bool> returned = false;
    std::thread::id ranOn;
    const std::jthread caller([&] {
        MainThread::performAndWait([&] { ranOn = std::this_thread::get_id(); });
        returned = true;
    });

    EXPECT_TRUE(runLoopUntil([&] { return returned.load(); }));
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(QtMainLoopTest, ServesACallThatACallMakes) {
    const QtMainLoop loop;
    bool ran = false;
    MainThread::perform([&] { MainThread::perform([&] { ran = true; }); });

    EXPECT_TRUE(runLoopUntil([&] { return ran; }));
}

TEST(QtMainLoopTest, ServesCallsInALoopInsideACall) {
    const QtMainLoop loop;
    bool servedInside = false;
    bool done = false;
    MainThread::perform([&] {
        std::thread([&] { MainThread::perform([&] { servedInside = true; }); }).join();
        EXPECT_TRUE(runLoopUntil([&] { return servedInside; }));
        done = true;
    });

    EXPECT_TRUE(runLoopUntil([&] { return done; }));
}

TEST(QtMainLoopTest, LosesNoCallOfManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kCalls = 500;
    const QtMainLoop loop;
    int ran = 0;
    std::vector<std::jthread> callers;
    for (int n = 0; n < kThreads; ++n) {
        callers.emplace_back([&] {
            for (int i = 0; i < kCalls; ++i) {
                MainThread::perform([&] { ++ran; });
            }
        });
    }

    EXPECT_TRUE(runLoopUntil([&] { return ran == kThreads * kCalls; }));
}

TEST(QtMainLoopTest, ManyWaitingCallsCostOneEvent) {
    const QtMainLoop loop;
    int ran = 0;
    for (int i = 0; i < 100; ++i) {
        MainThread::perform([&] { ++ran; });
    }

    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(ran, 100);
}

TEST(QtMainLoopTest, ItsEndReleasesACallerThatWaits) {
    auto loop = std::make_unique<QtMainLoop>();
    std::atomic<bool> asked = false;
    std::jthread caller([&] {
        asked = true;
        MainThread::performAndWait([] { FAIL() << "the loop has ended"; });
    });
    while (!asked) {
        std::this_thread::yield();
    }

    loop.reset();
    caller.join();
}

TEST(QtMainLoopTest, ThreadsMayCallWhileItEnds) {
    for (int round = 0; round < 8; ++round) {
        auto loop = std::make_unique<QtMainLoop>();
        std::atomic<int> running = 0;
        std::vector<std::jthread> callers;
        for (int n = 0; n < 3; ++n) {
            callers.emplace_back([&](const std::stop_token& stop) {
                ++running;
                while (!stop.stop_requested()) {
                    MainThread::perform([] {});
                }
            });
        }
        EXPECT_TRUE(runLoopUntil([&] { return running == 3; }));
        loop.reset();
    }
}

TEST(QtMainLoopTest, ANewLoopServesAfterAnOldOneEnded) {
    std::make_unique<QtMainLoop>().reset();
    const QtMainLoop loop;
    bool ran = false;
    MainThread::perform([&] { ran = true; });

    EXPECT_TRUE(runLoopUntil([&] { return ran; }));
}

} // namespace ovelo
