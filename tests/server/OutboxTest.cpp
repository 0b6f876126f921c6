#include "server/Outbox.h"

#include "fakes/FakeClock.h"
#include "fakes/TestLog.h"
#include "server/SocketException.h"
#include "server/SocketPair.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

namespace ovelo {
namespace {

class OutboxTest : public ::testing::Test {
protected:
    /// Sends pictures until one is not taken whole. return: the bytes that must arrive
    std::string fill() {
        std::string expected;
        const Data picture = makeData(Bytes(100000, 'p'));
        while (!outbox.isWaiting()) {
            if (outbox.sendBinary(*pair.server, "header\n", picture)) {
                expected += "header\n" + std::string(100000, 'p');
            }
        }
        return expected;
    }

    /// Reads on the client's side until so many bytes are there.
    std::string drain(std::size_t count) {
        Bytes received;
        while (received.size() < count) {
            outbox.flush(*pair.server);
            if (pair.client->isReadable()) {
                pair.client->readData(&received);
            }
        }
        return {received.begin(), received.end()};
    }

    TestLog events;
    SocketPair pair{events.log()};
    FakeClock clock;
    Outbox outbox{clock};
};

TEST_F(OutboxTest, HeaderAndPayloadArriveTogether) {
    EXPECT_TRUE(outbox.sendBinary(*pair.server, "Frame,0,3,1,0\n", makeData({'a', 'b', 'c'})));

    EXPECT_FALSE(outbox.isWaiting());
    EXPECT_EQ(drain(17), "Frame,0,3,1,0\nabc");
}

TEST_F(OutboxTest, EmptyPayloadIsAHeaderAlone) {
    EXPECT_TRUE(outbox.sendBinary(*pair.server, "Frame,0,0,1,0\n", makeData({})));

    EXPECT_EQ(drain(14), "Frame,0,0,1,0\n");
}

TEST_F(OutboxTest, WhatHadNoRoomIsFinishedLaterAndTheStreamStaysWhole) {
    std::string expected = fill();
    EXPECT_FALSE(outbox.sendBinary(*pair.server, "refused\n", makeData({1})))
        << "a late picture is dropped";
    outbox.sendText(*pair.server, "DATA_SOURCE\n");
    expected += "DATA_SOURCE\n";

    EXPECT_EQ(drain(expected.size()), expected);
    EXPECT_FALSE(outbox.isWaiting());
}

TEST_F(OutboxTest, StalledPeerFailsTheSendAfterSeconds) {
    fill();
    outbox.flush(*pair.server);
    clock.advance(Outbox::kStallLimit - std::chrono::seconds(1));
    outbox.flush(*pair.server);
    clock.advance(std::chrono::seconds(1));

    EXPECT_THROW(outbox.flush(*pair.server), SocketException);
    EXPECT_TRUE(outbox.isWaiting()) << "what is kept stays kept: half a picture must be finished";
}

TEST_F(OutboxTest, PeerThatTakesALittleIsNotStalled) {
    fill();
    for (int second = 0; second < 20 && outbox.isWaiting(); ++second) {
        Bytes some;
        for (int block = 0; block < 8; ++block) {
            pair.client->readData(&some);
        }
        clock.advance(std::chrono::seconds(4));
        outbox.flush(*pair.server);
    }
    SUCCEED() << "no send failed";
}

TEST_F(OutboxTest, SoundThatHadNoRoomWaitsInLine) {
    std::string expected = fill();

    EXPECT_TRUE(outbox.sendInLine(*pair.server, "Audio,0,3,1,0\n", makeData({'a', 'b', 'c'})));
    outbox.sendText(*pair.server, "text\n");
    EXPECT_TRUE(outbox.sendInLine(*pair.server, "Audio,1,2,1,0\n", makeData({'d', 'e'})));
    expected += "Audio,0,3,1,0\nabctext\nAudio,1,2,1,0\nde";

    EXPECT_EQ(drain(expected.size()), expected);
    EXPECT_FALSE(outbox.isWaiting());
}

TEST_F(OutboxTest, EndlessSoundToAStalledPeerIsRefusedInsteadOfGrowing) {
    std::string expected = fill();
    const std::string block(20000, 's');
    const Data sound = makeData(Bytes(block.begin(), block.end()));
    int taken = 0;
    for (int second = 0; second < 100; ++second) {
        taken += outbox.sendInLine(*pair.server, "Audio\n", sound) ? 1 : 0;
    }
    EXPECT_EQ(taken, 3);
    for (int i = 0; i < taken; ++i) {
        expected += "Audio\n" + block;
    }
    EXPECT_EQ(drain(expected.size()), expected);
    EXPECT_TRUE(outbox.sendInLine(*pair.server, "Audio\n", sound)) << "there is room again";
}

TEST_F(OutboxTest, PeerThatStallsBetweenTwoPicturesIsNoticedToo) {
    // Small blocks, until the buffer is full to the brim and nothing is kept.
    pair.server->prepareForViewer(); // a smaller buffer
    const Data byte = makeData({'p'});
    while (outbox.sendBinary(*pair.server, "", byte)) {
    }
    ASSERT_FALSE(outbox.isWaiting());
    clock.advance(Outbox::kStallLimit - std::chrono::seconds(1));
    EXPECT_FALSE(outbox.sendBinary(*pair.server, "", byte));
    clock.advance(std::chrono::seconds(1));

    EXPECT_THROW(outbox.sendBinary(*pair.server, "", byte), SocketException);
}

TEST_F(OutboxTest, OneTextMayBeLongerThanAllThatMayWait) {
    std::string expected = fill();
    const std::string text = std::string(2 * Outbox::kMostText, 'l') + "\n";
    outbox.sendText(*pair.server, text);
    EXPECT_THROW(outbox.sendText(*pair.server, "another\n"), SocketException);

    expected += text;
    EXPECT_EQ(drain(expected.size()), expected);
    EXPECT_NO_THROW(outbox.sendText(*pair.server, text)) << "there is room again";
}

TEST_F(OutboxTest, EndlessTextsToAStalledPeerFailInsteadOfGrowing) {
    fill();
    const std::string text(1000, 't');

    EXPECT_THROW(
        {
            for (std::size_t sent = 0; sent < 2 * Outbox::kMostText; sent += text.size()) {
                outbox.sendText(*pair.server, text);
            }
        },
        SocketException);
}

} // namespace
} // namespace ovelo
