#include "platform/SmtpReplies.h"

#include <gtest/gtest.h>

namespace ovelo {

TEST(SmtpRepliesTest, GivesTheLastLineOfEachReply) {
    SmtpReplies replies;
    replies.append("220 host\r\n250-host\r\n250-SIZE\r\n250 HELP\r\n");

    EXPECT_EQ(replies.next(), "220 host\r");
    EXPECT_EQ(replies.next(), "250 HELP\r");
    EXPECT_EQ(replies.next(), std::nullopt);
}

TEST(SmtpRepliesTest, TakesRepliesThatComeInPieces) {
    SmtpReplies replies;
    const std::string text = "250-one\r\n250 two\r\n";
    for (const char byte : text.substr(0, text.size() - 1)) {
        replies.append({&byte, 1});
        EXPECT_EQ(replies.next(), std::nullopt);
    }
    replies.append("\n");
    EXPECT_EQ(replies.next(), "250 two\r");
}

TEST(SmtpRepliesTest, LineThatIsNoReplyStandsForItself) {
    SmtpReplies replies;
    replies.append("no\n\n250-");
    EXPECT_EQ(replies.next(), "no");
    EXPECT_EQ(replies.next(), "");
    EXPECT_EQ(replies.next(), std::nullopt);
}

TEST(SmtpRepliesTest, ReplyWithoutAnEndIsTooLong) {
    SmtpReplies lines;
    while (!lines.isTooLong()) {
        lines.append("250-more\r\n");
        ASSERT_EQ(lines.next(), std::nullopt);
    }
    SmtpReplies line;
    line.append(std::string(SmtpReplies::kLongest, 'x'));
    EXPECT_FALSE(line.isTooLong());
    line.append("x");
    EXPECT_TRUE(line.isTooLong());
}

TEST(SmtpRepliesTest, ManyRepliesAreNotOneLongReply) {
    SmtpReplies replies;
    for (std::size_t count = 0; count < SmtpReplies::kLongest; ++count) {
        replies.append("250-a\r\n250 ok\r\n");
        ASSERT_EQ(replies.next(), "250 ok\r");
    }
    EXPECT_FALSE(replies.isTooLong());
}

} // namespace ovelo
