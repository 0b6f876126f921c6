#include "platform/MovieInbox.h"

#include <gtest/gtest.h>

#include <thread>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

VideoFrame frame(int number) {
    return {number, 0, 0, nullptr, nullptr};
}

TEST(MovieInboxTest, GivesWhatCameInItsOrder) {
    MovieInbox inbox;
    inbox.open();
    inbox.add(frame(1), MovieInbox::Steady(1s));
    inbox.add(frame(2), MovieInbox::Steady(2s));
    const std::vector<std::int16_t> samples = {1, 2, 3};
    inbox.add({samples, MovieInbox::Steady(3s)});
    const auto batch = inbox.take();

    ASSERT_EQ(batch.pictures.size(), 2U);
    EXPECT_EQ(batch.pictures[1].frame.width, 2);
    EXPECT_EQ(batch.pictures[1].time, MovieInbox::Steady(2s));
    ASSERT_EQ(batch.sounds.size(), 1U);
    EXPECT_EQ(batch.sounds[0].samples, samples);
    EXPECT_TRUE(inbox.take().pictures.empty());
}

TEST(MovieInboxTest, TakesNothingWhileItIsClosed) {
    MovieInbox inbox;
    inbox.add(frame(1), {});
    inbox.open();
    inbox.close(MovieInbox::Steady(5s));
    inbox.close(MovieInbox::Steady(6s));
    inbox.add(frame(2), {});

    EXPECT_TRUE(inbox.take().pictures.empty());
    EXPECT_EQ(inbox.end(), MovieInbox::Steady(5s));
    EXPECT_EQ(inbox.dropped(), 0U);
}

TEST(MovieInboxTest, TheNewestPicturesWinAndTheOthersAreCounted) {
    MovieInbox inbox;
    inbox.open();
    for (int i = 0; i < 100; ++i) {
        inbox.add(frame(i), {});
    }
    const auto batch = inbox.take();

    EXPECT_EQ(batch.pictures.size(), 30U);
    EXPECT_EQ(batch.pictures.back().frame.width, 99);
    EXPECT_EQ(inbox.dropped(), 70U);
}

TEST(MovieInboxTest, KeepsTenSecondsOfSound) {
    MovieInbox inbox;
    inbox.open();
    const std::vector<std::int16_t> second(kSoundRate);
    for (int i = 0; i < 15; ++i) {
        inbox.add({second, {}});
    }

    EXPECT_EQ(inbox.take().sounds.size(), 10U);
    EXPECT_EQ(inbox.dropped(), 5U);
}

TEST(MovieInboxTest, ClosingEndsTheWait) {
    MovieInbox inbox;
    inbox.open();
    EXPECT_FALSE(inbox.waitForEnd(1ms));
    std::thread other([&] { inbox.close({}); });
    EXPECT_TRUE(inbox.waitForEnd(5s));
    other.join();
}

} // namespace

} // namespace ovelo
