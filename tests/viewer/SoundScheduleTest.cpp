#include "viewer/SoundSchedule.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

namespace ovelo {
namespace {

using Seconds = SoundSchedule::Seconds;

constexpr double kRate = 8000;
constexpr double kLead = 0.1;
constexpr std::size_t kChunk = 160; // samples of output at a time: 20 ms
constexpr double kChunkLength = kChunk / kRate;

SoundSchedule::Time at(double seconds) {
    return SoundSchedule::Time(
        std::chrono::duration_cast<SoundSchedule::Time::duration>(Seconds(1000 + seconds)));
}

/// A server that captures from the time 0 on, and a player of its blocks.
class Simulation {
public:
    struct Played {
        double heard = 0;            // of one piece of output
        std::optional<double> lag{}; // between capture and hearing; none: silence
    };

    explicit Simulation(double delay, double age = 0)
        : schedule({kRate, Seconds(age), Seconds(kLead)}) {
        schedule.setDelay(Seconds(delay));
    }

    /// A block of what was captured until `end` on the server's clock arrives.
    void block(double length, double arrival, std::size_t repeat = 1) {
        advance(arrival);
        for (std::size_t i = 0; i < repeat; ++i) {
            const auto samples = static_cast<std::size_t>(std::lround(length * kRate));
            const auto result = schedule.arrived(id++, samples, at(arrival));
            if (!result.late) {
                for (std::size_t k = 0; k < result.silence; ++k) {
                    captured.push_back(-1); // nobody knows
                }
                for (std::size_t k = 0; k < samples; ++k) {
                    captured.push_back(captureTime + static_cast<double>(k) / serverRate);
                }
            }
            captureTime += length * kRate / serverRate;
        }
    }

    /// Plays until `now`: each piece is made `kLead` less a bit before it is heard.
    void advance(double now) {
        constexpr double kDecided = kLead - kChunkLength;
        while (heard - kDecided < now) {
            const auto step = schedule.next(at(heard), kChunk);
            next += step.drop;
            dropped += step.drop;
            const bool sounds = step.fill == kChunk;
            Played piece{heard, std::nullopt};
            if (sounds && captured.at(next) >= 0) {
                piece.lag = heard - captured.at(next);
            }
            changes += step.take != step.fill ? 1U : 0U;
            next += step.take;
            ASSERT_EQ(captured.size() - next, schedule.queued());
            played.push_back(piece);
            heard += kChunkLength;
        }
    }

    /// Blocks one after the other, each as long as the last.
    void blocks(int number, double length, double lateness = 0) {
        for (int i = 0; i < number; ++i) {
            block(length, captureTime + length * kRate / serverRate + lateness);
        }
    }

    std::size_t silences(double from, double to) const {
        return static_cast<std::size_t>(
            std::count_if(played.begin(), played.end(), [&](const Played& piece) {
                return piece.heard >= from && piece.heard < to && !piece.lag;
            }));
    }
    double lagAt(double time) const {
        for (const Played& piece : played) {
            if (piece.heard >= time) {
                return piece.lag.value_or(-1);
            }
        }
        return -1;
    }

    SoundSchedule schedule;
    double serverRate = kRate; // samples in one of our seconds
    double captureTime = 0;    // of the next block's beginning
    std::uint32_t id = 0;
    std::vector<double> captured;
    std::size_t next = 0;
    std::size_t dropped = 0;
    std::size_t changes = 0;
    double heard = 0;
    std::vector<Played> played;
};

struct Case {
    double length;
    double delay;
    double lag; // expected
};

class SoundScheduleDelayTest : public testing::TestWithParam<Case> {};

TEST_P(SoundScheduleDelayTest, PlaysInStepOrAsEarlyAsItCanWithoutGaps) {
    Simulation simulation(GetParam().delay);
    simulation.blocks(10 + static_cast<int>(2 * GetParam().lag / GetParam().length),
                      GetParam().length);

    const double begin = GetParam().length + GetParam().lag + 0.1;
    const double end = simulation.heard;
    EXPECT_EQ(simulation.silences(begin, end), 0U);
    EXPECT_NEAR(simulation.lagAt(begin), GetParam().lag, 0.011);
    EXPECT_NEAR(simulation.lagAt(end - 1), GetParam().lag, 0.011);
    EXPECT_EQ(simulation.dropped, 0U);
}

INSTANTIATE_TEST_SUITE_P(Delays, SoundScheduleDelayTest,
                         testing::Values(Case{2.5, 4, 4}, Case{2.5, 3, 3},
                                         Case{2.5, 2.5, 2.5 + kLead}, Case{2.5, 0, 2.5 + kLead},
                                         Case{2.048, 2, 2.048 + kLead}, Case{0.5, 2, 2},
                                         Case{0.5, 0, 0.5 + kLead}, Case{0.5, 30, 30}));

TEST(SoundScheduleTest, KeepsInStepWithin150MillisecondsWhenTheDelayIsABlocksLength) {
    for (const double length : {0.5, 1.5, 2.048, 2.5}) {
        Simulation simulation(length);
        simulation.blocks(10, length);
        EXPECT_LE(simulation.lagAt(simulation.heard - 1) - length, 0.150);
    }
}

TEST(SoundScheduleTest, TakesTheAgeOfABlockIntoAccount) {
    Simulation simulation(3, 0.25);
    for (int i = 0; i < 10; ++i) {
        simulation.block(2, simulation.captureTime + 2 + 0.25);
    }

    EXPECT_NEAR(simulation.lagAt(simulation.heard - 1), 3, 0.011);
    EXPECT_NEAR(simulation.schedule.shortestDelay().count(), 2 + 0.25 + kLead, 0.001);
}

TEST(SoundScheduleTest, IsSilentBeforeTheFirstBlock) {
    SoundSchedule schedule({kRate, Seconds(0), Seconds(kLead)});

    const auto step = schedule.next(at(0), kChunk);

    EXPECT_EQ(step.silence, kChunk);
    EXPECT_EQ(schedule.latency(), Seconds(0));
}

TEST(SoundScheduleTest, WaitsForBlocksThatAreLateOnTheirWay) {
    Simulation simulation(0);
    for (int i = 0; i < 40; ++i) {
        simulation.block(1, simulation.captureTime + 1 + (i % 3 == 2 ? 0.2 : 0));
    }

    // From the first late one on nothing is missing any more.
    EXPECT_EQ(simulation.silences(6, simulation.heard), 0U);
    EXPECT_NEAR(simulation.lagAt(30), 1 + kLead + 0.2, 0.02);
}

TEST(SoundScheduleTest, ForgetsLatenessInTime) {
    Simulation simulation(0);
    simulation.blocks(5, 1);
    simulation.block(1, simulation.captureTime + 1 + 0.25);
    simulation.blocks(40, 1);

    EXPECT_NEAR(simulation.lagAt(40), 1 + kLead, 0.02);
}

TEST(SoundScheduleTest, DoesNotWaitLongForVeryLateBlocks) {
    Simulation simulation(0);
    simulation.blocks(5, 1);
    simulation.block(1, simulation.captureTime + 1 + 0.9);
    simulation.blocks(10, 1);

    EXPECT_LE(simulation.lagAt(simulation.heard - 1), 1 + kLead + 0.31);
}

TEST(SoundScheduleTest, PlaysSilenceOfTheLengthOfAMissingBlock) {
    Simulation simulation(3);
    simulation.blocks(5, 2.5);
    ++simulation.id;
    simulation.captureTime += 2.5;
    simulation.blocks(5, 2.5);

    EXPECT_EQ(simulation.silences(6, simulation.heard), static_cast<std::size_t>(2.5 / 0.02));
    EXPECT_NEAR(simulation.lagAt(simulation.heard - 1), 3, 0.011);
    EXPECT_EQ(simulation.changes, 0U);
}

TEST(SoundScheduleTest, MeasuresAMissingBlockByTheTimeWhenBlocksDiffer) {
    Simulation simulation(3);
    for (const double length : {2.0, 1.5, 1.8, 2.0}) {
        simulation.blocks(1, length);
    }
    ++simulation.id;
    simulation.captureTime += 1.7; // lost
    simulation.blocks(3, 1.9);

    EXPECT_NEAR(simulation.lagAt(simulation.heard - 0.5), 3, 0.011);
}

TEST(SoundScheduleTest, LeavesOutABlockThatComesTwiceOrTooLate) {
    SoundSchedule schedule({kRate, Seconds(0), Seconds(kLead)});
    schedule.arrived(7, 8000, at(1));

    EXPECT_TRUE(schedule.arrived(7, 8000, at(2)).late);
    EXPECT_TRUE(schedule.arrived(5, 8000, at(2)).late);
    EXPECT_FALSE(schedule.arrived(8, 8000, at(2)).late);
    EXPECT_EQ(schedule.queued(), 16000U);
}

TEST(SoundScheduleTest, CountsOnWhenTheNumbersBeginAgain) {
    SoundSchedule schedule({kRate, Seconds(0), Seconds(kLead)});
    schedule.arrived(0xFFFFFFFF, 8000, at(1));
    EXPECT_FALSE(schedule.arrived(0, 8000, at(2)).late); // the next number

    schedule.arrived(500, 8000, at(3));
    const auto anew = schedule.arrived(0, 8000, at(4));
    EXPECT_FALSE(anew.late);
    EXPECT_EQ(anew.silence, 0U);
}

TEST(SoundScheduleTest, DropsWhatIsPlayedTooLateAfterAStall) {
    Simulation simulation(0);
    simulation.blocks(5, 1);
    // Nothing for three seconds, then everything at once.
    simulation.block(1, 9, 4);
    simulation.blocks(8, 1);

    EXPECT_GT(simulation.dropped, static_cast<std::size_t>(kRate));
    EXPECT_LE(simulation.lagAt(simulation.heard - 1), 1 + kLead + 0.31);
    EXPECT_EQ(simulation.silences(simulation.heard - 5, simulation.heard), 0U);
}

TEST(SoundScheduleTest, GoesOnAfterThePauseOfACaptureThatWasInterrupted) {
    Simulation simulation(2);
    simulation.blocks(5, 1);
    simulation.captureTime += 20;
    simulation.blocks(5, 1);

    EXPECT_NEAR(simulation.lagAt(simulation.heard - 1), 2, 0.011);
}

TEST(SoundScheduleTest, FollowsADelayThatIsChanged) {
    Simulation simulation(3);
    simulation.blocks(6, 1);
    EXPECT_NEAR(simulation.lagAt(simulation.heard - 1), 3, 0.011);

    simulation.schedule.setDelay(Seconds(1.5));
    simulation.blocks(4, 1);
    EXPECT_NEAR(simulation.lagAt(simulation.heard - 1), 1.5, 0.011);

    simulation.schedule.setDelay(Seconds(4));
    simulation.blocks(6, 1);
    EXPECT_NEAR(simulation.lagAt(simulation.heard - 1), 4, 0.011);
}

class SoundScheduleDriftTest : public testing::TestWithParam<double> {};

TEST_P(SoundScheduleDriftTest, FollowsTheServersClockWithoutAGap) {
    Simulation simulation(1.5);
    simulation.serverRate = kRate * (1 + GetParam() * 1e-6);
    simulation.blocks(600, 1); // ten minutes: 180 ms at 300 parts in a million

    EXPECT_NEAR(simulation.lagAt(simulation.heard - 1), 1.5, 0.02);
    EXPECT_EQ(simulation.silences(4, simulation.heard), 0U);
    EXPECT_EQ(simulation.dropped, 0U);
}

INSTANTIATE_TEST_SUITE_P(PartsInAMillion, SoundScheduleDriftTest,
                         testing::Values(-300.0, -50.0, 50.0, 300.0));

TEST(SoundScheduleTest, KeepsTheQueueShortWhenNothingIsPlayed) {
    SoundSchedule schedule({kRate, Seconds(0), Seconds(kLead)});
    for (std::uint32_t i = 0; i < 200; ++i) {
        schedule.arrived(i, 8000, at(i));
    }

    EXPECT_EQ(schedule.queued(), static_cast<std::size_t>(40 * kRate));
}

TEST(SoundScheduleTest, TakesEmptyBlocks) {
    SoundSchedule schedule({kRate, Seconds(0), Seconds(kLead)});
    schedule.arrived(0, 0, at(0));
    EXPECT_EQ(schedule.next(at(1), kChunk).silence, kChunk);

    EXPECT_EQ(schedule.arrived(1, 8000, at(2)).silence, 0U);
    EXPECT_EQ(schedule.arrived(3, 0, at(4)).silence, 8000U); // number 2 is missing
}

} // namespace
} // namespace ovelo
