#include "platform/MailEncoding.h"

#include <gtest/gtest.h>

namespace ovelo::mailencoding {
namespace {

TEST(MailEncodingTest, Base64FillsUpTheLastGroup) { // RFC 4648, 10
    EXPECT_EQ(base64(""), "");
    EXPECT_EQ(base64("f"), "Zg==");
    EXPECT_EQ(base64("ab"), "YWI=");
    EXPECT_EQ(base64("foo"), "Zm9v");
    EXPECT_EQ(base64("foobar"), "Zm9vYmFy");
    EXPECT_EQ(base64("\xFF\xFE\xFD"), "//79");
}

TEST(MailEncodingTest, Base64LinesHaveSeventySixCharacters) {
    const std::vector<std::uint8_t> bytes(58, 0);

    EXPECT_EQ(base64Lines(bytes), std::string(76, 'A') + "\r\nAA==\r\n");
    EXPECT_EQ(base64Lines({}), "");
}

TEST(MailEncodingTest, QuotedPrintableKeepsPlainLines) {
    EXPECT_EQ(quotedPrintable("a  b.\nc"), "a  b.\r\nc");
    EXPECT_EQ(quotedPrintable("a\r\nb\n"), "a\r\nb\r\n");
    EXPECT_EQ(quotedPrintable(""), "");
}

TEST(MailEncodingTest, QuotedPrintableEscapesWhatWouldBeLost) {
    EXPECT_EQ(quotedPrintable("a=b"), "a=3Db");
    EXPECT_EQ(quotedPrintable("ü"), "=C3=BC");
    EXPECT_EQ(quotedPrintable("end \nend\t"), "end=20\r\nend=09");
    EXPECT_EQ(quotedPrintable("a\rb"), "a=0Db");
}

TEST(MailEncodingTest, QuotedPrintableBreaksLongLines) {
    EXPECT_EQ(quotedPrintable(std::string(76, 'x')), std::string(75, 'x') + "=\r\nx");
    EXPECT_EQ(quotedPrintable(std::string(74, 'x') + "ü"), std::string(74, 'x') + "=\r\n=C3=BC");
}

TEST(MailEncodingTest, ShortPlainHeaderStaysReadable) {
    EXPECT_EQ(headerText("Test Message from Ovelo"), "Test Message from Ovelo");
}

TEST(MailEncodingTest, HeaderThatLooksEncodedIsEncoded) {
    EXPECT_EQ(headerText("=?x?="), "=?UTF-8?B?PT94Pz0=?=");
}

TEST(MailEncodingTest, LongHeaderIsFoldedBetweenCharacters) {
    const std::string head = "=?UTF-8?B?";
    const std::string fourteen = "……………………………………"; // of three bytes each: one word's 42
    EXPECT_EQ(headerText(fourteen + fourteen),
              head + base64(fourteen) + "?=\r\n " + head + base64(fourteen) + "?=");
    const std::string thirteen = fourteen.substr(3);
    EXPECT_EQ(headerText("x" + fourteen + "y" + thirteen),
              head + base64("x" + thirteen) + "?=\r\n " + head + base64("…y" + thirteen.substr(3)) +
                  "?=\r\n " + head + base64("…") + "?=");
}

TEST(MailEncodingTest, CutsBetweenCharacters) {
    EXPECT_EQ(wholeCharacters("aü", 2), 1U);
    EXPECT_EQ(wholeCharacters("aü", 3), 3U);
    EXPECT_EQ(wholeCharacters("aüb", 3), 3U);
    EXPECT_EQ(wholeCharacters("", 3), 0U);
}

} // namespace
} // namespace ovelo::mailencoding
