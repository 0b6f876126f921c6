#include "server/LineBuffer.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace ovelo {
namespace {

using Result = LineBuffer::Result;

class LineBufferTest : public ::testing::Test {
protected:
    void receive(std::string_view bytes) {
        buffer.bytes().insert(buffer.bytes().end(), bytes.begin(), bytes.end());
    }
    std::vector<std::string> lines() {
        std::vector<std::string> all;
        std::string line;
        for (Result result = buffer.next(line); result != Result::None;
             result = buffer.next(line)) {
            all.push_back(result == Result::Line ? line : "(dropped)");
        }
        return all;
    }

    LineBuffer buffer;
};

using Lines = std::vector<std::string>;

TEST_F(LineBufferTest, LineInTwoPiecesIsDeliveredOnceWhenItsLineFeedArrives) {
    receive("Hel");
    EXPECT_EQ(lines(), Lines{});
    receive("lo,");
    EXPECT_EQ(lines(), Lines{});
    receive("\n");
    EXPECT_EQ(lines(), Lines{"Hello,"});
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(LineBufferTest, TwoLinesInOnePacketAreDeliveredOneByOne) {
    receive("Sync,0\nStart,a|b\nHe");

    EXPECT_EQ(lines(), (Lines{"Sync,0", "Start,a|b"}));
    receive("llo,\n");
    EXPECT_EQ(lines(), Lines{"Hello,"});
}

TEST_F(LineBufferTest, CarriageReturnStaysAtTheEnd) {
    receive("Password,x\r\n");

    EXPECT_EQ(lines(), Lines{"Password,x\r"});
}

TEST_F(LineBufferTest, WhatFollowsANulByteIsLost) {
    using namespace std::string_view_literals;
    receive("Hello,\0hidden\nnext,\n"sv);

    EXPECT_EQ(lines(), (Lines{"Hello,", "next,"}));
}

TEST_F(LineBufferTest, EmptyLinesAreLines) {
    receive("\n\n");

    EXPECT_EQ(lines(), (Lines{"", ""}));
}

TEST_F(LineBufferTest, LineOf2047BytesPassesAndOneMoreIsDroppedWhole) {
    receive(std::string(2047, 'a') + "\n" + std::string(2048, 'b') + "\nHello,\n");

    EXPECT_EQ(lines(), (Lines{std::string(2047, 'a'), "(dropped)", "Hello,"}));
}

TEST_F(LineBufferTest, LineThatIsNotUtf8IsDroppedAndTheNextOneRead) {
    receive("Start,\xff\xfe\nStart,Caf\xc3\xa9\n");

    EXPECT_EQ(lines(), (Lines{"(dropped)", "Start,Café"}));
}

TEST_F(LineBufferTest, MoreThanAMebibyteWithoutLineFeedIsAFlood) {
    receive(std::string(LineBuffer::kMostPending, 'x'));
    EXPECT_EQ(lines(), Lines{});
    EXPECT_FALSE(buffer.isFlooded());

    receive("x");

    EXPECT_EQ(lines(), Lines{});
    EXPECT_TRUE(buffer.isFlooded());
}

TEST_F(LineBufferTest, ManyLinesAreNotAFlood) {
    std::string many;
    for (int line = 0; line < 300000; ++line) {
        many += "Hello,\n";
    }
    receive(many);

    EXPECT_EQ(lines().size(), 300000U);
    EXPECT_FALSE(buffer.isFlooded());
    EXPECT_TRUE(buffer.bytes().empty());
}

} // namespace
} // namespace ovelo
