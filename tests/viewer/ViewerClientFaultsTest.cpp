// What a client does with servers that fail, lie or are no viewer servers.

#include "viewer/ViewerClientFixture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

class ViewerClientFaultsTest : public ViewerClientFixture {};

TEST_F(ViewerClientFaultsTest, TellsThatTheServerClosedAfterEverythingItSaid) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");
    server_.hear(); // Sync, so that closing is orderly
    server_.say("last words\n");
    server_.hangUp();

    const auto text = nextOf<TextEvent>(client);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->line, "last words");
    const auto lost = nextOf<LostEvent>(client);
    ASSERT_TRUE(lost);
    EXPECT_FALSE(lost->reason.empty());
    EXPECT_FALSE(client.next(0ms));
    EXPECT_FALSE(client.sendLine("Hello,"));
}

TEST_F(ViewerClientFaultsTest, GivesUpAPictureThatIsCutShort) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");
    server_.hear(); // Sync
    server_.say("Frame,1,1000,9,0\nabc");
    server_.hangUp();

    EXPECT_TRUE(nextOf<LostEvent>(client));
}

TEST_F(ViewerClientFaultsTest, TellsThatTheConnectionBroke) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");
    server_.reset();

    EXPECT_TRUE(nextOf<LostEvent>(client));
}

class ForeignServerTest : public ViewerClientFaultsTest,
                          public testing::WithParamInterface<const char*> {};

TEST_P(ForeignServerTest, IsLeftWithAReason) {
    ViewerClient client(options());
    ASSERT_FALSE(client.connect());
    ASSERT_TRUE(server_.accept());
    server_.say(GetParam());

    const auto lost = nextOf<LostEvent>(client);

    ASSERT_TRUE(lost);
    EXPECT_NE(lost->reason.find("not a viewer server"), std::string::npos);
    for (const char c : lost->reason) {
        EXPECT_TRUE(c >= ' ' && c <= '~');
    }
}

INSTANTIATE_TEST_SUITE_P(Greetings, ForeignServerTest,
                         testing::Values("SSH-2.0-x\r\n", "HTTP/1.1 400 Bad Request\r\n\r\n", "\n",
                                         "\x1b[2J\xff\xfe\n", "connected\n", "CONNECTED,PASS2\n",
                                         "Frame,0,1,1,0\nx"));

TEST_F(ViewerClientFaultsTest, LeavesAServerThatClaimsAHugePicture) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");
    server_.say("Frame,1,4000000000,9,0\n");

    const auto lost = nextOf<LostEvent>(client);

    ASSERT_TRUE(lost);
    EXPECT_NE(lost->reason.find("4000000000"), std::string::npos);
}

TEST_F(ViewerClientFaultsTest, LeavesAServerThatNeverEndsItsLine) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");
    std::thread sender([&] {
        try {
            server_.say(std::string(2 * ViewerStream::kMaxLine, 'x'));
        } catch (const std::exception&) {
            // The client has hung up, as it should.
        }
    });

    EXPECT_TRUE(nextOf<LostEvent>(client));
    sender.join();
}

TEST_F(ViewerClientFaultsTest, LeavesAServerThatDoesNotGreet) {
    auto given = options();
    given.connectTimeout = 20ms;
    ViewerClient client(given);
    ASSERT_FALSE(client.connect());

    const auto lost = nextOf<LostEvent>(client);

    ASSERT_TRUE(lost);
    EXPECT_EQ(lost->reason, "the server does not say anything");
}

TEST_F(ViewerClientFaultsTest, SaysWhyItCannotConnect) {
    std::uint16_t closedPort = 0;
    {
        const ScriptedServer gone;
        closedPort = gone.port();
    }
    auto given = options();
    given.port = closedPort;
    ViewerClient client(given);

    const auto failure = client.connect();

    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->text, "Connection refused");
    EXPECT_FALSE(client.next(0ms));
}

TEST_F(ViewerClientFaultsTest, LeavesAServerThatTakesNoCommands) {
    ViewerClient client(options());
    meet(client, "CONNECTED\n");
    const std::string line = "Start," + std::string(2000, 'x');

    int sent = 0;
    while (client.sendLine(line)) {
        ASSERT_LT(++sent, 100000);
    }

    const auto lost = nextOf<LostEvent>(client);
    ASSERT_TRUE(lost);
    EXPECT_EQ(lost->reason, "the server does not take our commands");
}

} // namespace
} // namespace ovelo
