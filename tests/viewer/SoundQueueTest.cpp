#include "viewer/SoundQueue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <vector>

namespace ovelo {
namespace {

using Samples = std::vector<std::int16_t>;
using Seconds = SoundSchedule::Seconds;

constexpr double kRate = 8000;
constexpr double kLead = 0.1;

SoundSchedule::Time at(double seconds) {
    return SoundSchedule::Time(
        std::chrono::duration_cast<SoundSchedule::Time::duration>(Seconds(1000 + seconds)));
}

Samples tone(double from, double length) {
    Samples samples;
    for (double i = std::round(from * kRate); i < std::round((from + length) * kRate); ++i) {
        samples.push_back(
            static_cast<std::int16_t>(std::lround(10000 * std::sin(i * 0.3)))); // 382 Hz
    }
    return samples;
}

int steepest(const Samples& samples) {
    int most = 0;
    for (std::size_t i = 1; i < samples.size(); ++i) {
        most = std::max(most, std::abs(samples[i] - samples[i - 1]));
    }
    return most;
}

/// Plays from `from` to `to` in pieces of 20 ms.
Samples play(SoundQueue& queue, double from, double to) {
    Samples all;
    for (double time = from; time < to - 0.001; time += 0.02) {
        Samples piece(160);
        queue.render(piece, at(time));
        all.insert(all.end(), piece.begin(), piece.end());
    }
    return all;
}

class SoundQueueTest : public testing::Test {
protected:
    SoundQueue queue{{kRate, Seconds(0), Seconds(kLead)}};
};

TEST_F(SoundQueueTest, PlaysExactlyWhatWasPutIn) {
    queue.add(0, tone(0, 1), at(1));
    queue.add(1, tone(1, 1), at(2));

    const auto played = play(queue, 1.1, 3.1);

    const auto expected = tone(0, 2);
    ASSERT_EQ(played.size(), expected.size());
    // The first 5 ms lead from the silence before.
    EXPECT_TRUE(std::equal(played.begin() + 40, played.end(), expected.begin() + 40));
    EXPECT_LE(steepest(played), 3000 + 10);
}

TEST_F(SoundQueueTest, DoesNotClickWhenSoundBeginsOrEnds) {
    queue.add(0, Samples(8000, 20000), at(1));

    const auto played = play(queue, 1.0, 2.5);

    EXPECT_EQ(played.front(), 0);
    EXPECT_EQ(played.back(), 0);
    EXPECT_EQ(played[4000], 20000);
    EXPECT_LE(steepest(played), 20000 / 40 + 1);
}

TEST_F(SoundQueueTest, DoesNotClickWhenTheDelayIsChanged) {
    queue.setDelay(Seconds(2));
    queue.add(0, tone(0, 1), at(1));
    queue.add(1, tone(1, 1), at(2));
    queue.add(2, tone(2, 1), at(3));
    auto played = play(queue, 2, 3);
    queue.setDelay(Seconds(1.5));
    const auto sooner = play(queue, 3, 3.5);
    played.insert(played.end(), sooner.begin(), sooner.end());
    queue.setDelay(Seconds(1.8));
    const auto later = play(queue, 3.5, 4);
    played.insert(played.end(), later.begin(), later.end());

    EXPECT_LE(steepest(played), 3000 + 20000 / 40);
}

TEST_F(SoundQueueTest, StretchesWithoutAClick) {
    queue.setDelay(Seconds(1.5));
    queue.add(0, tone(0, 1), at(1));
    auto played = play(queue, 1.5, 1.7);
    queue.setDelay(Seconds(1.55)); // less than what makes it jump
    const auto slower = play(queue, 1.7, 2.3);
    played.insert(played.end(), slower.begin(), slower.end());

    EXPECT_LE(steepest(played), 3000 + 300);
}

TEST_F(SoundQueueTest, KeepsAsManySamplesAsItsSchedule) {
    for (std::uint32_t i = 0; i < 60; ++i) {
        queue.add(i * 2, tone(0, 1), at(i * 2)); // every other one is missing
    }
    EXPECT_EQ(queue.schedule().queued(), static_cast<std::size_t>(40 * kRate));
    play(queue, 118, 119);
    queue.add(0, tone(0, 1), at(120)); // far too late: the numbers begin again
    play(queue, 120, 125);
    EXPECT_EQ(queue.schedule().queued(), 0U);
}

TEST_F(SoundQueueTest, KeepsTheNewestSoundAfterAGapThatIsLongerThanTheQueue) {
    const auto lengthy = static_cast<std::size_t>(30 * kRate);
    queue.add(0, Samples(lengthy, 1000), at(30));
    queue.add(16, Samples(lengthy, 2000), at(510)); // 15 blocks are missing
    EXPECT_EQ(queue.schedule().queued(), static_cast<std::size_t>(40 * kRate));

    const auto silence = play(queue, 505, 505.2);
    EXPECT_EQ(silence.back(), 0);
    const auto sound = play(queue, 515.2, 515.4);
    EXPECT_EQ(sound.back(), 2000);

    queue.add(17, Samples(static_cast<std::size_t>(50 * kRate), 3000), at(560));
    EXPECT_EQ(queue.schedule().queued(), static_cast<std::size_t>(40 * kRate));
    EXPECT_EQ(play(queue, 600, 600.2).back(), 3000);
}

} // namespace
} // namespace ovelo
