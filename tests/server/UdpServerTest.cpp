#include "server/UdpServer.h"

#include "fakes/Eventually.h"
#include "fakes/UdpPeer.h"
#include "server/FakeInternet.h"
#include "server/TestServer.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <optional>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

const std::string kProbe = "UDPUDPUDPUDP";

class UdpServerTest : public ::testing::Test {
protected:
    void start() {
        server.emplace(internet.parts());
        server->start();
    }
    std::chrono::steady_clock::duration stop() {
        const auto begin = std::chrono::steady_clock::now();
        server->stop();
        return std::chrono::steady_clock::now() - begin;
    }
    std::size_t count(const std::string& text) const {
        const std::string log = server->events.text();
        std::size_t found = 0;
        for (auto at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
            ++found;
        }
        return found;
    }

    FakeInternet internet;
    std::optional<TestServer> server;
};

TEST_F(UdpServerTest, PublicAddressIsRegisteredAndPeersAreAskedFor) {
    start();

    ASSERT_TRUE(eventually([&] { return !internet.forms("MatchWS.aspx").empty(); }));
    const std::string form = internet.forms("IntroducerWS.aspx").front();
    const auto has = [&form](const std::string& name, const std::string& value) {
        return form.find("name=\"" + name + "\"\r\n\r\n" + value + "\r\n") != std::string::npos;
    };
    EXPECT_TRUE(has("access_id", "me@example.org"));
    EXPECT_TRUE(has("service_id", "Ovelo"));
    EXPECT_TRUE(has("is_server", "1"));
    EXPECT_TRUE(has("udp_port", "1726"));
    EXPECT_TRUE(has("mapped_ip", "127.0.0.1"));
    EXPECT_TRUE(has("mapped_port", std::to_string(internet.port)));
    EXPECT_TRUE(has("nat_type", "2"));
    EXPECT_NE(internet.forms("MatchWS.aspx").front().find("is_server\"\r\n\r\n0\r\n"),
              std::string::npos);
    EXPECT_TRUE(server->events.contains(": regToStunServer() returns: 1\n"));
}

TEST_F(UdpServerTest, FailedRegistrationWithStunIsTriedAgainAndAsksNobody) {
    internet.natType = [](int) { return NatTypeBlocked; };
    start();

    EXPECT_TRUE(eventually([&] { return internet.stunRounds > 2; }));
    EXPECT_TRUE(server->events.contains(": regToStunServer() returns: 0\n"));
    EXPECT_TRUE(internet.forms("MatchWS.aspx").empty());
}

TEST_F(UdpServerTest, RoundsGoOnWithoutAService) {
    internet.withoutService();
    start();

    EXPECT_TRUE(eventually([&] { return internet.stunRounds > 2; }));
    EXPECT_NE(internet.log().find("UDP Reg Failed to submit request"), std::string::npos);
}

TEST_F(UdpServerTest, RegistrationIsNotSentAgainWithinHalfAMinute) {
    auto parts = internet.parts();
    parts.pauses.renew = 30s;
    server.emplace(std::move(parts));
    server->start();

    EXPECT_TRUE(eventually([&] { return internet.stunRounds > 3; }));
    EXPECT_EQ(internet.forms("IntroducerWS.aspx").size(), 1U);
    EXPECT_EQ(internet.forms("MatchWS.aspx").size(), 1U);
}

TEST_F(UdpServerTest, PeerThatCannotBeReachedIsTriedThreeTimesAndDropped) {
    auto parts = internet.parts();
    parts.pauses.renew = 30s; // so that the service names it once
    server.emplace(std::move(parts));
    internet.answerMatches(FakeInternet::peer(0)); // fails at once
    server->start();

    ASSERT_TRUE(eventually([&] { return count(": UDP StartP2P failed\n") == 3; }));
    const int rounds = internet.stunRounds;
    EXPECT_TRUE(eventually([&] { return internet.stunRounds > rounds + 2; }));
    EXPECT_EQ(count(": UDP StartP2P failed\n"), 3U);
}

TEST_F(UdpServerTest, FirstPeerOfTheListIsTriedFirst) {
    UdpPeer first;
    UdpPeer second;
    const auto element = [](std::uint16_t port) {
        return "<Introducer gateway_ip=\"127.0.0.1\" mapped_port=\"" + std::to_string(port) +
               "\"/>";
    };
    internet.answerMatches("OK <Result>" + element(first.port()) + element(second.port()) +
                           "</Result>");
    start();

    EXPECT_EQ(first.receive(), kProbe);
    EXPECT_FALSE(second.receive(20ms));
}

TEST_F(UdpServerTest, StoppingInTheMiddleOfAHolePunchIsQuick) {
    UdpPeer silent;
    internet.answerMatches(FakeInternet::peer(silent.port()));
    start();
    ASSERT_EQ(silent.receive(), kProbe);

    EXPECT_LT(stop(), 1s);
}

TEST_F(UdpServerTest, StoppingWhileStunServersAreSilentIsQuick) {
    std::atomic<bool> isWaiting = false;
    internet.natType = [&](int wakeFd) {
        isWaiting = true;
        pollfd waiting{wakeFd, POLLIN, 0};
        ::poll(&waiting, 1, 30000);
        return NatTypeBlocked;
    };
    start();
    ASSERT_TRUE(eventually([&] { return isWaiting.load(); }));

    EXPECT_LT(stop(), 1s);
}

TEST_F(UdpServerTest, StoppingInALongPauseIsQuick) {
    auto parts = internet.parts();
    parts.pauses = {};
    server.emplace(std::move(parts));
    server->start();
    ASSERT_TRUE(eventually([&] { return !internet.forms("MatchWS.aspx").empty(); }));

    EXPECT_LT(stop(), 1s);
}

TEST_F(UdpServerTest, ServerCanBeStoppedAtOnce) {
    start();

    EXPECT_LT(stop(), 1s);
}

/// The list of peers, without a thread.
class UdpServerPeersTest : public ::testing::Test {
protected:
    FakeInternet internet;
    TestLog events;
    MemorySettings settings;
    UdpServer server{{internet.parts().natBuster, settings, events.log(), Clock::system(), {}}};
};

TEST_F(UdpServerPeersTest, ReplyReplacesThePeers) {
    server.matchCompleted(FakeInternet::peer(40000, "192.0.2.7"));
    server.matchCompleted(FakeInternet::peer(40001, "192.0.2.8"));

    EXPECT_EQ(server.peerUdpAddrList(),
              (std::vector<MapAddr>{{"", "192.0.2.8", 40001, MapAddr::kPeer}}));
}

TEST_F(UdpServerPeersTest, ReplyThatNamesNobodyKeepsThePeers) {
    server.matchCompleted(FakeInternet::peer(40000, "192.0.2.7"));
    for (const char* reply :
         {"OK <Result></Result>", "Failed", "ERROR <Result/>", "OK <Resu", "OK", ""}) {
        server.matchCompleted(reply);
        EXPECT_EQ(server.peerUdpAddrList().size(), 1U) << reply;
    }
}

TEST_F(UdpServerPeersTest, AddressIsUnknownBeforeTheFirstRound) {
    EXPECT_FALSE(server.myMapAddr());
}

TEST(NetworkRegistrationTest, PublicTcpPortIsRegisteredOnTheMainThreadFromTheCreationOn) {
    std::atomic<int> registrations = 0;
    std::atomic<bool> onMain = true;
    Network::Internet internet;
    internet.registerTcpPort = [&] {
        ++registrations;
        onMain = onMain && MainThread::isCurrent();
    };
    TestServer server(std::move(internet));

    EXPECT_TRUE(eventually([&] { return registrations == 1; }));
    EXPECT_TRUE(onMain);
    const auto begin = std::chrono::steady_clock::now();
    server.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    EXPECT_EQ(registrations, 1);
}

} // namespace
} // namespace ovelo
