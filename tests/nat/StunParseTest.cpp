#include "fakes/ConsoleText.h"
#include "nat/StunBytes.h"
#include "nat/stun.h"

#include <gtest/gtest.h>

#include <ostream>
#include <vector>

namespace ovelo {
namespace {

/// What parsing one datagram gives and says.
struct Outcome {
    explicit Outcome(const StunBytes& datagram, bool verbose = true) {
        console = consoleText([&] { ok = stunParseMessage(datagram, msg, verbose); });
        const std::string first =
            "Received stun message: " + std::to_string(datagram.size()) + " bytes\n";
        if (verbose) {
            EXPECT_TRUE(console.starts_with(first)) << console;
            console.erase(0, first.size());
        }
    }

    StunMessage msg;
    bool ok = false;
    std::string console;
};

Outcome parseOne(std::uint16_t type, const StunBytes& body, int length = -1) {
    return Outcome(stunMessage({stunAttribute(type, body, length)}));
}

StunBytes text(const std::string& letters) {
    return {letters.begin(), letters.end()};
}

TEST(StunParseTest, MessageOfTwentyBytesHasNoAttributes) {
    const Outcome outcome(stunMessage({}, 9));

    EXPECT_TRUE(outcome.ok);
    EXPECT_EQ(outcome.console, "");
    EXPECT_EQ(outcome.msg.msgHdr.msgType, 0x0101);
    EXPECT_EQ(outcome.msg.msgHdr.msgLength, 0);
    EXPECT_EQ(outcome.msg.msgHdr.id.octet[0], 9);
    EXPECT_FALSE(outcome.msg.hasMappedAddress);
}

TEST(StunParseTest, DatagramShorterThanAHeaderIsABadMessageVerboseOrNot) {
    EXPECT_EQ(Outcome(StunBytes(19), false).console, "Bad message\n");
    EXPECT_EQ(Outcome(StunBytes{}, true).console, "Bad message\n");
    EXPECT_FALSE(Outcome(StunBytes(19)).ok);
}

TEST(StunParseTest, HeaderLengthOneOffTheDatagramIsSaidVerboseOrNot) {
    StunBytes longer = stunMessage({});
    longer.push_back(0);
    StunBytes shorter = stunMessage({});
    shorter[3] = 1;

    const Outcome tooLong(longer, false);
    EXPECT_FALSE(tooLong.ok);
    EXPECT_EQ(tooLong.console, "Message header length doesn't match message size: 0 - 21\n");
    EXPECT_EQ(Outcome(shorter).console,
              "Message header length doesn't match message size: 1 - 20\n");
}

TEST(StunParseTest, AttributeBeyondTheEndIsSaidVerboseOrNot) {
    const StunBytes datagram = stunMessage({stunAttribute(0x8022, text("abcd"), 8)});

    const Outcome outcome(datagram, false);

    EXPECT_FALSE(outcome.ok);
    EXPECT_EQ(outcome.console,
              "claims attribute is larger than size of message (attribute type=32802)\n");
}

TEST(StunParseTest, RestTooShortForAnAttributesHeadIsRefused) {
    for (std::size_t size = 1; size < 4; ++size) {
        const Outcome outcome(stunMessage({StunBytes(size)}));
        EXPECT_FALSE(outcome.ok);
        EXPECT_EQ(outcome.console,
                  "claims attribute is larger than size of message (attribute type=0)\n");
    }
}

TEST(StunParseTest, UnknownAttributeFailsBelowTheOptionalOnesAndIsSkippedAmongThem) {
    const Outcome required = parseOne(0x0022, text("abcd"));
    const Outcome optional(
        stunMessage({stunAttribute(0x8001, text("abcd")), stunAttribute(0x0003, {0, 0, 0, 6})}));

    EXPECT_FALSE(required.ok);
    EXPECT_EQ(required.console, "Unknown attribute: 34\n");
    EXPECT_TRUE(optional.ok);
    EXPECT_EQ(optional.console, "Unknown attribute: 32769\nChangeRequest = 6\n");
    EXPECT_FALSE(parseOne(0x7FFF, {}).ok);
    EXPECT_TRUE(parseOne(0x8000, {}).ok);
}

TEST(StunParseTest, NoPaddingIsSkippedBetweenAttributes) {
    const Outcome outcome(
        stunMessage({stunAttribute(0x8001, {1, 2, 3}), stunAttribute(0x0003, {0, 0, 0, 2})}));

    EXPECT_TRUE(outcome.ok);
    EXPECT_EQ(outcome.msg.changeRequest.value, 2U);
}

/// One of the attributes that hold an address.
struct AddressCase {
    std::uint16_t type;
    const char* name;
    const char* problem;
    bool StunMessage::*present;
    StunAtrAddress4 StunMessage::*value;
    bool shown;
};

void PrintTo(const AddressCase& attribute, std::ostream* out) {
    *out << attribute.name;
}

class StunParseAddressTest : public ::testing::TestWithParam<AddressCase> {};

TEST_P(StunParseAddressTest, IsReadInHostOrder) {
    const AddressCase& param = GetParam();
    const Outcome outcome = parseOne(param.type, stunAddressBody(0xC0000201, 3478));

    EXPECT_TRUE(outcome.ok);
    EXPECT_TRUE(outcome.msg.*param.present);
    EXPECT_EQ((outcome.msg.*param.value).ipv4, (StunAddress4{3478, 0xC0000201}));
    EXPECT_EQ((outcome.msg.*param.value).family, 1);
    EXPECT_EQ(outcome.console,
              param.shown ? std::string(param.name) + " = 192.0.2.1:3478\n" : std::string());
}

TEST_P(StunParseAddressTest, OtherSizesAndFamiliesAreRefused) {
    const AddressCase& param = GetParam();
    const std::string problem = std::string(param.problem) + "\n";
    const Outcome size = parseOne(param.type, StunBytes(7));
    const Outcome ipv6 = parseOne(param.type, stunAddressBody(1, 1, 2));
    const Outcome other = parseOne(param.type, stunAddressBody(1, 1, 3));

    EXPECT_FALSE(size.ok || ipv6.ok || other.ok);
    EXPECT_EQ(size.console, "hdrLen wrong for Address\n" + problem);
    EXPECT_EQ(ipv6.console, "ipv6 not supported\n" + problem);
    EXPECT_EQ(other.console, "bad address family: 3\n" + problem);
    EXPECT_FALSE(parseOne(param.type, StunBytes(9)).ok);
    EXPECT_EQ(Outcome(stunMessage({stunAttribute(param.type, StunBytes(7))}), false).console, "")
        << "only when asked";
}

INSTANTIATE_TEST_SUITE_P(
    All, StunParseAddressTest,
    ::testing::Values(
        AddressCase{0x0001, "MappedAddress", "problem parsing MappedAddress",
                    &StunMessage::hasMappedAddress, &StunMessage::mappedAddress, true},
        AddressCase{0x0002, "ResponseAddress", "problem parsing ResponseAddress",
                    &StunMessage::hasResponseAddress, &StunMessage::responseAddress, true},
        AddressCase{0x0004, "SourceAddress", "problem parsing SourceAddress",
                    &StunMessage::hasSourceAddress, &StunMessage::sourceAddress, true},
        AddressCase{0x0005, "ChangedAddress", "problem parsing ChangedAddress",
                    &StunMessage::hasChangedAddress, &StunMessage::changedAddress, true},
        AddressCase{0x000B, "ReflectedFrom", "problem parsing ReflectedFrom",
                    &StunMessage::hasReflectedFrom, &StunMessage::reflectedFrom, false},
        AddressCase{0x8020, "XorMappedAddress", "problem parsing XorMappedAddress",
                    &StunMessage::hasXorMappedAddress, &StunMessage::xorMappedAddress, true},
        AddressCase{0x8050, "SecondaryAddress", "problem parsing secondaryAddress",
                    &StunMessage::hasSecondaryAddress, &StunMessage::secondaryAddress, true}),
    [](const auto& tested) { return std::string(tested.param.name); });

/// One of the attributes that hold a text.
struct StringCase {
    std::uint16_t type;
    const char* name;
    bool StunMessage::*present;
    StunAtrString StunMessage::*value;
};

void PrintTo(const StringCase& attribute, std::ostream* out) {
    *out << attribute.name;
}

class StunParseStringTest : public ::testing::TestWithParam<StringCase> {};

TEST_P(StunParseStringTest, IsCopiedAndTerminated) {
    const StringCase& param = GetParam();
    const Outcome outcome = parseOne(param.type, text("some text"
                                                      "ab"
                                                      "c"));

    EXPECT_TRUE(outcome.ok);
    EXPECT_TRUE(outcome.msg.*param.present);
    EXPECT_EQ((outcome.msg.*param.value).text(), "some textabc");
    EXPECT_STREQ((outcome.msg.*param.value).value.data(), "some textabc");
    EXPECT_EQ(outcome.console, std::string(param.name) + " = some textabc\n");
}

TEST_P(StunParseStringTest, LongestHasTwoHundredAndFiftyTwoBytes) {
    const StringCase& param = GetParam();
    const Outcome outcome = parseOne(param.type, StunBytes(252, 'x'));

    EXPECT_TRUE(outcome.ok);
    EXPECT_EQ((outcome.msg.*param.value).sizeValue, 252);
}

TEST_P(StunParseStringTest, OddAndTooLargeSizesAreRefused) {
    const std::string problem = std::string("problem parsing ") + GetParam().name + "\n";

    const Outcome odd = parseOne(GetParam().type, StunBytes(6, 'x'));
    const Outcome large = parseOne(GetParam().type, StunBytes(256, 'x'));

    EXPECT_FALSE(odd.ok || large.ok);
    EXPECT_EQ(odd.console, "Bad length string 6\n" + problem);
    EXPECT_EQ(large.console, "String is too large\n" + problem);
}

INSTANTIATE_TEST_SUITE_P(
    All, StunParseStringTest,
    ::testing::Values(
        StringCase{0x0006, "Username", &StunMessage::hasUsername, &StunMessage::username},
        StringCase{0x0007, "Password", &StunMessage::hasPassword, &StunMessage::password},
        StringCase{0x8022, "ServerName", &StunMessage::hasServerName, &StunMessage::serverName}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST(StunParseTest, ChangeRequestHasFourBytes) {
    const Outcome good = parseOne(0x0003, {0, 0, 1, 6});
    const Outcome bad = parseOne(0x0003, StunBytes(8));

    EXPECT_TRUE(good.ok && good.msg.hasChangeRequest);
    EXPECT_EQ(good.msg.changeRequest.value, 0x106U);
    EXPECT_FALSE(bad.ok);
    EXPECT_EQ(bad.console, "hdr length = 8 expecting 4\n"
                           "Incorrect size for ChangeRequest\n"
                           "problem parsing ChangeRequest\n");
}

TEST(StunParseTest, MessageIntegrityIsKeptUnchecked) {
    const Outcome good = parseOne(0x0008, StunBytes(20, 7));
    const Outcome bad = parseOne(0x0008, StunBytes(16));

    EXPECT_TRUE(good.ok && good.msg.hasMessageIntegrity);
    EXPECT_EQ(good.msg.messageIntegrity.hash[19], 7);
    EXPECT_FALSE(bad.ok);
    EXPECT_EQ(bad.console, "MessageIntegrity must be 20 bytes\nproblem parsing MessageIntegrity\n");
}

TEST(StunParseTest, ErrorCodeKeepsPadClassNumberAndReason) {
    const Outcome outcome = parseOne(0x0009, {1, 2, 4, 20, 'n', 'o'});

    EXPECT_TRUE(outcome.ok && outcome.msg.hasErrorCode);
    EXPECT_EQ(outcome.msg.errorCode.pad, 0x0102);
    EXPECT_EQ(outcome.msg.errorCode.errorClass, 4);
    EXPECT_EQ(outcome.msg.errorCode.number, 20);
    EXPECT_EQ(outcome.msg.errorCode.sizeReason, 2);
    EXPECT_STREQ(outcome.msg.errorCode.reason.data(), "no");
    EXPECT_EQ(outcome.console, "ErrorCode = 4 20 no\n");
}

TEST(StunParseTest, ErrorCodeOfTheLargestSizeIsKeptWhole) {
    const Outcome largest = parseOne(0x0009, StunBytes(261, 'x'));
    const Outcome larger = parseOne(0x0009, StunBytes(262, 'x'));
    const Outcome smallest = parseOne(0x0009, StunBytes(4));
    const Outcome smaller = parseOne(0x0009, StunBytes(3));

    EXPECT_TRUE(largest.ok);
    EXPECT_EQ(largest.msg.errorCode.sizeReason, 257);
    EXPECT_STREQ(largest.msg.errorCode.reason.data(), std::string(257, 'x').c_str());
    EXPECT_FALSE(larger.ok);
    EXPECT_EQ(larger.console, "head on Error too large\nproblem parsing ErrorCode\n");
    EXPECT_TRUE(smallest.ok);
    EXPECT_FALSE(smaller.ok) << "there is no class and number in it";
    EXPECT_EQ(smaller.console, "problem parsing ErrorCode\n");
}

TEST(StunParseTest, UnknownAttributesAreAQuarterOfTheirBytesInNumber) {
    const Outcome outcome = parseOne(0x000A, {0, 1, 0, 2, 0, 3, 0, 4});

    EXPECT_TRUE(outcome.ok && outcome.msg.hasUnknownAttributes);
    EXPECT_EQ(outcome.msg.unknownAttributes.numAttributes, 2);
    EXPECT_EQ(outcome.msg.unknownAttributes.attrType[0], 1);
    EXPECT_EQ(outcome.msg.unknownAttributes.attrType[1], 2);
    EXPECT_TRUE(parseOne(0x000A, StunBytes(16)).ok);
    EXPECT_FALSE(parseOne(0x000A, StunBytes(20)).ok);
    EXPECT_EQ(parseOne(0x000A, StunBytes(6)).console, "problem parsing UnknownAttribute\n");
}

TEST(StunParseTest, XorOnlyIsAFlagWhoseBodyIsSteppedOver) {
    const Outcome outcome(
        stunMessage({stunAttribute(0x0021, {1, 2, 3}), stunAttribute(0x0003, {0, 0, 0, 4})}));

    EXPECT_TRUE(outcome.ok && outcome.msg.xorOnly);
    EXPECT_EQ(outcome.msg.changeRequest.value, 4U);
    EXPECT_EQ(outcome.console, "xorOnly = true\nChangeRequest = 4\n");
}

TEST(StunParseTest, ParsingForgetsWhatWasThere) {
    StunMessage msg;
    msg.hasServerName = true;

    EXPECT_TRUE(stunParseMessage(stunMessage({}), msg, false));
    EXPECT_FALSE(msg.hasServerName);
}

TEST(StunParseTest, EncodedMessageComesBack) {
    StunMessage msg;
    stunBuildReqSimple(&msg, stunText("user"), true, true, 3);
    msg.hasXorMappedAddress = true;
    msg.xorMappedAddress.ipv4 = {1726, 0x0A000001};
    StunBytes bytes(STUN_MAX_MESSAGE_SIZE);
    bytes.resize(stunEncodeMessage(msg, bytes, stunText("pass"), false));

    const Outcome outcome(bytes, false);

    EXPECT_TRUE(outcome.ok);
    EXPECT_EQ(outcome.msg.msgHdr.id.octet, msg.msgHdr.id.octet);
    EXPECT_EQ(outcome.msg.changeRequest.value, 6U);
    EXPECT_EQ(outcome.msg.username.text(), "user");
    EXPECT_EQ(outcome.msg.xorMappedAddress.ipv4, msg.xorMappedAddress.ipv4);
    EXPECT_EQ(std::string(outcome.msg.messageIntegrity.hash.begin(),
                          outcome.msg.messageIntegrity.hash.end()),
              "hmac-not-implemented");
}

TEST(StunParseTest, OurOwnErrorCodeDoesNotComeBack) {
    StunMessage msg;
    msg.hasErrorCode = true;
    StunBytes bytes(STUN_MAX_MESSAGE_SIZE);
    bytes.resize(stunEncodeMessage(msg, bytes, {}, false));

    EXPECT_EQ(Outcome(bytes, false).console,
              "claims attribute is larger than size of message (attribute type=9)\n");
}

TEST(StunParseTest, EveryTruncationOfAMessageIsRefused) {
    const StunBytes whole = stunMessage({stunAttribute(0x0001, stunAddressBody(1, 2)),
                                         stunAttribute(0x8022, text("name")),
                                         stunAttribute(0x0009, {0, 0, 4, 20, 'n', 'o'})});
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(
            Outcome(StunBytes(whole.begin(), whole.begin() + static_cast<long>(size)), false).ok);
    }
    EXPECT_TRUE(Outcome(whole, false).ok);
}

} // namespace
} // namespace ovelo
