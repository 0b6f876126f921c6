#include "server/Queue.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

Frame frame(std::uint32_t id) {
    return {makeData({static_cast<std::uint8_t>(id)}), {id, 0, false}, {}};
}

TEST(QueueTest, EmptyQueueHasNothingToPeekAtOrGet) {
    Queue queue;

    EXPECT_EQ(queue.peek(), nullptr);
    EXPECT_FALSE(queue.get());
    EXPECT_EQ(queue.count(), 0U);
}

TEST(QueueTest, FirstInIsFirstOut) {
    Queue queue;
    queue.add(frame(1));
    queue.add(frame(2));
    queue.add(frame(3));

    EXPECT_EQ(queue.count(), 3U);
    EXPECT_EQ(queue.peek()->syncData.frameID, 1U);
    EXPECT_EQ(queue.count(), 3U) << "peek changes nothing";
    EXPECT_EQ(queue.get()->syncData.frameID, 1U);
    EXPECT_EQ(queue.get()->syncData.frameID, 2U);
    queue.add(frame(4));
    EXPECT_EQ(queue.get()->syncData.frameID, 3U);
    EXPECT_EQ(queue.get()->syncData.frameID, 4U);
    EXPECT_FALSE(queue.get());
}

TEST(QueueTest, TakenFramesAreOwnedByTheTakerAlone) {
    Queue queue;
    const Data bytes = makeData({1, 2, 3});
    queue.add({bytes, {}, {}});
    EXPECT_EQ(bytes.use_count(), 2);

    queue.get();

    EXPECT_EQ(bytes.use_count(), 1) << "nodes kept for later use hold no bytes";
}

TEST(QueueTest, ReleasingTheQueueReleasesItsFrames) {
    const Data bytes = makeData({1});
    {
        Queue queue;
        queue.add({bytes, {}, {}});
        queue.add({bytes, {}, {}});
        EXPECT_EQ(bytes.use_count(), 3);
    }
    EXPECT_EQ(bytes.use_count(), 1);
}

TEST(QueueTest, CountCanBeSet) {
    Queue queue;
    queue.setCount(7);

    EXPECT_EQ(queue.count(), 7U);
}

} // namespace
} // namespace ovelo
