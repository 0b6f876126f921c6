#include "nat/LineQueue.h"

#include "fakes/TestLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace ovelo {
namespace {

using namespace std::string_literals;

class LineQueueTest : public ::testing::Test {
protected:
    void feed(const std::string& bytes) {
        const auto room = queue.room();
        ASSERT_LE(bytes.size(), room.size());
        std::copy(bytes.begin(), bytes.end(), room.begin());
        queue.noteReceived(bytes.size());
    }

    /// The next line; "(none)" without one.
    std::string take() {
        std::string line;
        LineQueue::Search search;
        return queue.takeLine(line, search) ? line : "(none)";
    }

    TestLog events;
    LineQueue queue{events.log()};
};

TEST_F(LineQueueTest, LineIsFoundBehindStrayBytes) {
    feed("?!?HEADERhello\nTRAILER");

    EXPECT_EQ(take(), "hello");
    EXPECT_TRUE(events.contains("ReadLine(): header skip <3>\n"));
    EXPECT_TRUE(events.contains("ReadLine <hello>\n"));
    EXPECT_TRUE(events.contains("QueueBufSize <0>\n"));
}

TEST_F(LineQueueTest, ProbesBeforeALineAreSkipped) {
    feed("UDPUDPUDPUDPUDPUDPUDPUDPHEADERStart\nTRAILER");

    EXPECT_EQ(take(), "Start");
    EXPECT_TRUE(events.contains("header skip <24>"));
}

TEST_F(LineQueueTest, LineFeedOfTheNextLineIsTakenForOneWithout) {
    feed("HEADERabcTRAILERHEADERdef\nTRAILER");

    EXPECT_EQ(take(), "abc");
    EXPECT_TRUE(events.contains("QueueBufSize <16>\n"));
    EXPECT_EQ(take(), "(none)") << "its line feed is gone";
    feed("\n");
    EXPECT_EQ(take(), "def");
}

TEST_F(LineQueueTest, OneLineFeedIsRemovedWhereverItStands) {
    feed("HEADERa\nb\nTRAILER");

    EXPECT_EQ(take(), "ab\n");
}

TEST_F(LineQueueTest, LineMayComeInPiecesOfOneByte) {
    LineQueue::Search search;
    std::string line;
    const std::string whole = "xHEADERhello\nTRAILERHEA";
    for (std::size_t i = 0; i < whole.size() - 4; ++i) {
        feed(whole.substr(i, 1));
        EXPECT_FALSE(queue.takeLine(line, search)) << i;
    }

    feed("RHEA");

    EXPECT_TRUE(queue.takeLine(line, search));
    EXPECT_EQ(line, "hello");
    EXPECT_EQ(queue.size(), 3U);
}

TEST_F(LineQueueTest, ZeroByteHidesWhatIsBehindIt) {
    feed("ab\0HEADERhello\nTRAILER"s);
    EXPECT_EQ(take(), "(none)");

    std::array<std::uint8_t, 3> taken{};
    EXPECT_EQ(queue.takeBytes(taken), 3U);

    EXPECT_EQ(take(), "hello") << "what was before it has been consumed";
}

TEST_F(LineQueueTest, ZeroByteWithinALineHidesItsEnd) {
    feed("HEADERhel\0lo\nTRAILER"s);

    EXPECT_EQ(take(), "(none)");
}

TEST_F(LineQueueTest, FullQueueKeepsItsLastHundredBytes) {
    feed(std::string(LineQueue::kCapacity - 8, 'x') + "HEADERab");
    LineQueue::Search search;

    EXPECT_TRUE(queue.room().empty());
    EXPECT_TRUE(queue.resetOverflow(search));

    EXPECT_EQ(queue.size(), 100U);
    EXPECT_TRUE(events.contains("ReadLine(): reset overflow\n"));
    feed("c\nTRAILER");
    EXPECT_EQ(take(), "abc");
    EXPECT_TRUE(events.contains("header skip <92>"));
}

TEST_F(LineQueueTest, QueueWithRoomIsNotReset) {
    LineQueue::Search search;
    feed(std::string(LineQueue::kCapacity - 1, 'x'));

    EXPECT_FALSE(queue.resetOverflow(search));
    EXPECT_EQ(queue.size(), LineQueue::kCapacity - 1);
}

TEST_F(LineQueueTest, SearchForATrailerGoesOnThroughAnOverflow) {
    LineQueue::Search search;
    std::string line;
    feed("HEADER\n" + std::string(LineQueue::kCapacity - 7, 'x'));
    EXPECT_FALSE(queue.takeLine(line, search));
    feed("y");
    ASSERT_TRUE(queue.resetOverflow(search));
    feed("TRAILER");

    EXPECT_TRUE(queue.takeLine(line, search));
    EXPECT_EQ(line, std::string(93, 'x') + "y") << "the first six bytes count as the header";
}

TEST_F(LineQueueTest, TrailerInTheHeadersPlaceIsAnEmptyLine) {
    LineQueue::Search search{2, 0};
    std::string line = "before";
    feed("abTRAILERrest");

    EXPECT_TRUE(queue.takeLine(line, search));
    EXPECT_EQ(line, "");
    EXPECT_EQ(queue.size(), 4U);
}

TEST_F(LineQueueTest, EmptyLine) {
    feed("HEADER\nTRAILER");

    EXPECT_EQ(take(), "");
}

} // namespace
} // namespace ovelo
