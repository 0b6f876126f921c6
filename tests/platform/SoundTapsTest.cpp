#include "platform/SoundTaps.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace ovelo {

namespace {

class SoundTapsTest : public testing::Test {
protected:
    void deliver() { taps->deliver({samples, {}}); }

    const std::vector<std::int16_t> samples{1, 2, 3};
    std::shared_ptr<SoundTaps> taps = std::make_shared<SoundTaps>();
};

TEST_F(SoundTapsTest, GivesEachTapEverything) {
    int first = 0;
    int second = 0;
    const auto one = taps->add([&](const SoundBlock& block) { first += block.samples[1]; });
    auto two = taps->add([&](const SoundBlock&) { ++second; });
    deliver();
    two.reset();
    deliver();
    EXPECT_EQ(first, 4);
    EXPECT_EQ(second, 1);
}

TEST_F(SoundTapsTest, TellsWhenTheFirstComesAndTheLastGoes) {
    std::vector<bool> told;
    taps->watch([&] { told.push_back(taps->isHeard()); });
    auto one = taps->add([](const SoundBlock&) {});
    auto two = taps->add([](const SoundBlock&) {});
    one.reset();
    EXPECT_EQ(told, (std::vector<bool>{true}));
    two.reset();
    EXPECT_EQ(told, (std::vector<bool>{true, false}));
}

TEST_F(SoundTapsTest, LeavesATapAloneAfterItsEndWhileSoundFlows) {
    std::atomic<bool> isOver = false;
    std::thread source([&] {
        while (!isOver) {
            deliver();
        }
    });
    for (int i = 0; i < 200; ++i) {
        std::atomic<bool> isAlive = true;
        auto tap = taps->add([&](const SoundBlock&) { EXPECT_TRUE(isAlive); });
        std::this_thread::yield();
        tap.reset();
        isAlive = false;
    }
    isOver = true;
    source.join();
}

TEST_F(SoundTapsTest, ForgetsATapThatCouldNotBeAdded) {
    taps->watch([] { throw std::runtime_error("no thread can be started"); });
    EXPECT_THROW(static_cast<void>(taps->add([](const SoundBlock&) { FAIL(); })),
                 std::runtime_error);
    EXPECT_FALSE(taps->isHeard());
    deliver();

    taps->watch(nullptr);
    const auto tap = taps->add([](const SoundBlock&) {});
    EXPECT_TRUE(taps->isHeard());
}

TEST_F(SoundTapsTest, LetsATapOutliveItsDevice) {
    auto tap = taps->add([](const SoundBlock&) {});
    taps.reset();
    tap.reset();
}

} // namespace

} // namespace ovelo
