// NAT discovery and hole punching through real routers, with a real STUN server.

#include "fakes/Eventually.h"
#include "fakes/TestLog.h"
#include "lab/NatLab.h"
#include "nat/StunRegistration.h"
#include "nat/UdpStream.h"
#include "nat/stunNatType.h"
#include "nat/stunServerName.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <ostream>
#include <string>
#include <thread>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

constexpr std::uint16_t kPort = 1726;

StunAddress4 stunServer() {
    StunAddress4 address;
    EXPECT_TRUE(stunParseServerName("11.22.33.1", address));
    return address;
}

struct Discovery {
    NatType type = NatTypeUnknown;
    StunAddress4 mapped;
    bool preservePort = false;
};

Discovery discover(const std::string& host) {
    Discovery found;
    NatLab::runIn(host, [&found] {
        found.type =
            stunNatType(stunServer(), false, &found.preservePort, nullptr, kPort, &found.mapped);
    });
    return found;
}

/// How a host on the other side of `kind` sees itself.
struct RouterCase {
    const char* kind;
    NatType type;
    bool preservesPort;
};

void PrintTo(const RouterCase& router, std::ostream* out) {
    *out << router.kind;
}

class NatTypeLabTest : public ::testing::TestWithParam<RouterCase> {};

TEST_P(NatTypeLabTest, RouterIsRecognisedByItsRules) {
    NatLab lab(GetParam().kind, "port");
    ASSERT_TRUE(lab.isBuilt() && lab.startStunServer());

    const Discovery found = discover("A");

    EXPECT_EQ(found.type, GetParam().type);
    if (found.type != NatTypeBlocked) {
        EXPECT_EQ(found.mapped.addr, 0x0B16210AU) << "11.22.33.10";
        EXPECT_EQ(found.preservePort, GetParam().preservesPort);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, NatTypeLabTest,
                         ::testing::Values(RouterCase{"full", NatTypeIndependentFilter, true},
                                           RouterCase{"addr", NatTypeDependentFilter, true},
                                           RouterCase{"port", NatTypePortDependentFilter, true},
                                           RouterCase{"sym", NatTypeDependentMapping, false},
                                           RouterCase{"blocked", NatTypeBlocked, false}),
                         [](const auto& tested) { return std::string(tested.param.kind); });

TEST_P(NatTypeLabTest, RegistrationSaysWhetherPeersGetThrough) {
    NatLab lab(GetParam().kind, "port");
    ASSERT_TRUE(lab.isBuilt() && lab.startStunServer());
    const bool isReachable =
        GetParam().type != NatTypeBlocked && GetParam().type != NatTypeDependentMapping;
    TestLog events;
    // A router that lets nothing through is waited for until somebody has had enough.
    const FileDescriptor wake(::eventfd(0, EFD_CLOEXEC));
    std::optional<MapAddr> mapAddr;
    bool isRegistered = false;
    std::jthread impatience([&] {
        if (GetParam().type == NatTypeBlocked) {
            eventually([&] { return events.contains("stunNatType(): 3\n"); });
            ::eventfd_write(wake.get(), 1);
        }
    });

    NatLab::runIn("A", [&] {
        const StunRegistration registration(
            {"11.22.33.1"}, StunRegistration::Functions::overTheNetwork(wake.get()), events.log());
        isRegistered = registration.regToStunServer(kPort, mapAddr);
    });

    EXPECT_EQ(isRegistered, isReachable);
    EXPECT_EQ(mapAddr.has_value(), GetParam().type != NatTypeBlocked);
    EXPECT_TRUE(!isReachable || *mapAddr == MapAddr("", "11.22.33.10", kPort, GetParam().type));
}

TEST(NatTypeOpenLabTest, HostWithoutARouterIsOpen) {
    NatLab lab("port", "port");
    ASSERT_TRUE(lab.isBuilt() && lab.startStunServer());

    const Discovery found = discover("C");

    EXPECT_EQ(found.type, NatTypeOpen);
    EXPECT_EQ(found.mapped, (StunAddress4{kPort, 0x0B162128})) << "11.22.33.40:1726";
}

TEST(NatTypeOpenLabTest, HostBehindItsOwnFilterHasAFirewall) {
    NatLab lab("port", "port", true);
    ASSERT_TRUE(lab.isBuilt() && lab.startStunServer());

    EXPECT_EQ(discover("C").type, NatTypeFirewall);
}

/// Two hosts that learn their public addresses, are told each other's, and punch holes.
class Punching {
public:
    Punching(const char* kindA, const char* kindB) : lab_(kindA, kindB) {
        isReady_ = lab_.isBuilt() && lab_.startStunServer();
    }

    [[nodiscard]] bool isReady() const { return isReady_; }

    /// return  true when each has read a line of the other
    bool meet() {
        const StunAddress4 a = publicAddress("A");
        const StunAddress4 b = publicAddress("B");
        bool isHeardByA = false;
        bool isHeardByB = false;
        {
            const std::jthread hostA(
                [&] { NatLab::runIn("A", [&] { isHeardByA = greet(b, eventsA_); }); });
            const std::jthread hostB(
                [&] { NatLab::runIn("B", [&] { isHeardByB = greet(a, eventsB_); }); });
        }
        return isHeardByA && isHeardByB;
    }

private:
    static StunAddress4 publicAddress(const char* host) {
        StunAddress4 mapped;
        NatLab::runIn(host, [&mapped] {
            EXPECT_TRUE(stunOpenSocket(stunServer(), &mapped, kPort, nullptr, false));
        });
        return mapped;
    }

    static bool greet(const StunAddress4& peer, TestLog& events) {
        UdpStream stream(events.log(), {2s, 200ms, 5ms});
        const in_addr ip{htonl(peer.addr)};
        std::string line;
        return stream.StartP2P(kPort, ::inet_ntoa(ip), peer.port) &&
               stream.writeString("hello\n") && stream.ReadLine(line) && line == "hello";
    }

    NatLab lab_;
    bool isReady_ = false;
    TestLog eventsA_;
    TestLog eventsB_;
};

struct PairCase {
    const char* kindA;
    const char* kindB;
    bool meet;
};

void PrintTo(const PairCase& pair, std::ostream* out) {
    *out << pair.kindA << " and " << pair.kindB;
}

class HolePunchingLabTest : public ::testing::TestWithParam<PairCase> {};

TEST_P(HolePunchingLabTest, HostsMeetWhereTheirRoutersAllowIt) {
    Punching punching(GetParam().kindA, GetParam().kindB);
    ASSERT_TRUE(punching.isReady());

    EXPECT_EQ(punching.meet(), GetParam().meet);
}

INSTANTIATE_TEST_SUITE_P(Pairs, HolePunchingLabTest,
                         ::testing::Values(PairCase{"port", "port", true},
                                           PairCase{"addr", "port", true},
                                           PairCase{"addr", "sym", true},
                                           PairCase{"full", "sym", true},
                                           PairCase{"port", "sym", false}),
                         [](const auto& tested) {
                             return fmt::format("{}_{}", tested.param.kindA, tested.param.kindB);
                         });

} // namespace
} // namespace ovelo
