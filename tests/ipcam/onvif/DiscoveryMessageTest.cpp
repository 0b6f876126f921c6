#include "ipcam/onvif/DiscoveryMessage.h"

#include "ipcam/onvif/OnvifTexts.h"
#include "ipcam/onvif/SoapText.h"
#include "support/XML/XMLDocument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace ovelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kId = "6f1c2a8e-0000-4000-8000-123456789abc";
constexpr const char* kTypes = "tdn:Device dn:NetworkVideoTransmitter";

std::vector<FoundCamera> matches(const std::string& addresses, const std::string& scopes = "",
                                 const std::string& types = kTypes) {
    const std::string relatesTo = std::string("urn:uuid:") + kId;
    return discovery::probeMatches(onviftexts::probeMatch(relatesTo, types, addresses, scopes),
                                   kId);
}

TEST(DiscoveryMessageTest, ProbeAsksForVideoDevicesUnderItsId) {
    const auto document = XMLDocument::documentWithXMLString(discovery::probe(kId).c_str());

    ASSERT_TRUE(document);
    EXPECT_EQ(soap::firstText(document->rootElement(), "MessageID"),
              std::string("urn:uuid:") + kId);
    EXPECT_EQ(soap::firstText(document->rootElement(), "Types"), "dn:NetworkVideoTransmitter");
}

TEST(DiscoveryMessageTest, ReadsAddressesAndName) {
    const auto found = matches("http://10.0.0.9/onvif/device_service https://10.0.0.9/d",
                               "onvif://www.onvif.org/type/video "
                               "onvif://www.onvif.org/name/Front%20Door%21");

    EXPECT_THAT(found, ElementsAre(FoundCamera{
                           "urn:uuid:1234",
                           "Front Door!",
                           {"http://10.0.0.9/onvif/device_service", "https://10.0.0.9/d"}}));
}

TEST(DiscoveryMessageTest, AddressesThatAreNotOfTheWebAreLeftOut) {
    EXPECT_THAT(matches("file:///etc/passwd ftp://10.0.0.9/"), IsEmpty());
    EXPECT_THAT(matches("http://" + std::string(2000, 'x')), IsEmpty());
    const auto found = matches("file:///etc/passwd http://10.0.0.9/");
    ASSERT_EQ(found.size(), 1U);
    EXPECT_THAT(found[0].addresses, ElementsAre("http://10.0.0.9/"));
}

TEST(DiscoveryMessageTest, OtherDevicesAreLeftOut) {
    EXPECT_THAT(matches("http://10.0.0.9/", "", "p:PrintDeviceType"), IsEmpty());
}

TEST(DiscoveryMessageTest, AnswerToAnotherProbeIsNotForUs) {
    const std::string other = onviftexts::probeMatch("urn:uuid:1", kTypes, "http://10.0.0.9/", "");
    EXPECT_THAT(discovery::probeMatches(other, kId), IsEmpty());
}

TEST(DiscoveryMessageTest, WhatIsNoAnswerHasNoCameras) {
    for (const char* text : {"", "x", "<a/>", "<a><RelatesTo/></a>"}) {
        EXPECT_THAT(discovery::probeMatches(text, kId), IsEmpty()) << text;
    }
}

TEST(DiscoveryMessageTest, DamagedNameIsNone) {
    EXPECT_EQ(matches("http://a/", "onvif://www.onvif.org/name/%FF").at(0).name, "");
    EXPECT_EQ(matches("http://a/", "onvif://www.onvif.org/name/%4").at(0).name, "%4");
    EXPECT_EQ(matches("http://a/", "onvif://www.onvif.org/name/%zz").at(0).name, "%zz");
}

} // namespace
} // namespace ovelo
