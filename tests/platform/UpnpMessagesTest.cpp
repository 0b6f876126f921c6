#include "platform/UpnpMessages.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace ovelo {
namespace {

constexpr const char* kType = "urn:schemas-upnp-org:service:WANIPConnection:1";
constexpr const char* kPlace = "http://10.0.0.1:5000/rootDesc.xml";

std::string serviceText(const std::string& type, const std::string& url) {
    return fmt::format("<service><serviceType>{}</serviceType><serviceId>x</serviceId>"
                       "<controlURL>{}</controlURL><eventSubURL>/e</eventSubURL>"
                       "<SCPDURL>/s.xml</SCPDURL></service>",
                       type, url);
}

std::string description(const std::string& services, const std::string& base = "") {
    return "<?xml version=\"1.0\"?><root xmlns=\"urn:schemas-upnp-org:device-1-0\">" + base +
           "<device><deviceType>urn:schemas-upnp-org:device:InternetGatewayDevice:1</deviceType>"
           "<serviceList>" +
           services + "</serviceList></device></root>";
}

TEST(UpnpMessagesTest, SearchIsAQuestionToEveryRouter) {
    EXPECT_EQ(upnp::searchRequest("urn:x"),
              "M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nST: urn:x\r\n"
              "MAN: \"ssdp:discover\"\r\nMX: 1\r\n\r\n");
}

TEST(UpnpMessagesTest, LocationIsReadWhateverTheCaseOfItsName) {
    EXPECT_EQ(upnp::location("HTTP/1.1 200 OK\r\nST: x\r\nLocation:  http://10.0.0.1:5000/d \r\n"
                             "\r\n",
                             "10.0.0.1"),
              "http://10.0.0.1:5000/d");
    EXPECT_EQ(upnp::location("HTTP/1.1 200 OK\nLOCATION:http://10.0.0.1/d", "10.0.0.1"),
              "http://10.0.0.1/d");
}

TEST(UpnpMessagesTest, NobodyIsSentElsewhere) {
    for (const char* url :
         {"http://10.0.0.2/d", "http://10.0.0.11/d", "https://10.0.0.1/d", "file:///etc/passwd",
          "http://10.0.0.1@evil.example/", "http://10.0.0.1:80@evil.example/",
          "http://10.0.0.1.evil.example/", "//10.0.0.1/d", "/d", "", "http://10.0.0.1/a b",
          "http://10.0.0.1/\x80"}) {
        EXPECT_EQ(
            upnp::location(fmt::format("HTTP/1.1 200 OK\r\nLOCATION: {}\r\n\r\n", url), "10.0.0.1"),
            std::nullopt)
            << url;
    }
    EXPECT_EQ(upnp::location("HTTP/1.1 200 OK\r\nLOCATION: http://10.0.0.1/" +
                                 std::string(300, 'x') + "\r\n\r\n",
                             "10.0.0.1"),
              std::nullopt);
}

TEST(UpnpMessagesTest, WhatIsNoAnswerHasNoLocation) {
    for (const char* reply :
         {"", "\n", "HTTP/1.1 200 OK", "NOTIFY * HTTP/1.1\r\nLOCATION: http://10.0.0.1/d\r\n",
          "HTTP/1.1 404 No\r\nLOCATION: http://10.0.0.1/d\r\n", "HTTP/1.1 200 OK\r\n\r\n\r\n"}) {
        EXPECT_EQ(upnp::location(reply, "10.0.0.1"), std::nullopt) << reply;
    }
}

TEST(UpnpMessagesTest, ForwardingServicesAreFoundInADescription) {
    const auto found = upnp::services(description(serviceText(kType, "/ctl/IPConn")), kPlace);

    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].controlUrl, "http://10.0.0.1:5000/ctl/IPConn");
    EXPECT_EQ(found[0].type, kType);
}

TEST(UpnpMessagesTest, BothKindsOfConnectionAreFound) {
    const auto found = upnp::services(
        description(serviceText("urn:schemas-upnp-org:service:WANPPPConnection:1", "/ppp") +
                    serviceText(kType, "/ip")),
        kPlace);

    EXPECT_EQ(found.size(), 2U);
}

TEST(UpnpMessagesTest, ServiceOfAnotherHostIsLeftOut) {
    EXPECT_TRUE(
        upnp::services(description(serviceText(kType, "http://evil.example/ctl")), kPlace).empty());
    EXPECT_TRUE(upnp::services(description(serviceText(kType, "/ctl"),
                                           "<URLBase>http://10.0.0.2:5000/</URLBase>"),
                               kPlace)
                    .empty());
}

TEST(UpnpMessagesTest, TypeThatWouldBreakAHeaderIsLeftOut) {
    EXPECT_TRUE(
        upnp::services(description(serviceText(std::string(kType) + "\r\nX-Evil: 1", "/c")), kPlace)
            .empty());
}

TEST(UpnpMessagesTest, NonsenseHasNoServices) {
    EXPECT_TRUE(upnp::services("", kPlace).empty());
    EXPECT_TRUE(upnp::services("<", kPlace).empty());
    EXPECT_TRUE(upnp::services(std::string(1000, '<'), kPlace).empty());
    EXPECT_TRUE(upnp::services(description(""), kPlace).empty());
    EXPECT_TRUE(
        upnp::services(std::string(300'000, 'x') + description(serviceText(kType, "/c")), kPlace)
            .empty())
        << "too long";
}

TEST(UpnpMessagesTest, CallNamesServiceActionAndArgumentsInTheirOrder) {
    EXPECT_EQ(upnp::soapBody({"", kType}, "Act", {{"NewB", "1"}, {"NewA", ""}}),
              "<?xml version=\"1.0\"?>\r\n<s:Envelope "
              "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
              "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"><s:Body>"
              "<u:Act xmlns:u=\"urn:schemas-upnp-org:service:WANIPConnection:1\">"
              "<NewB>1</NewB><NewA></NewA></u:Act></s:Body></s:Envelope>\r\n");
}

TEST(UpnpMessagesTest, ValuesOfAReplyAreRead) {
    const auto values = upnp::soapValues(
        "<?xml version=\"1.0\"?><s:Envelope><s:Body><u:R xmlns:u=\"x\">"
        "<NewExternalIPAddress>203.0.113.7</NewExternalIPAddress></u:R></s:Body></s:Envelope>");

    EXPECT_EQ(values.at("NewExternalIPAddress"), "203.0.113.7");
}

TEST(UpnpMessagesTest, ErrorOfAReplyIsItsNumber) {
    EXPECT_EQ(upnp::errorCode(upnp::soapValues(
                  "<s:Fault><detail><UPnPError><errorCode>718</errorCode>"
                  "<errorDescription>Conflict</errorDescription></UPnPError></detail></s:Fault>")),
              718);
    EXPECT_EQ(upnp::errorCode(upnp::soapValues("<errorCode>0</errorCode>")), 0);
    EXPECT_EQ(upnp::errorCode(upnp::soapValues("<errorCode>-1</errorCode>")), 0);
    EXPECT_EQ(upnp::errorCode(upnp::soapValues("<errorCode>99999999999999999999</errorCode>")), 0);
    EXPECT_EQ(upnp::errorCode({}), 0);
}

TEST(UpnpMessagesTest, LongValuesAreCutShort) {
    const auto values = upnp::soapValues("<a>" + std::string(5000, 'x') + "</a>");

    EXPECT_LE(values.at("a").size(), 128U);
}

TEST(UpnpMessagesTest, EntitiesAndUnboundedRepliesAreNotFollowed) {
    EXPECT_TRUE(upnp::soapValues("<a>1</a>" + std::string(300'000, ' ')).empty());
    const auto values =
        upnp::soapValues("<!DOCTYPE x [<!ENTITY e SYSTEM \"file:///etc/passwd\">]><a>&e;</a>");
    for (const auto& [name, text] : values) {
        EXPECT_EQ(text.find("root:"), std::string::npos) << name;
    }
}

upnp::Values entryValues() {
    return {{"NewExternalPort", "17261"},
            {"NewInternalPort", "1726"},
            {"NewProtocol", "TCP"},
            {"NewInternalClient", "10.0.0.2"},
            {"NewPortMappingDescription", "x"},
            {"NewLeaseDuration", "600"},
            {"NewEnabled", "1"}};
}

TEST(UpnpMessagesTest, EntryOfTheTableIsRead) {
    const auto entry = upnp::entry(entryValues());

    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->externalPort, 17261);
    EXPECT_EQ(entry->internalPort, 1726);
    EXPECT_EQ(entry->client, "10.0.0.2");
    EXPECT_EQ(entry->description, "x");
    EXPECT_EQ(entry->lease, std::chrono::seconds(600));
    EXPECT_TRUE(entry->isEnabled);
}

TEST(UpnpMessagesTest, EntryForUdpOrWithoutPortsIsNone) {
    const std::vector<std::pair<const char*, const char*>> cases{
        {"NewProtocol", "UDP"},   {"NewProtocol", ""},          {"NewExternalPort", "0"},
        {"NewExternalPort", ""},  {"NewExternalPort", "65536"}, {"NewExternalPort", "1x"},
        {"NewInternalPort", "-1"}};
    for (const auto& [name, text] : cases) {
        auto values = entryValues();
        values[name] = text;
        EXPECT_FALSE(upnp::entry(values)) << name << text;
    }
    EXPECT_FALSE(upnp::entry({}));
}

TEST(UpnpMessagesTest, LeaseIsHeldToAWeek) {
    auto values = entryValues();
    values["NewLeaseDuration"] = "9223372036854775807";
    EXPECT_EQ(upnp::entry(values)->lease, std::chrono::seconds(604'800));
    values["NewLeaseDuration"] = "-5";
    EXPECT_EQ(upnp::entry(values)->lease, std::chrono::seconds(0));
    values["NewLeaseDuration"] = "soon";
    EXPECT_EQ(upnp::entry(values)->lease, std::chrono::seconds(0));
}

TEST(UpnpMessagesTest, WhatIsNoAddressIsNothing) {
    EXPECT_EQ(upnp::addressOrNothing(" 203.0.113.7 "), "203.0.113.7");
    for (const char* text : {"", "router", "1.2.3", "fe80::1", "1.2.3.4:5", "256.1.1.1"}) {
        EXPECT_EQ(upnp::addressOrNothing(text), "") << text;
    }
}

} // namespace
} // namespace ovelo
