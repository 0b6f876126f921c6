#include "nat/stunServerName.h"

#include "fakes/ConsoleText.h"
#include "platform/FileDescriptor.h"

#include <gtest/gtest.h>
#include <netdb.h>
#include <sys/eventfd.h>

#include <string>

namespace ovelo {
namespace {

constexpr std::uint32_t kLoopback = 0x7F000001;

int portOf(const std::string& name) {
    const auto server = stunSplitHostName(name.c_str(), kStunDefaultPort);
    return server ? server->port : -1;
}

TEST(StunServerNameTest, NameWithoutAPortHasTheDefaultOne) {
    StunAddress4 address;

    EXPECT_TRUE(stunParseServerName("127.0.0.1", address));
    EXPECT_EQ(address, (StunAddress4{3478, kLoopback}));
}

TEST(StunServerNameTest, PortFollowsAColon) {
    StunAddress4 address;

    EXPECT_TRUE(stunParseServerName("127.0.0.1:4000", address));
    EXPECT_EQ(address, (StunAddress4{4000, kLoopback}));
    EXPECT_EQ(stunSplitHostName("stun.example.org:4000", 1)->host, "stun.example.org");
}

TEST(StunServerNameTest, PortsOutsideTheirRangeAreRefusedWithoutALookUp) {
    for (const char* name : {"h:99", "h:1023", "h:65535", "h:65536", "h:0", "h:-3478",
                             "h:99999999999999999999", "no such host:99"}) {
        StunAddress4 address;
        EXPECT_EQ(portOf(name), -1) << name;
        EXPECT_EQ(consoleText([&] { EXPECT_FALSE(stunParseServerName(name, address)); }), "");
        EXPECT_EQ(address.port, 65535);
    }
    EXPECT_EQ(portOf("h:1024"), 1024);
    EXPECT_EQ(portOf("h:65534"), 65534);
    EXPECT_FALSE(stunSplitHostName("h", 80)) << "a default port is no better";
}

TEST(StunServerNameTest, PortThatIsNoNumberFallsBackToTheDefault) {
    EXPECT_EQ(portOf("h:3479x"), 3478);
    EXPECT_EQ(portOf("h:x"), 3478);
    EXPECT_EQ(portOf("h:"), 3478);
    EXPECT_EQ(portOf("h:4000:5000"), 3478);
    EXPECT_EQ(portOf("h:4000 "), 3478);
}

TEST(StunServerNameTest, OnlyTheFirstFiveHundredAndTwelveBytesCount) {
    const std::string longName(600, 'a');

    EXPECT_EQ(stunSplitHostName(longName.c_str(), 3478)->host, std::string(512, 'a'));
    EXPECT_EQ(portOf(std::string(512, 'a') + ":99"), 3478) << "the colon is cut off";
}

TEST(StunServerNameTest, FailedLookUpIsSaidAndGivesThePortThatLeadsNowhere) {
    StunAddress4 address;
    bool found = true;

    const std::string said =
        consoleText([&] { found = stunParseServerName("no such host", address); });

    EXPECT_FALSE(found);
    EXPECT_TRUE(said.starts_with("error was -")) << said;
    EXPECT_EQ(address.port, 65535);
}

TEST(StunServerNameTest, FailedLookUpLeavesIpAndPortOfTheCallerAlone) {
    std::uint32_t ip = 1;
    std::uint16_t port = 2;

    consoleText([&] { EXPECT_FALSE(stunParseHostName("no such host", ip, port, 3478)); });

    EXPECT_EQ(ip, 1U);
    EXPECT_EQ(port, 2);
}

TEST(StunServerNameTest, LookUpEndsWhenWoken) {
    const FileDescriptor wake(::eventfd(1, EFD_CLOEXEC));
    StunAddress4 address;
    bool found = true;

    const std::string said = consoleText([&] {
        found = stunParseServerName("localhost", address, {std::chrono::seconds(10), wake.get()});
    });

    EXPECT_FALSE(found);
    EXPECT_EQ(said, "error was " + std::to_string(EAI_INTR) + "\n");
}

using StunServerNameDeathTest = ::testing::Test;

TEST(StunServerNameDeathTest, NoNameIsOurOwnMistake) {
    StunAddress4 address;
    EXPECT_DEATH((void)stunParseServerName(nullptr, address), ": name\n");
}

} // namespace
} // namespace ovelo
