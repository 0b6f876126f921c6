#include "platform/MainThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace ovelo {

using namespace std::chrono_literals;

class MainThreadTest : public ::testing::Test {
protected:
    MainThreadTest() { MainThread::begin(); }
    ~MainThreadTest() override { MainThread::end(); }
};

TEST_F(MainThreadTest, ACallFromTheMainThreadRunsAtOnce) {
    bool ran = false;
    MainThread::performAndWait([&] { ran = true; });
    EXPECT_TRUE(ran);
}

TEST_F(MainThreadTest, ACallFromAnotherThreadRunsOnTheMainThreadWhileTheCallerWaits) {
    std::atomic<bool> returned = false;
    std::thread::id ranOn;
    std::jthread caller([&] {
        MainThread::performAndWait([&] { ranOn = std::this_thread::get_id(); });
        returned = true;
    });

    EXPECT_TRUE(MainThread::serveUntil([&] { return returned.load(); }, 5s));
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST_F(MainThreadTest, WhatACallThrowsIsThrownAtTheCaller) {
    std::atomic<bool> caught = false;
    std::jthread caller([&] {
        try {
            MainThread::performAndWait([] { throw std::runtime_error("no"); });
        } catch (const std::runtime_error&) {
            caught = true;
        }
    });

    EXPECT_TRUE(MainThread::serveUntil([&] { return caught.load(); }, 5s));
}

TEST_F(MainThreadTest, ACallWithoutWaitingRunsAtTheNextTurn) {
    bool ran = false;
    MainThread::perform([&] { ran = true; });
    EXPECT_FALSE(ran);

    MainThread::serve();
    EXPECT_TRUE(ran);
}

TEST_F(MainThreadTest, CallsRunInTheirOrder) {
    std::string order;
    MainThread::perform([&] { order += "a"; });
    MainThread::perform([&] { order += "b"; });
    MainThread::serve();
    EXPECT_EQ(order, "ab");
}

TEST_F(MainThreadTest, WhoWaitsForAThreadServesItsCallsAndLeavesTheOthersForLater) {
    std::string order;
    std::atomic<bool> isDone = false;
    std::jthread other([&] { MainThread::perform([&] { order += "other "; }); });
    other.join();
    std::jthread caller([&] {
        MainThread::performAndWait([&] { order += "first "; });
        MainThread::performAndWait([&] { order += "second "; });
        isDone = true;
    });

    MainThread::serveCallsOf(caller.get_id(), [&] { return isDone.load(); });
    EXPECT_EQ(order, "first second ");
    MainThread::serve();
    EXPECT_EQ(order, "first second other ");
}

TEST_F(MainThreadTest, TheEndReleasesACallerThatWaits) {
    std::atomic<bool> asked = false;
    bool ran = false;
    std::jthread caller([&] {
        asked = true;
        MainThread::performAndWait([&] { ran = true; });
    });
    while (!asked) {
        std::this_thread::yield();
    }

    MainThread::end();
    caller.join();
    EXPECT_FALSE(ran);
}

TEST_F(MainThreadTest, AfterTheEndACallReturnsWithoutHavingRun) {
    MainThread::end();
    bool ran = false;
    std::thread([&] { MainThread::performAndWait([&] { ran = true; }); }).join();
    EXPECT_FALSE(ran);
}

TEST_F(MainThreadTest, EachCallWakesTheLoop) {
    int wakes = 0;
    MainThread::begin([&] { ++wakes; });
    MainThread::perform([] {});
    EXPECT_EQ(wakes, 1);
    MainThread::serve();
}

TEST_F(MainThreadTest, ServingGivesUpAtTheLimit) {
    EXPECT_FALSE(MainThread::serveUntil([] { return false; }, 10ms));
}

TEST_F(MainThreadTest, KnowsWhichThreadItIs) {
    EXPECT_TRUE(MainThread::isCurrent());
    std::thread([] { EXPECT_FALSE(MainThread::isCurrent()); }).join();
}

} // namespace ovelo
