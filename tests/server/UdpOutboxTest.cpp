#include "server/UdpOutbox.h"

#include "fakes/FakeClock.h"
#include "fakes/TestLog.h"
#include "fakes/UdpPeer.h"
#include "nat/UdpStream.h"
#include "server/SocketException.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

class UdpOutboxTest : public ::testing::Test {
protected:
    UdpOutboxTest() {
        open.StartServer(0);
        viewer.send("HEADERHello,\nTRAILER", open.localPort());
        std::string line;
        open.ReadLine(line); // now it knows where to send
    }
    static Data bytes(std::size_t count) { return makeData(Bytes(count, 'p')); }

    FakeClock clock;
    TestLog events;
    UdpPeer viewer;
    UdpStream open{events.log()};
    UdpStream broken{events.log()}; // without a socket: every send fails
    UdpOutbox outbox{clock};
};

TEST_F(UdpOutboxTest, WhatTheSystemTakesIsGoneAtOnce) {
    EXPECT_TRUE(outbox.sendText(open, "a line\n"));
    EXPECT_TRUE(outbox.sendBinary(open, "Frame,0,3,5,0\n", bytes(3)));

    EXPECT_FALSE(outbox.isWaiting());
    EXPECT_EQ(viewer.receive(), "HEADERa line\nTRAILER");
    EXPECT_EQ(viewer.receive(), "HEADERFrame,0,3,5,0\nTRAILERpppTRAILER");
}

TEST_F(UdpOutboxTest, WhileSomethingIsKeptPicturesAreRefusedAndTheRestWaitsInOrder) {
    EXPECT_TRUE(outbox.sendBinary(broken, "Frame,0,1,5,0\n", bytes(1)));
    EXPECT_TRUE(outbox.isWaiting());

    EXPECT_FALSE(outbox.sendBinary(open, "Frame,1,1,5,0\n", bytes(1)));
    EXPECT_TRUE(outbox.sendText(open, "a line\n"));
    EXPECT_TRUE(outbox.sendInLine(open, "Audio,0,1,5,0\n", bytes(1)));
    EXPECT_FALSE(viewer.receive(0ms));

    outbox.flush(open);
    EXPECT_FALSE(outbox.isWaiting());
    EXPECT_EQ(viewer.receive(), "HEADERFrame,0,1,5,0\nTRAILERpTRAILER");
    EXPECT_EQ(viewer.receive(), "HEADERa line\nTRAILER");
    EXPECT_EQ(viewer.receive(), "HEADERAudio,0,1,5,0\nTRAILERpTRAILER");
}

TEST_F(UdpOutboxTest, OnlySoMuchWaits) {
    outbox.sendText(broken, "first\n");

    EXPECT_TRUE(outbox.sendInLine(broken, "Audio,0,1,5,0\n", bytes(60000)));
    EXPECT_FALSE(outbox.sendInLine(broken, "Audio,1,1,5,0\n", bytes(60000)));
    EXPECT_FALSE(outbox.sendText(broken, std::string(60000, 't')));
    EXPECT_TRUE(outbox.sendText(broken, "short\n"));
}

TEST_F(UdpOutboxTest, TextThatFitsIntoNoDatagramIsRefused) {
    EXPECT_FALSE(outbox.sendText(open, std::string(UdpOutbox::kLongestText + 1, 't')));
    EXPECT_TRUE(outbox.sendText(open, std::string(UdpOutbox::kLongestText, 't')));
    EXPECT_FALSE(outbox.isWaiting());
}

TEST_F(UdpOutboxTest, SendThatFindsNoRoomForSecondsFails) {
    outbox.sendBinary(broken, "Frame,0,1,5,0\n", bytes(1));
    clock.advance(5s);
    EXPECT_NO_THROW(outbox.flush(broken));

    clock.advance(1s);

    EXPECT_THROW(outbox.flush(broken), SocketException);
    EXPECT_TRUE(outbox.isWaiting());
}

TEST_F(UdpOutboxTest, ProgressPutsTheFailureOff) {
    outbox.sendBinary(broken, "Frame,0,1,5,0\n", bytes(1));
    outbox.sendText(broken, "a line\n");
    outbox.sendText(broken, std::string(10, 't'));
    clock.advance(5s);
    outbox.flush(open);

    EXPECT_FALSE(outbox.isWaiting());
}

} // namespace
} // namespace ovelo
