#include "nat/Reachability.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

using reachability::isPrivate;
using reachability::problem;

TEST(ReachabilityTest, AddressesThatNobodyCanReachArePrivate) {
    for (const char* address :
         {"0.0.0.0", "10.0.0.1", "10.255.255.255", "100.64.0.1", "100.127.255.255", "127.0.0.1",
          "169.254.1.1", "172.16.0.1", "172.31.255.255", "192.168.1.1", "224.0.0.1",
          "255.255.255.255", "", "router", "1.2.3", "1.2.3.4.5", "fe80::1"}) {
        EXPECT_TRUE(isPrivate(address)) << address;
    }
}

TEST(ReachabilityTest, TheirNeighboursAreNot) {
    for (const char* address :
         {"9.255.255.255", "11.0.0.0", "100.63.255.255", "100.128.0.0", "126.0.0.1", "128.0.0.1",
          "172.15.255.255", "172.32.0.0", "192.167.255.255", "192.169.0.0", "223.255.255.255"}) {
        EXPECT_FALSE(isPrivate(address)) << address;
    }
}

TEST(ReachabilityTest, ForwardedPortOfAPublicAddressHasNoProblem) {
    EXPECT_EQ(problem(PortMapperTrouble::None, true, "203.0.113.7"), "");
}

TEST(ReachabilityTest, RouterBehindARouterIsNamedWhateverElseIsWrong) {
    const std::string text = "The router is itself behind another one: its outer address "
                             "192.168.0.2 cannot be reached from the internet.";
    EXPECT_EQ(problem(PortMapperTrouble::None, true, "192.168.0.2"), text);
    EXPECT_EQ(problem(PortMapperTrouble::Refused, false, "192.168.0.2"), text);
}

TEST(ReachabilityTest, EveryTroubleHasASentenceOfItsOwn) {
    EXPECT_EQ(problem(PortMapperTrouble::NotAsked, false, ""),
              "The router has not been asked yet.");
    EXPECT_EQ(problem(PortMapperTrouble::NoNetwork, false, ""),
              "This computer has no way to the internet.");
    EXPECT_EQ(problem(PortMapperTrouble::NoRouter, false, ""),
              "No router was found that forwards ports: UPnP and NAT-PMP may be turned off in it.");
    EXPECT_EQ(problem(PortMapperTrouble::NotConnected, false, ""),
              "The router says that it is not connected to the internet.");
    EXPECT_EQ(problem(PortMapperTrouble::NotTalking, false, ""),
              "The router was found, but does not answer as it should.");
    EXPECT_EQ(problem(PortMapperTrouble::Refused, false, "203.0.113.7"),
              "The router refuses to forward a port to this computer.");
    EXPECT_EQ(problem(PortMapperTrouble::None, true, ""),
              "The router does not tell its address on the internet.");
}

} // namespace
} // namespace ovelo
