#include "platform/MailMessage.h"

#include <gmock/gmock.h>

namespace ovelo {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

EDMailAgent::Headers headers(const std::string& to, const std::string& from,
                             const std::string& subject) {
    return {{std::string(EDMailTo), to},
            {std::string(EDMailFrom), from},
            {std::string(EDMailSubject), subject}};
}

TEST(MailMessageTest, HeaderFieldsCannotBringInOthers) {
    const std::string evil = "a@example.org\r\nBcc: b@example.org";

    EXPECT_THROW(MailMessage(headers(evil, "me@example.org", "s"), ""), MailException);
    EXPECT_THROW(MailMessage(headers("me@example.org", evil, "s"), ""), MailException);
    EXPECT_THROW(MailMessage(headers("me@example.org", "me@example.org", "s\nBcc: b"), ""),
                 MailException);
}

TEST(MailMessageTest, AddressThatIsNoneIsRefused) {
    for (const char* address : {"", "a@b> SIZE=1", "a b@c", "a@b,c@d", "<>"}) {
        EXPECT_THROW(MailMessage(headers(address, "me@example.org", "s"), ""), MailException)
            << address;
    }
    EXPECT_THROW(MailMessage({}, ""), MailException);
}

TEST(MailMessageTest, ServerGetsTheBareAddressOfANamedOne) {
    const MailMessage message(
        headers("Jürgen, Garten <j@example.org>", "\"Yard Camera\" <me@example.org>", "s"), "");

    EXPECT_EQ(message.recipient(), "j@example.org");
    EXPECT_EQ(message.sender(), "me@example.org");
    EXPECT_THAT(message.text(), HasSubstr("From: Yard Camera\r\n <me@example.org>\r\n"));
    EXPECT_THAT(message.text(),
                HasSubstr("To: =?UTF-8?B?SsO8cmdlbiwgR2FydGVu?=\r\n <j@example.org>\r\n"));
}

TEST(MailMessageTest, MessagesAreToldApart) {
    const auto fields = headers("me@example.org", "me@example.org", "s");

    EXPECT_NE(MailMessage(fields, "").text(), MailMessage(fields, "").text());
}

TEST(MailMessageTest, MessageIdOfAnAddressWithoutPlainDomainIsLocal) {
    EXPECT_THAT(MailMessage(headers("me", "me", "s"), "").text(), HasSubstr("@localhost>\r\n"));
    EXPECT_THAT(MailMessage(headers("a@müll.de", "a@müll.de", "s"), "").text(),
                HasSubstr("@localhost>\r\n"));
}

TEST(MailMessageTest, NameOfAnAttachmentCannotLeaveItsField) {
    const auto fields = headers("me@example.org", "me@example.org", "s");

    EXPECT_THROW(MailMessage(fields, "", makeData({}), "a\"b"), MailException);
    EXPECT_THROW(MailMessage(fields, "", makeData({}), "a\r\nb"), MailException);
}

TEST(MailMessageTest, MissingPictureIsAnEmptyAttachment) {
    const MailMessage message(headers("me@example.org", "me@example.org", "s"), "text", nullptr,
                              "Ovelo.jpeg");

    EXPECT_THAT(message.text(), AllOf(HasSubstr("filename=\"Ovelo.jpeg\""), HasSubstr("--\r\n")));
}

} // namespace
} // namespace ovelo
