#include "nat/StunRegistration.h"

#include "fakes/TestLog.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace ovelo {
namespace {

constexpr std::uint16_t kPort = 1726;

/// STUN servers that answer as a test wants; the last octet of their address is their number.
class StunRegistrationTest : public ::testing::Test {
protected:
    StunRegistration registration() {
        return {{"stun0", "stun1", "stun2"},
                {[this](const std::string& name, StunAddress4& server) {
                     const auto number = static_cast<std::uint32_t>(name.back() - '0');
                     server = {3478, number + 1};
                     return !unknown.contains(name);
                 },
                 [this](const StunAddress4& server, std::uint16_t port) {
                     EXPECT_EQ(port, kPort);
                     asked.push_back(server.addr - 1);
                     return types[server.addr - 1];
                 },
                 [this](const StunAddress4& server, StunAddress4& learned, std::uint16_t port) {
                     EXPECT_EQ(server.addr - 1, asked.back());
                     opened.push_back(port);
                     learned = mapped;
                     return opens;
                 }},
                events.log()};
    }

    bool run() { return registration().regToStunServer(kPort, mapAddr); }

    TestLog events;
    std::map<std::string, bool> unknown;
    std::vector<NatType> types{NatTypePortDependentFilter, NatTypeOpen, NatTypeOpen};
    StunAddress4 mapped{kPort, 0xC0000207};
    bool opens = true;

    std::vector<std::uint32_t> asked;
    std::vector<std::uint16_t> opened;
    std::optional<MapAddr> mapAddr;
};

TEST_F(StunRegistrationTest, FirstServerThatAnswersTellsAddressAndKind) {
    EXPECT_TRUE(run());

    EXPECT_EQ(mapAddr, MapAddr("", "192.0.2.7", kPort, 6));
    EXPECT_EQ(asked, std::vector<std::uint32_t>{0});
    EXPECT_EQ(opened, std::vector<std::uint16_t>{kPort});
    EXPECT_TRUE(events.contains("regToStunServer(): stun0\n"));
    EXPECT_TRUE(events.contains("stunNatType(): 6\n"));
    EXPECT_TRUE(events.contains("stunOpenSocketPair(): Got port pair at 192.0.2.7: 1726\n"));
}

TEST_F(StunRegistrationTest, NextServerIsTriedWhenTheTestsFail) {
    types = {NatTypeFailure, NatTypeBlocked, NatTypeOpen};

    EXPECT_FALSE(run()) << "blocked is an answer, and the end";

    EXPECT_EQ(asked, (std::vector<std::uint32_t>{0, 1}));
}

TEST_F(StunRegistrationTest, NextServerIsTriedWhenTheNameLeadsNowhere) {
    unknown["stun0"] = true;

    EXPECT_TRUE(run());

    EXPECT_EQ(asked, std::vector<std::uint32_t>{1});
    EXPECT_TRUE(events.contains("regToStunServer(): not a valid host name\n"));
}

TEST_F(StunRegistrationTest, NoServerAtAllIsAFailure) {
    types = {NatTypeFailure, NatTypeFailure, NatTypeFailure};

    EXPECT_FALSE(run());

    EXPECT_EQ(asked.size(), 3U);
    EXPECT_FALSE(mapAddr);
    EXPECT_TRUE(events.contains("regToStunServer():  unable to reg to any server"));
}

TEST_F(StunRegistrationTest, MappingThatCannotBeLearnedIsAFailure) {
    opens = false;

    EXPECT_FALSE(run());

    EXPECT_FALSE(mapAddr);
    EXPECT_TRUE(events.contains("Opened a stun socket pair FAILED"));
}

TEST_F(StunRegistrationTest, OtherPublicPortIsProbedFromItsNumber) {
    mapped.port = 40000;

    EXPECT_TRUE(run());

    EXPECT_EQ(opened, (std::vector<std::uint16_t>{kPort, 40000}));
    EXPECT_EQ(mapAddr->mappedPort(), 40000);
}

TEST_F(StunRegistrationTest, DependentMappingIsLearnedButOfNoUse) {
    types[0] = NatTypeDependentMapping;

    EXPECT_FALSE(run());

    EXPECT_EQ(mapAddr->nat_type(), 7);
}

TEST_F(StunRegistrationTest, PeersGetThroughEveryOtherKind) {
    for (const auto& [type, isReachable] : std::map<NatType, bool>{{NatTypeUnknown, false},
                                                                   {NatTypeOpen, true},
                                                                   {NatTypeBlocked, false},
                                                                   {NatTypeIndependentFilter, true},
                                                                   {NatTypeDependentFilter, true},
                                                                   {NatTypeFirewall, true}}) {
        types[0] = type;
        EXPECT_EQ(run(), isReachable) << type;
    }
}

} // namespace
} // namespace ovelo
