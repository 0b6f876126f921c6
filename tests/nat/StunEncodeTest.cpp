#include "fakes/ConsoleText.h"
#include "nat/StunBytes.h"
#include "nat/stun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace ovelo {
namespace {

StunBytes encode(const StunMessage& msg, const StunAtrString& password = {}, bool verbose = false) {
    StunBytes buffer(STUN_MAX_MESSAGE_SIZE);
    buffer.resize(stunEncodeMessage(msg, buffer, password, verbose));
    return buffer;
}

/// The attributes of an encoded message.
StunBytes bodyOf(const StunBytes& message) {
    return {message.begin() + kStunHeaderSize, message.end()};
}

StunMessage request(std::uint32_t id, bool changePort = false, bool changeIp = false) {
    StunMessage msg;
    stunBuildReqSimple(&msg, {}, changePort, changeIp, id);
    return msg;
}

TEST(StunEncodeTest, RequestCarriesItsTestNumberFirstAndThenThreeZeros) {
    const StunBytes bytes = encode(request(10));

    const StunBytes head{0x00, 0x01, // Binding Request
                         0x00, 0x08, // one attribute
                         10,   0,    0, 0};
    EXPECT_TRUE(std::equal(head.begin(), head.end(), bytes.begin()));
    EXPECT_EQ(bodyOf(bytes), (StunBytes{0x00, 0x03, 0x00, 0x04, 0, 0, 0, 0}))
        << "a request that changes nothing says so";
}

TEST(StunEncodeTest, LargeTestNumberFillsTheFirstFourOctetsLowOctetFirst) {
    const StunMessage msg = request(0x04030201);

    EXPECT_EQ(msg.msgHdr.id.octet[0], 1);
    EXPECT_EQ(msg.msgHdr.id.octet[1], 2);
    EXPECT_EQ(msg.msgHdr.id.octet[2], 3);
    EXPECT_EQ(msg.msgHdr.id.octet[3], 4);
}

TEST(StunEncodeTest, TransactionIdsDiffer) {
    std::set<std::string> ids;
    for (int i = 0; i < 50; ++i) {
        ids.insert(toString(request(0).msgHdr.id));
    }

    EXPECT_EQ(ids.size(), 50U);
}

TEST(StunEncodeTest, ChangeRequestFlags) {
    EXPECT_EQ(request(1).changeRequest.value, 0U);
    EXPECT_EQ(request(1, true, false).changeRequest.value, 2U);
    EXPECT_EQ(request(1, false, true).changeRequest.value, 4U);
    EXPECT_EQ(request(1, true, true).changeRequest.value, 6U);
}

TEST(StunEncodeTest, UserNameIsSentOnlyWhenThereIsOne) {
    StunMessage msg;
    stunBuildReqSimple(&msg, stunText("user"), false, false, 1);

    EXPECT_FALSE(request(1).hasUsername);
    EXPECT_EQ(bodyOf(encode(msg)), (StunBytes{0x00, 0x03, 0x00, 0x04, 0, 0, 0, 0, // ChangeRequest
                                              0x00, 0x06, 0x00, 0x04, 'u', 's', 'e', 'r'}));
}

TEST(StunEncodeTest, BuildingForgetsWhatWasThere) {
    StunMessage msg;
    msg.hasServerName = true;
    stunBuildReqSimple(&msg, {}, false, false, 1);

    EXPECT_FALSE(msg.hasServerName);
}

TEST(StunEncodeTest, AddressHasItsPadAndAlwaysTheFamilyOfIpv4) {
    StunMessage msg;
    msg.hasMappedAddress = true;
    msg.mappedAddress = {7, 2, {0x1234, 0xC0000201}};

    EXPECT_EQ(bodyOf(encode(msg)),
              (StunBytes{0x00, 0x01, 0x00, 0x08, 7, 1, 0x12, 0x34, 0xC0, 0x00, 0x02, 0x01}));
}

TEST(StunEncodeTest, AttributesStandInTheirOwnOrder) {
    StunMessage msg;
    msg.hasSecondaryAddress = msg.hasServerName = msg.xorOnly = msg.hasXorMappedAddress = true;
    msg.hasReflectedFrom = msg.hasUnknownAttributes = msg.hasErrorCode = msg.hasPassword = true;
    msg.hasUsername = msg.hasChangedAddress = msg.hasSourceAddress = msg.hasChangeRequest = true;
    msg.hasResponseAddress = msg.hasMappedAddress = true;
    msg.hasMessageIntegrity = true; // tells nothing: the password does

    const StunBytes body = bodyOf(encode(msg, stunText("pass")));

    const StunBytes types{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x09,
                          0x0A, 0x0B, 0x20, 0x21, 0x22, 0x50, 0x08};
    const std::vector<std::size_t> sizes{12, 12, 8, 12, 12, 4, 4, 8, 4, 12, 12, 2, 4, 12, 24};
    std::size_t at = 0;
    for (std::size_t i = 0; i < types.size(); ++i) {
        ASSERT_LT(at + 1, body.size());
        EXPECT_EQ(body[at + 1], types[i]) << "attribute " << i;
        at += sizes[i];
    }
    EXPECT_EQ(at, body.size());
}

TEST(StunEncodeTest, ErrorCodeSaysTwoBytesMoreThanFollow) {
    StunMessage msg;
    msg.hasErrorCode = true;
    msg.errorCode.pad = 0x0102;
    msg.errorCode.errorClass = 4;
    msg.errorCode.number = 20;
    msg.errorCode.reason = {'n', 'o'};
    msg.errorCode.sizeReason = 2;

    EXPECT_EQ(bodyOf(encode(msg)), (StunBytes{0x00, 0x09, 0x00, 0x08, 1, 2, 4, 20, 'n', 'o'}));
}

TEST(StunEncodeTest, UnknownAttributesSayTwoBytesMoreThanTheirTypes) {
    StunMessage msg;
    msg.hasUnknownAttributes = true;
    msg.unknownAttributes.attrType = {0x0022, 0x7FFF};
    msg.unknownAttributes.numAttributes = 2;

    EXPECT_EQ(bodyOf(encode(msg)), (StunBytes{0x00, 0x0A, 0x00, 0x06, 0x00, 0x22, 0x7F, 0xFF}));
}

TEST(StunEncodeTest, XorOnlyIsItsTypeAloneWithoutALength) {
    StunMessage msg;
    msg.xorOnly = true;

    const StunBytes bytes = encode(msg);

    EXPECT_EQ(bodyOf(bytes), (StunBytes{0x00, 0x21}));
    EXPECT_EQ(bytes[3], 2) << "the header counts it";
}

TEST(StunEncodeTest, PasswordAppendsTheFixedIntegrityText) {
    const StunBytes body = bodyOf(encode(StunMessage{}, stunText("pass")));

    const std::string text = "hmac-not-implemented";
    StunBytes expected{0x00, 0x08, 0x00, 0x14};
    expected.insert(expected.end(), text.begin(), text.end());
    EXPECT_EQ(body, expected);
}

TEST(StunEncodeTest, LargestMessageFitsIntoItsBuffer) {
    StunMessage msg;
    msg.hasMappedAddress = msg.hasResponseAddress = msg.hasChangeRequest = true;
    msg.hasSourceAddress = msg.hasChangedAddress = msg.hasReflectedFrom = true;
    msg.hasXorMappedAddress = msg.hasSecondaryAddress = msg.xorOnly = true;
    msg.hasUsername = msg.hasPassword = msg.hasServerName = true;
    msg.username.sizeValue = msg.password.sizeValue = msg.serverName.sizeValue = 256;
    msg.hasErrorCode = msg.hasUnknownAttributes = true;
    msg.errorCode.sizeReason = StunAtrError::kMostReason;
    msg.unknownAttributes.numAttributes = 8;

    EXPECT_EQ(encode(msg, stunText("pass")).size(), 1203U);
}

TEST(StunEncodeTest, EachAttributeIsSaidWhenAsked) {
    StunMessage msg;
    msg.hasMappedAddress = true;
    msg.mappedAddress.ipv4 = {80, 0x01020304};
    msg.hasResponseAddress = msg.hasSourceAddress = msg.hasChangedAddress = true;
    msg.hasReflectedFrom = msg.hasXorMappedAddress = msg.hasSecondaryAddress = true;
    msg.hasChangeRequest = true;
    msg.changeRequest.value = 6;
    msg.hasUsername = msg.hasPassword = msg.hasServerName = true;
    msg.username = stunText("user");
    msg.password = stunText("word");
    msg.serverName = stunText("name");
    msg.hasErrorCode = true;
    msg.errorCode.errorClass = 4;
    msg.errorCode.number = 20;
    msg.errorCode.reason = {'n', 'o'};
    msg.errorCode.sizeReason = 2;
    msg.xorOnly = true;

    EXPECT_EQ(consoleText([&] { encode(msg, stunText("pass"), true); }),
              "Encoding stun message: \n"
              "Encoding MappedAddress: 1.2.3.4:80\n"
              "Encoding ResponseAddress: 0.0.0.0:0\n"
              "Encoding ChangeRequest: 6\n"
              "Encoding SourceAddress: 0.0.0.0:0\n"
              "Encoding ChangedAddress: 0.0.0.0:0\n"
              "Encoding Username: user\n"
              "Encoding Password: word\n"
              "Encoding ErrorCode: class=4 number=20 reason=no\n"
              "Encoding ReflectedFrom: 0.0.0.0:0\n"
              "Encoding XorMappedAddress: 0.0.0.0:0\n"
              "Encoding xorOnly: \n"
              "Encoding ServerName: name\n"
              "Encoding SecondaryAddress: 0.0.0.0:0\n"
              "HMAC with password: pass\n");
    EXPECT_EQ(consoleText([&] { encode(msg, stunText("pass")); }), "");
}

TEST(StunEncodeTest, NumbersGoOutInNetworkOrder) {
    StunBytes bytes(6);

    std::uint8_t* end = encode32(encode16(bytes.data(), 0x0102), 0x03040506);

    EXPECT_EQ(end, bytes.data() + 6);
    EXPECT_EQ(bytes, (StunBytes{1, 2, 3, 4, 5, 6}));
}

TEST(StunEncodeTest, RandomPortsStayInTheirRange) {
    std::set<std::uint16_t> ports;
    for (int i = 0; i < 20000; ++i) {
        ports.insert(stunRandomPort());
    }

    EXPECT_GE(*ports.begin(), 16384);
    EXPECT_LE(*ports.rbegin(), 32767);
    EXPECT_GT(ports.size(), 5000U);
}

TEST(StunEncodeTest, AddressesAndIdsAsText) {
    UInt128 id;
    id.octet[0] = 10;
    id.octet[15] = 255;

    EXPECT_EQ(toString(StunAddress4{3478, 0xC0000201}), "192.0.2.1:3478");
    EXPECT_EQ(toString(id), "10:0:0:0:0:0:0:0:0:0:0:0:0:0:0:255");
    EXPECT_FALSE((StunAddress4{0, 1}.isSet()));
    EXPECT_FALSE((StunAddress4{1, 0}.isSet()));
    EXPECT_TRUE((StunAddress4{1, 1}.isSet()));
}

using StunEncodeDeathTest = ::testing::Test;

TEST(StunEncodeDeathTest, OurOwnMistakesStopTheProgram) {
    StunMessage msg;
    StunBytes small(19);
    EXPECT_DEATH(stunBuildReqSimple(nullptr, {}, false, false, 1), ": msg\n");
    EXPECT_DEATH((void)stunEncodeMessage(msg, small, {}, false),
                 "bufLen >= sizeof\\(StunMsgHdr\\)");

    msg.hasUsername = true;
    msg.username = stunText("abc");
    EXPECT_DEATH((void)encode(msg), "atr.sizeValue % 4 == 0");
}

} // namespace
} // namespace ovelo
