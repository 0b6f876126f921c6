#include "platform/EDMailAgent.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

EDMailAgent::Headers headers() {
    return {{std::string(EDMailTo), "me@example.org"},
            {std::string(EDMailFrom), "me@example.org"},
            {std::string(EDMailSubject), "Subject"}};
}

class EDMailAgentHostTest : public ::testing::TestWithParam<std::string> {};

TEST_P(EDMailAgentHostTest, HostThatIsNoneIsRefused) {
    try {
        EDMailAgent::mailAgentForRelayHostWithName(GetParam());
        FAIL() << "no exception";
    } catch (const MailException& failure) {
        EXPECT_NE(std::string(failure.what()).find("name of the mail server"), std::string::npos);
    }
}

INSTANTIATE_TEST_SUITE_P(, EDMailAgentHostTest,
                         ::testing::Values("", " ", "mail.example.org ", "mail example.org",
                                           "mail.example.org\r\nRSET", "me@mail.example.org",
                                           "me:secret@mail.example.org", "mail.example.org/path",
                                           "smtp://mail.example.org", "mail.example.org:25",
                                           "mail?x", "mail#x", "mail%00", "[::1]", "::1/x", "-mail",
                                           ".", "mail\\x", "caf\xE9", std::string(300, 'a')));

TEST(EDMailAgentTest, NamesAndAddressesAreHosts) {
    for (const char* host :
         {"localhost", "mail.example.org", "127.0.0.1", "::1", "my_host", "bücher.example"}) {
        EXPECT_NO_THROW(EDMailAgent::mailAgentForRelayHostWithName(host)) << host;
    }
}

TEST(EDMailAgentTest, PortOutOfRangeIsRefused) {
    const auto agent = EDMailAgent::mailAgentForRelayHostWithName("localhost");
    for (const int port : {0, -1, 65536, 2'000'000'000}) {
        EXPECT_THROW(agent->setPort(port), MailException) << port;
    }
    EXPECT_NO_THROW(agent->setPort(65535));
}

TEST(EDMailAgentTest, LoginWithControlCharactersIsRefused) {
    using namespace std::string_literals;
    for (const std::string& text : {"a\r\nRSET"s, "a\0b"s}) {
        for (const auto key : {EDSMTPUserName, EDSMTPPassword}) {
            const auto agent = EDMailAgent::mailAgentForRelayHostWithName("localhost");
            agent->setAuthInfo({{std::string(key), text}});
            EXPECT_THROW(agent->sendMailWithHeaders(headers(), "Body"), MailException);
        }
    }
}

} // namespace
} // namespace ovelo
