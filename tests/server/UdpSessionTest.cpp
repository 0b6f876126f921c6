// A session on UDP, through the whole server, with a plain socket for a viewer.

#include "fakes/Eventually.h"
#include "fakes/Peer.h"
#include "fakes/UdpPeer.h"
#include "server/FakeInternet.h"
#include "server/NetworkInstance.h"
#include "server/TestServer.h"

#include <gtest/gtest.h>

#include <optional>
#include <regex>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

constexpr auto kAWhile = std::chrono::milliseconds(60);
const std::string kProbe = "UDPUDPUDPUDP";

class UdpSessionTest : public ::testing::Test {
protected:
    /// Starts the server and lets it find the viewer.
    void start(std::chrono::milliseconds silence = 10s) {
        auto parts = internet.parts();
        parts.udpSilence = silence;
        server.emplace(std::move(parts));
        if (!password.empty()) {
            server->settings.setString("password", password);
        }
        server->settings.setBoolean("udpPeerLock", isPeerLocked);
        internet.answerMatches(FakeInternet::peer(viewer.port()));
        server->start();
        meet();
    }
    void meet() {
        ASSERT_EQ(viewer.receive(), kProbe);
        viewer.reply(kProbe);
        EXPECT_EQ(viewer.receive(), kProbe);
    }
    void send(const std::string& line) { viewer.reply("HEADER" + line + "\nTRAILER"); }

    /// The next line, with its line feed, of its frame; "" when something else comes.
    std::string line() {
        const std::string datagram = viewer.receive(2s).value_or("");
        std::smatch parts;
        return std::regex_match(datagram, parts, std::regex("HEADER([^]*\\n)TRAILER"))
                   ? parts[1].str()
                   : "";
    }
    void roundTrip() {
        send("GetSources,");
        EXPECT_EQ(line(), "DATA_SOURCE|Camera A|id|v|1\n");
    }
    /// A started session without delay.
    void watch() {
        start();
        EXPECT_EQ(line(), "CONNECTED\n");
        EXPECT_EQ(line(), "VERSION,1.000000,Low,0,0,0\n");
        send("Sync,0");
        roundTrip();
    }
    bool staysSilent() { return !viewer.receive(kAWhile); }
    void sendPicture(const std::string& bytes) {
        server->network->sendImageData(makeData(Bytes(bytes.begin(), bytes.end())));
    }

    FakeInternet internet;
    UdpPeer viewer;
    std::string password;
    bool isPeerLocked = false;
    std::optional<TestServer> server;
};

TEST_F(UdpSessionTest, WithoutPasswordGreetsSendsTheVersionAndStreams) {
    watch();
    EXPECT_EQ(server->networkStatus(), "Accepted connection (U) 127.0.0.1");
    EXPECT_TRUE(server->network->hasClient());

    sendPicture("jpeg");

    const std::string block = viewer.receive().value_or("");
    EXPECT_TRUE(std::regex_match(block, std::regex("HEADERFrame,0,4,[0-9]+,0\nTRAILERjpegTRAILER")))
        << block;
}

TEST_F(UdpSessionTest, PictureComesInDatagramsOfAThousandBytes) {
    watch();

    sendPicture(std::string(2500, 'p'));

    std::string block = viewer.receive().value_or("");
    EXPECT_EQ(block.size(), 1000U);
    const std::size_t header = block.find("TRAILER") + 7;
    const std::size_t whole = header + 2500 + 7;
    EXPECT_EQ(viewer.receive().value_or("").size(), 1000U);
    const std::string last = viewer.receive().value_or("");
    EXPECT_EQ(last.size(), whole - 2000);
    EXPECT_TRUE(last.ends_with("pTRAILER"));
}

TEST_F(UdpSessionTest, EmptyPictureIsNumberedButNotSent) {
    watch();

    sendPicture("");
    sendPicture("a");

    EXPECT_TRUE(viewer.receive().value_or("").starts_with("HEADERFrame,1,1,"));
}

TEST_F(UdpSessionTest, WithAPasswordSendsNothingUntilItCame) {
    password = "pw";
    start();
    EXPECT_EQ(line(), "CONNECTED,PASS\n");
    EXPECT_FALSE(server->network->hasClient());
    server->network->sendText("TEXT\n");
    sendPicture("x");
    EXPECT_TRUE(staysSilent());

    send("Password,wrong");
    EXPECT_EQ(line(), "AUTH_FALLED\n");
    send("Password,pw");
    EXPECT_EQ(line(), "AUTH_OK\n");
    EXPECT_EQ(line(), "VERSION,1.000000,Low,0,0,0\n");

    sendPicture("x");
    server->network->sendText("TEXT\n");
    EXPECT_EQ(line(), "TEXT\n") << "a session that is not started gets texts alone";
    send("Sync,-0.001");
    send("Start,Camera A|Mic");
    roundTrip();
    sendPicture("yz");
    const std::string block = viewer.receive().value_or("");
    EXPECT_TRUE(block.starts_with("HEADERFrame,2,2,")) << block << ": dropped ones are numbered";
    send("Stop,");
    roundTrip();
    sendPicture("x");
    EXPECT_TRUE(staysSilent());
}

TEST_F(UdpSessionTest, SoundComesWhenAskedFor) {
    watch();
    server->network->sendAudioData(makeData({'a'}));
    EXPECT_TRUE(staysSilent());

    send("Audio,1");
    EXPECT_EQ(line(), "CONFIG_AUDIO,8000.000000\n");
    roundTrip();
    server->network->sendAudioData(makeData({'b', 'c'}));

    EXPECT_TRUE(std::regex_match(viewer.receive().value_or(""),
                                 std::regex("HEADERAudio,0,2,[0-9]+,0\nTRAILERbcTRAILER")));
}

TEST_F(UdpSessionTest, ViewerThatIsSilentIsDroppedAndStaysInTheRegistry) {
    start(50ms);
    EXPECT_EQ(line(), "CONNECTED\n");

    EXPECT_TRUE(eventually([&] { return server->networkStatus() == "Waiting for connection..."; }));
    EXPECT_TRUE(server->events.contains(
        "readThread() exception: No response: assuming client disconnect."));
    EXPECT_TRUE(eventually([&] { return !server->network->hasClient(); }));
    EXPECT_EQ(server->network->sessionCount(), 1U);
    EXPECT_TRUE(server->document.calls().empty()) << "no clientDisconnected";
}

TEST_F(UdpSessionTest, ViewerThatKeepsTalkingStays) {
    start(100ms);
    EXPECT_EQ(line(), "CONNECTED\n");
    EXPECT_NE(line(), "");

    const auto end = std::chrono::steady_clock::now() + 400ms;
    while (std::chrono::steady_clock::now() < end) {
        send("Hello,");
        EXPECT_TRUE(viewer.receive(10ms) == std::nullopt);
    }

    EXPECT_TRUE(server->network->hasClient());
}

TEST_F(UdpSessionTest, AnotherSessionFollowsTheOneThatIsOver) {
    start(50ms);
    EXPECT_EQ(line(), "CONNECTED\n");
    EXPECT_NE(line(), "");

    meet();

    EXPECT_EQ(line(), "CONNECTED\n");
    EXPECT_EQ(server->network->sessionCount(), 2U);
}

TEST_F(UdpSessionTest, RepliesGoToWhoeverSentLast) {
    watch();
    UdpPeer other;
    other.send("HEADERGetSources,\nTRAILER", internet.port);

    EXPECT_EQ(other.receive(), "HEADERDATA_SOURCE|Camera A|id|v|1\nTRAILER");
}

TEST_F(UdpSessionTest, RightPasswordLocksThePeerWhenThatIsSet) {
    isPeerLocked = true;
    password = "pw";
    start();
    EXPECT_EQ(line(), "CONNECTED,PASS\n");
    UdpPeer other;
    other.send("HEADERGetSources,\nTRAILER", internet.port);
    EXPECT_TRUE(other.receive()) << "not locked before the password";
    send("Password,wrong");
    EXPECT_EQ(line(), "AUTH_FALLED\n");
    other.send("HEADERGetSources,\nTRAILER", internet.port);
    EXPECT_TRUE(other.receive()) << "nor by a wrong one";

    send("Password,pw");
    EXPECT_EQ(line(), "AUTH_OK\n");
    EXPECT_NE(line(), "");
    other.send("HEADERGetSources,\nTRAILER", internet.port);

    EXPECT_FALSE(other.receive(kAWhile));
    roundTrip();
}

TEST_F(UdpSessionTest, LineThatIsNotTextIsDropped) {
    watch();
    send("Start,\xff\xfe");
    roundTrip();

    EXPECT_TRUE(server->events.contains("dropped a line that is not UTF-8"));
    EXPECT_TRUE(server->document.calls().empty());
}

TEST_F(UdpSessionTest, StrayDatagramsDisturbNobody) {
    watch();
    Peer local(server->port());
    ASSERT_EQ(local.line(), "CONNECTED");
    ASSERT_TRUE(local.line());
    local.send("Sync,0\nGetSources,\n");
    ASSERT_TRUE(local.line());
    UdpPeer stranger;
    std::atomic<bool> done = false;
    std::jthread flood([&] {
        while (!done) {
            stranger.send("", internet.port);
            stranger.send(std::string(700, 's'), internet.port);
        }
    });

    for (int index = 0; index < 50; ++index) {
        sendPicture("p");
        ASSERT_TRUE(local.line()) << index;
        ASSERT_EQ(local.bytes(1), "p");
    }
    done = true;
}

TEST_F(UdpSessionTest, PacingOfASessionThatIsOverGoesOn) {
    start(50ms);
    EXPECT_EQ(line(), "CONNECTED\n");
    send("FrameRate,-0.333"); // 1 / 0.005 s
    EXPECT_TRUE(eventually([&] { return server->networkStatus() == "Waiting for connection..."; }));

    EXPECT_FALSE(server->network->shouldSkipFrame());
    EXPECT_TRUE(server->network->shouldSkipFrame());
}

TEST_F(UdpSessionTest, StoppingInTheMiddleOfASessionIsQuick) {
    watch();
    const auto begin = std::chrono::steady_clock::now();

    server->stop();

    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    EXPECT_TRUE(server->events.contains(": UDP: Stopping server"));
    EXPECT_TRUE(UdpPeer("0.0.0.0", internet.port).isBound()) << "the port is free";
}

} // namespace
} // namespace ovelo
