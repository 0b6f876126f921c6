#include "nat/rendezvous.h"

#include <gtest/gtest.h>

namespace ovelo::rendezvous {
namespace {

TEST(RendezvousTest, RegistrationFieldsStandInTheirOrder) {
    Registration registration;
    registration.access_id = "me@example.org";
    registration.host_ip = "192.168.1.5";
    registration.mapped_ip = "192.0.2.7";
    registration.mapped_port = "40000";
    registration.nat_type = 6;

    EXPECT_EQ(registrationFields(registration), (Fields{{"access_id", "me@example.org"},
                                                        {"service_id", "Ovelo"},
                                                        {"is_server", "1"},
                                                        {"host_ip", "192.168.1.5"},
                                                        {"udp_port", "1726"},
                                                        {"mapped_ip", "192.0.2.7"},
                                                        {"mapped_port", "40000"},
                                                        {"nat_type", "6"}}));
}

TEST(RendezvousTest, WithoutAPublicAddressTheFieldsSaySo) {
    const Fields fields = registrationFields({});

    EXPECT_EQ(fields[5], (Fields::value_type{"mapped_ip", "0.0.0.0"}));
    EXPECT_EQ(fields[6], (Fields::value_type{"mapped_port", "1726"}));
    EXPECT_EQ(fields[7], (Fields::value_type{"nat_type", "0"}));
}

TEST(RendezvousTest, MatchFieldsStandInTheirOrder) {
    EXPECT_EQ(
        matchFields("me@example.org", "Ovelo", false),
        (Fields{{"access_id", "me@example.org"}, {"service_id", "Ovelo"}, {"is_server", "0"}}));
}

TEST(RendezvousTest, PeersOfAReplyComeInOrder) {
    const auto peers =
        peersOfMatchReply("OK,<Result><Introducer gateway_ip='192.0.2.7' mapped_port='1726'/>"
                          "<Introducer gateway_ip='192.0.2.8' mapped_port='40000'/></Result>");

    ASSERT_TRUE(peers);
    EXPECT_EQ(*peers,
              (std::vector<MapAddr>{{"", "192.0.2.7", 1726, -1}, {"", "192.0.2.8", 40000, -1}}));
}

TEST(RendezvousTest, MissingAttributesAreEmptyAndZero) {
    const auto peers = peersOfMatchReply("OK <Result><Introducer mapped_port=''/></Result>");

    ASSERT_TRUE(peers);
    EXPECT_EQ(peers->front(), MapAddr("", "", 0, -1));
}

TEST(RendezvousTest, RepliesThatChangeNothing) {
    for (const char* reply :
         {"Failed", "", "O", "OK", "OK,", "OK,nobody", "OK,<Result/>", "OK,<Result><Introducer>",
          "<Result><Introducer gateway_ip='192.0.2.7'/></Result>",
          "OK<Result><Introducer gateway_ip='192.0.2.7'/></Result>",
          "OK,<!DOCTYPE r [<!ENTITY a 'x'>]><Result><Introducer gateway_ip='&a;'/></Result>"}) {
        EXPECT_FALSE(peersOfMatchReply(reply)) << reply;
    }
}

TEST(RendezvousTest, OnlyIpv4AddressesThatLeadElsewhereAreUsable) {
    EXPECT_TRUE(isUsableHostIp("192.168.1.5"));
    EXPECT_FALSE(isUsableHostIp("127.0.0.1"));
    EXPECT_FALSE(isUsableHostIp("127.1.2.3"));
    EXPECT_FALSE(isUsableHostIp("fe80::1"));
    EXPECT_FALSE(isUsableHostIp(""));
    EXPECT_FALSE(isUsableHostIp("1.2.3"));
    EXPECT_TRUE(isUsableHostIp("12.7.0.1"));
}

} // namespace
} // namespace ovelo::rendezvous
