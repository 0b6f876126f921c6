#include "platform/MailFailure.h"

#include "platform/MailEncoding.h"

#include <gtest/gtest.h>

namespace ovelo {

namespace {

const SmtpRoute kRoute{.host = "mail.example.org", .user = "me", .password = "p\u00e4ssword"};

} // namespace

TEST(MailFailureTest, PasswordIsHiddenInEveryFormThatItIsSentIn) {
    using namespace std::string_literals;
    const std::string both = "\0me\0"s + kRoute.password;
    const std::string reply = "535 " + kRoute.password + " " + mailencoding::base64(both) + " " +
                              mailencoding::base64(kRoute.password);
    EXPECT_EQ(mailfailure::harmless(reply, kRoute), "535 ... ... ...");
}

TEST(MailFailureTest, PasswordIsHiddenInAReplyThatIsNoUtf8) {
    EXPECT_EQ(mailfailure::harmless("535 " + kRoute.password + " \xff", kRoute), "535 ... ?");
}

TEST(MailFailureTest, ReplyIsOneLineOfBoundedLength) {
    EXPECT_EQ(mailfailure::harmless("550 no\r\n\x1b[2Jmail\r\n", kRoute), "550 no   [2Jmail");
    EXPECT_LE(mailfailure::harmless(std::string(5000, 'x'), kRoute).size(), 300U);
}

} // namespace ovelo
