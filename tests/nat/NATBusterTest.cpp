#include "nat/NATBuster.h"

#include "fakes/ConsoleText.h"
#include "fakes/FakeHttp.h"
#include "fakes/TestLog.h"
#include "platform/MemorySettings.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ovelo {
namespace {

class NATBusterTest : public ::testing::Test {
protected:
    NATBusterTest() { settings.setString("serviceUrl", "https://watch.example.org/"); }

    bool registerAll() {
        bool result = false;
        console += consoleText([&] {
            result = buster.regToInstruducer("me@example.org", "Ovelo", true, "1726", "192.0.2.7",
                                             "40000", 6);
        });
        return result;
    }
    bool match() {
        return buster.MatchInstruducer(
            "me@example.org", "Ovelo", false,
            [this](const std::string& reply) { replies.push_back(reply); });
    }

    /// The field of a form, as it stands.
    static std::string field(const std::string& name, const std::string& value) {
        return "Content-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value +
               "\r\n--0xKhTmLbOuNdArY\r\n";
    }

    MemorySettings settings;
    TestLog events;
    FakeHttp http;
    std::vector<std::string> addresses{"127.0.0.1", "192.168.1.5", "fe80::1"};
    NATBuster buster{{http,
                      settings,
                      events.log(),
                      {},
                      [] { return std::vector<std::string>{}; },
                      [this] { return addresses; }}};
    std::vector<std::string> replies;
    std::string console;
};

TEST_F(NATBusterTest, HostRegistersOnceForEachUsableAddress) {
    EXPECT_TRUE(registerAll());

    ASSERT_EQ(http.exchanges.size(), 1U);
    const HttpRequest& request = http.exchanges[0]->request;
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.url, "https://watch.example.org/P2P/IntroducerWS.aspx");
    EXPECT_EQ(request.body, "--0xKhTmLbOuNdArY\r\n" + field("access_id", "me@example.org") +
                                field("service_id", "Ovelo") + field("is_server", "1") +
                                field("host_ip", "192.168.1.5") + field("udp_port", "1726") +
                                field("mapped_ip", "192.0.2.7") + field("mapped_port", "40000") +
                                field("nat_type", "6"));
    EXPECT_FALSE(request.followRedirects);
    EXPECT_EQ(console, "Request submitted\n");
    EXPECT_TRUE(events.contains("NATBuster Host IP: fe80::1\n"));
    EXPECT_TRUE(events.contains("NATBuster Adding Host IP: 192.168.1.5\n"));
    EXPECT_FALSE(events.contains("NATBuster Adding Host IP: 127.0.0.1\n"));
}

TEST_F(NATBusterTest, AddressesThatWereFoundOnceAreUsedAgainUntilLoadedAnew) {
    registerAll();
    addresses = {"192.168.1.6", "10.0.0.6"};
    registerAll();
    EXPECT_EQ(buster.host_ips(), std::vector<std::string>{"192.168.1.5"});

    buster.loadHostIps();

    EXPECT_EQ(buster.host_ips(), addresses);
}

TEST_F(NATBusterTest, WithoutAnAddressNothingIsSentAndTheNextRegistrationLooksAgain) {
    addresses.clear();
    EXPECT_TRUE(registerAll());
    EXPECT_TRUE(http.exchanges.empty());

    addresses = {"192.168.1.5"};
    registerAll();

    EXPECT_EQ(http.exchanges.size(), 1U);
}

TEST_F(NATBusterTest, EleventhRegistrationDropsTheOldest) {
    for (int i = 0; i < 11; ++i) {
        registerAll();
    }

    EXPECT_EQ(buster.regConnections().trackedCount(), 10U);
    http.reply(0, 200, "first");
    http.reply(1, 200, "second");
    EXPECT_FALSE(events.contains("<first>"));
    EXPECT_TRUE(events.contains("<second>"));
}

TEST_F(NATBusterTest, RegistrationsAnswerIsLoggedOnly) {
    match();
    registerAll();

    http.reply(1, 200, "OK,<Result/>");

    EXPECT_TRUE(events.contains("UDP Reg Service registration HTTP return code: 200\n"));
    EXPECT_TRUE(events.contains("UDP Reg Service registration HTTP return: <OK,<Result/>>\n"));
    EXPECT_TRUE(replies.empty());
}

TEST_F(NATBusterTest, WithoutAServiceNothingCanBeStarted) {
    settings.remove("serviceUrl");
    bool single = true;

    EXPECT_TRUE(registerAll());
    console += consoleText(
        [&] { single = buster.regToInstruducer("a", "b", true, "c", "d", "e", "f", 1); });

    EXPECT_FALSE(single);
    EXPECT_EQ(console, "Failed to submit request\nFailed to submit request\n");
    EXPECT_FALSE(match());
    EXPECT_TRUE(events.contains("UDP Reg Failed to submit request"));
}

TEST_F(NATBusterTest, MatchIsAskedForAndItsReplyHandedOn) {
    EXPECT_TRUE(match());
    http.reply(0, 200, "OK,<Result/>");

    const HttpRequest& request = http.exchanges[0]->request;
    EXPECT_EQ(request.url, "https://watch.example.org/P2P/MatchWS.aspx");
    EXPECT_EQ(request.body, "--0xKhTmLbOuNdArY\r\n" + field("access_id", "me@example.org") +
                                field("service_id", "Ovelo") + field("is_server", "0"));
    EXPECT_EQ(replies, std::vector<std::string>{"OK,<Result/>"});
    EXPECT_TRUE(events.contains("UDP Reg Request submitted"));
    EXPECT_TRUE(events.contains("UDP Reg Service match HTTP return code: 200\n"));
    EXPECT_TRUE(events.contains("UDP Reg Service match HTTP return: <OK,<Result/>>\n"));
    EXPECT_EQ(buster.ret_code(), 200);
}

TEST_F(NATBusterTest, RefusalsAndErrorPagesAreFailures) {
    match();
    http.reply(0, 200, "no such account");
    match();
    http.reply(1, 500, "OK");
    match();
    http.reply(2, 200, "\xFF OK");

    EXPECT_EQ(replies, (std::vector<std::string>{"Failed", "Failed", "Failed"}));
}

TEST_F(NATBusterTest, EachPieceIsJudgedByItself) {
    match();
    http.respond(0, 200);
    http.send(0, "OK,<Result>");
    http.send(0, "</Result>");

    EXPECT_EQ(replies, (std::vector<std::string>{"OK,<Result>", "Failed"}));
}

TEST_F(NATBusterTest, FailedConnectionIsLoggedAndNobodyIsCalled) {
    match();
    registerAll();
    http.fail(0, "Connection refused");
    http.fail(1, "No route");

    EXPECT_TRUE(replies.empty());
    EXPECT_TRUE(events.contains("UDP Reg Service match failed: Connection refused\n"));
    EXPECT_TRUE(events.contains("UDP Reg Service registration failed: No route\n"));
}

TEST_F(NATBusterTest, EleventhMatchDropsTheOldest) {
    for (int i = 0; i < 11; ++i) {
        match();
    }
    http.reply(0, 200, "OK,first");
    http.reply(10, 200, "OK,last");

    EXPECT_EQ(buster.matchConnections().trackedCount(), 10U);
    EXPECT_EQ(replies, std::vector<std::string>{"OK,last"});
}

TEST_F(NATBusterTest, CompletionMayAskAgain) {
    int asked = 0;
    std::function<void(const std::string&)> again = [&](const std::string&) {
        if (++asked < 3) {
            buster.MatchInstruducer("a", "b", false, again);
        }
    };
    buster.MatchInstruducer("a", "b", false, again);
    for (std::size_t i = 0; i < 3; ++i) {
        http.reply(i, 200, "OK");
    }

    EXPECT_EQ(asked, 3);
}

} // namespace
} // namespace ovelo
