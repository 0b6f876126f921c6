#include "fakes/Eventually.h"
#include "fakes/MailServer.h"
#include "fakes/TcpFeeder.h"
#include "platform/EDMailAgent.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class SmtpMailAgentTest : public ::testing::Test {
protected:
    struct Wish {
        int port = 0;
        bool isSecure = false;
        bool isImplicit = false; // the port is one of TLS from the first byte
        bool skipsExtensionTest = false;
        EDMailAgent::AuthInfo authInfo{};
        std::string host = "localhost";
        std::stop_token stop{};
        std::chrono::milliseconds limit = 20s;
        std::string certificates{};
    };

    /// return  the reason of the failure, "" when the mail was sent
    static std::string sending(const Wish& wish, const std::string& subject = "Subject",
                               const std::string& body = "Body", const Data& file = nullptr) {
        EDMailAgent::Options options;
        options.trustedCertificates = wish.certificates;
        options.connectLimit = wish.limit;
        options.exchangeLimit = wish.limit;
        options.farewellLimit = 100ms;
        options.implicitTlsPort = static_cast<std::uint16_t>(wish.isImplicit ? wish.port : 465);
        try {
            const auto agent = EDMailAgent::mailAgentForRelayHostWithName(wish.host, options);
            agent->setStopToken(wish.stop);
            agent->setSkipsExtensionTest(wish.skipsExtensionTest);
            agent->setPort(wish.port);
            agent->setUsesSecureConnections(wish.isSecure);
            agent->setAuthInfo(wish.authInfo);
            const EDMailAgent::Headers headers{{std::string(EDMailTo), "to@example.org"},
                                               {std::string(EDMailFrom), "from@example.org"},
                                               {std::string(EDMailSubject), subject}};
            if (file) {
                agent->sendMailWithHeaders(headers, body, file, "Ovelo.jpeg");
            } else {
                agent->sendMailWithHeaders(headers, body);
            }
            return "";
        } catch (const MailException& failure) {
            return failure.what();
        }
    }

    static EDMailAgent::AuthInfo login(const std::string& password = "swordfish") {
        return {{std::string(EDSMTPUserName), "me"}, {std::string(EDSMTPPassword), password}};
    }

    /// Bytes that would not survive as text, more of them than fit into one segment or buffer.
    static Data somePicture() {
        Bytes bytes;
        for (std::size_t i = 0; i < 200'000; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(i * 7 + i / 256));
        }
        return makeData(std::move(bytes));
    }
    [[nodiscard]] bool isPicture(const std::string& bytes) const {
        return bytes == std::string(picture_->begin(), picture_->end());
    }

    /// Sends until `isReady`, cancels, and returns the reason and how long that took.
    static std::pair<std::string, std::chrono::milliseconds>
    cancelled(Wish wish, const std::function<bool()>& isReady, const Data& file = nullptr) {
        std::stop_source stop;
        wish.stop = stop.get_token();
        auto outcome =
            std::async(std::launch::async, [&] { return sending(wish, "Subject", "Body", file); });
        EXPECT_TRUE(eventually(isReady));
        const auto before = std::chrono::steady_clock::now();
        stop.request_stop();
        const std::string reason = outcome.get();
        return {reason, std::chrono::duration_cast<std::chrono::milliseconds>(
                            std::chrono::steady_clock::now() - before)};
    }

    const TestCertificate certificate_;
    const TestCertificate stranger_;
    const Data picture_ = somePicture();
};

TEST_F(SmtpMailAgentTest, TextArrivesAsItIs) {
    const MailServer server({});
    const std::string body = "Grüße aus dem Garten,\n.\n..two dots\nFrom here  \n=3D " +
                             std::string(2000, 'x') + "\n\nend";

    ASSERT_EQ(sending({.port = server.port()}, "Bewegung am Gartentor – 動き", body), "");

    const auto mail = server.mail();
    EXPECT_EQ(mail.defects(), "");
    EXPECT_EQ(mail.body(), body);
    EXPECT_EQ(mail.field("subject"), "Bewegung am Gartentor – 動き");
    EXPECT_EQ(mail.field("from"), "from@example.org");
    EXPECT_EQ(mail.field("to"), "to@example.org");
    EXPECT_EQ(mail.field("mime-version"), "1.0");
    EXPECT_THAT(mail.field("message-id"), AllOf(StartsWith("<"), HasSubstr("@example.org>")));
    EXPECT_NE(mail.field("date"), "");
    EXPECT_TRUE(server.heard("MAIL FROM:<from@example.org>"));
    EXPECT_TRUE(server.heard("RCPT TO:<to@example.org>"));
    EXPECT_TRUE(server.heard("QUIT"));
}

TEST_F(SmtpMailAgentTest, PictureArrivesByteForByte) {
    const MailServer server({});

    ASSERT_EQ(sending({.port = server.port()}, "Subject", "See the image.  Bye.", picture_), "");

    const auto mail = server.mail();
    EXPECT_EQ(mail.defects(), "");
    EXPECT_EQ(mail.body(), "See the image.  Bye.");
    EXPECT_TRUE(isPicture(mail.attachment()));
    EXPECT_EQ(mail.attachmentType(), "image/jpeg");
    EXPECT_EQ(mail.attachmentName(), "Ovelo.jpeg");
}

TEST_F(SmtpMailAgentTest, ServerThatRefusesEhloGetsTheMailAllTheSame) {
    const MailServer server({"noehlo"});

    EXPECT_EQ(sending({.port = server.port()}), "");

    EXPECT_TRUE(server.heard("HELO "));
    EXPECT_EQ(server.mails(), 1U);
}

TEST_F(SmtpMailAgentTest, ServerThatLeavesAtEhloIsReachedWithoutTheExtensionTest) {
    const MailServer server({"dropehlo"});

    EXPECT_THAT(sending({.port = server.port()}), HasSubstr("ended the connection"));
    EXPECT_EQ(server.mails(), 0U);

    EXPECT_EQ(sending({.port = server.port(), .skipsExtensionTest = true}, "Subject",
                      "A\n.\n..dots", picture_),
              "");
    const auto mail = server.mail();
    EXPECT_EQ(mail.defects(), "");
    EXPECT_EQ(mail.body(), "A\n.\n..dots");
    EXPECT_TRUE(isPicture(mail.attachment()));
}

TEST_F(SmtpMailAgentTest, WithoutTheExtensionTestEhloIsNotSaid) {
    const MailServer server({"long"});

    EXPECT_EQ(sending({.port = server.port(), .skipsExtensionTest = true}), "");

    EXPECT_FALSE(server.heard("EHLO"));
}

TEST_F(SmtpMailAgentTest, WithoutTheExtensionTestTheLoginIsTriedUnannounced) {
    const MailServer server({"hiddenauth"});

    EXPECT_EQ(sending({.port = server.port(), .skipsExtensionTest = true, .authInfo = login()}),
              "");

    EXPECT_EQ(server.logins(), "PLAIN me swordfish\n");
    EXPECT_EQ(server.mails(), 1U);
}

TEST_F(SmtpMailAgentTest, WithoutTheExtensionTestAServerThatKnowsNoLoginGetsTheMail) {
    const MailServer server({});

    EXPECT_EQ(sending({.port = server.port(), .skipsExtensionTest = true, .authInfo = login()}),
              "");

    EXPECT_EQ(server.mails(), 1U);
}

TEST_F(SmtpMailAgentTest, LoginIsOfferedAsTheServerWantsIt) {
    const MailServer plain({"plain"});
    EXPECT_EQ(sending({.port = plain.port(), .authInfo = login()}), "");
    EXPECT_EQ(plain.logins(), "PLAIN me swordfish\n");

    const MailServer twoSteps({"login"});
    EXPECT_EQ(sending({.port = twoSteps.port(), .authInfo = login()}), "");
    EXPECT_EQ(twoSteps.logins(), "LOGIN me swordfish\n");
}

TEST_F(SmtpMailAgentTest, LoginsOfOfficesAreLeftAlone) {
    const MailServer server({"domain", "plain"});

    EXPECT_EQ(sending({.port = server.port(),
                       .authInfo = {{std::string(EDSMTPUserName), "me@example.org"},
                                    {std::string(EDSMTPPassword), "swordfish"}}}),
              "");

    EXPECT_EQ(server.logins(), "PLAIN me@example.org swordfish\n");
}

TEST_F(SmtpMailAgentTest, UserNameAloneIsALoginWithAnEmptyPassword) {
    const MailServer server({"plain"});

    EXPECT_EQ(sending({.port = server.port(), .authInfo = {{std::string(EDSMTPUserName), "me"}}}),
              "");

    EXPECT_EQ(server.logins(), "PLAIN me \n");
}

TEST_F(SmtpMailAgentTest, NoLoginIsOfferedWithoutAUserName) {
    const MailServer server({"plain"});

    const std::string reason = sending({.port = server.port()});

    EXPECT_THAT(reason, HasSubstr("530 5.7.0 log in first"));
    EXPECT_FALSE(server.heard("AUTH"));
}

TEST_F(SmtpMailAgentTest, ServerWithoutLoginGetsTheMailWithout) {
    const MailServer server({});

    EXPECT_EQ(sending({.port = server.port(), .authInfo = login()}), "");

    EXPECT_FALSE(server.heard("AUTH"));
}

TEST_F(SmtpMailAgentTest, RefusedLoginIsToldInWordsAndWithoutThePassword) {
    for (const bool skips : {false, true}) {
        const MailServer server({"plain", "echo"});

        const std::string reason = sending(
            {.port = server.port(), .skipsExtensionTest = skips, .authInfo = login("opensesame")});

        EXPECT_THAT(reason, HasSubstr("refused the login"));
        EXPECT_THAT(reason, HasSubstr("535 5.7.8 not ..., ..., ..."));
        EXPECT_THAT(reason, Not(HasSubstr("opensesame")));
        EXPECT_EQ(server.mails(), 0U);
    }
}

TEST_F(SmtpMailAgentTest, PortWithTlsSpeaksItFromTheFirstByte) {
    for (const bool skips : {false, true}) {
        const MailServer server({certificate_.file(), certificate_.key(), "tls", "plain",
                                 skips ? "hiddenauth" : "login"});

        EXPECT_EQ(sending({.port = server.port(),
                           .isSecure = true,
                           .isImplicit = true,
                           .skipsExtensionTest = skips,
                           .authInfo = login(),
                           .certificates = certificate_.file()}),
                  "");

        EXPECT_THAT(server.dialogue(), StartsWith("TLS\n"));
        EXPECT_EQ(server.mails(), 1U);
    }
}

TEST_F(SmtpMailAgentTest, OtherPortsBecomeSecretBeforeTheLogin) {
    for (const bool skips : {false, true}) {
        const MailServer server({certificate_.file(), certificate_.key(), "starttls", "plain"});

        EXPECT_EQ(sending({.port = server.port(),
                           .isSecure = true,
                           .skipsExtensionTest = skips,
                           .authInfo = login(),
                           .certificates = certificate_.file()}),
                  "");

        const std::string dialogue = server.dialogue();
        EXPECT_LT(dialogue.find("\nTLS\n"), dialogue.find("AUTH"));
        EXPECT_EQ(server.mails(), 1U);
    }
}

TEST_F(SmtpMailAgentTest, NothingIsSaidInPlainTextWhenStarttlsIsNotOffered) {
    for (const bool skips : {false, true}) {
        for (const char* other : {"plain", "noehlo"}) {
            const MailServer server({"plain", other});

            const std::string reason = sending({.port = server.port(),
                                                .isSecure = true,
                                                .skipsExtensionTest = skips,
                                                .authInfo = login(),
                                                .certificates = certificate_.file()});

            EXPECT_NE(reason, "");
            EXPECT_FALSE(server.heard("AUTH")) << server.dialogue();
            EXPECT_FALSE(server.heard("MAIL")) << server.dialogue();
            EXPECT_FALSE(server.heard("HELO")) << server.dialogue();
        }
    }
}

TEST_F(SmtpMailAgentTest, MissingStarttlsIsNamed) {
    const MailServer server({"plain"});

    EXPECT_THAT(sending({.port = server.port(), .isSecure = true}), HasSubstr("STARTTLS"));
}

TEST_F(SmtpMailAgentTest, CertificateOfAStrangerIsRefused) {
    for (const bool isImplicit : {false, true}) {
        for (const bool skips : {false, true}) {
            const MailServer server({certificate_.file(), certificate_.key(), "plain",
                                     isImplicit ? "tls" : "starttls"});

            const std::string reason = sending({.port = server.port(),
                                                .isSecure = true,
                                                .isImplicit = isImplicit,
                                                .skipsExtensionTest = skips,
                                                .authInfo = login(),
                                                .certificates = stranger_.file()});

            EXPECT_THAT(reason, StartsWith("The certificate of localhost is not trusted: "));
            EXPECT_FALSE(server.heard("AUTH"));
            EXPECT_FALSE(server.heard("MAIL"));
        }
    }
}

TEST_F(SmtpMailAgentTest, SystemsCertificatesAreTheRuleAndDoNotVouchForATest) {
    const MailServer server({certificate_.file(), certificate_.key(), "starttls"});

    EXPECT_THAT(sending({.port = server.port(), .isSecure = true}), HasSubstr("is not trusted"));
}

TEST_F(SmtpMailAgentTest, CertificateOfAnotherNameIsRefused) {
    const TestCertificate other("DNS:mail.example.org");
    const MailServer server({other.file(), other.key(), "starttls"});

    EXPECT_THAT(sending({.port = server.port(), .isSecure = true, .certificates = other.file()}),
                AllOf(HasSubstr("is not trusted"), HasSubstr("localhost")));
}

TEST_F(SmtpMailAgentTest, PlainPortDoesNotPassForASecretOne) {
    const MailServer server({});

    EXPECT_THAT(sending({.port = server.port(), .isSecure = true, .isImplicit = true}),
                HasSubstr("No secure connection"));
}

TEST_F(SmtpMailAgentTest, RefusalsAreToldInTheServersWords) {
    const MailServer greylist({"greylist"});
    EXPECT_THAT(sending({.port = greylist.port()}),
                HasSubstr("The server says: 451 4.7.1 come again in five minutes"));
    EXPECT_THAT(sending({.port = greylist.port(), .skipsExtensionTest = true}),
                HasSubstr("The server says: 451 4.7.1 come again in five minutes"));

    const MailServer reject({"reject"});
    EXPECT_THAT(sending({.port = reject.port()}), HasSubstr("550 5.1.1 no such user"));
}

TEST_F(SmtpMailAgentTest, ConnectionLostInTheMailIsAFailure) {
    for (const bool skips : {false, true}) {
        const MailServer server({"dropdata"});

        EXPECT_THAT(sending({.port = server.port(), .skipsExtensionTest = skips}, "Subject", "Body",
                            picture_),
                    HasSubstr("ended the connection"));
    }
}

TEST_F(SmtpMailAgentTest, ServerOfAnotherKindIsNamedSo) {
    for (const bool skips : {false, true}) {
        const MailServer server({"nonsense"});

        EXPECT_THAT(sending({.port = server.port(), .skipsExtensionTest = skips, .limit = 200ms}),
                    HasSubstr(skips ? "does not answer as a mail server"
                                    : "did not answer in time")); // libcurl waits for a greeting
    }
}

TEST_F(SmtpMailAgentTest, SilentServerIsGivenUp) {
    for (const char* mode : {"silent", "silentdata"}) {
        for (const bool skips : {false, true}) {
            const MailServer server({mode});

            EXPECT_THAT(
                sending({.port = server.port(), .skipsExtensionTest = skips, .limit = 150ms}),
                HasSubstr("did not answer in time"));
        }
    }
}

TEST_F(SmtpMailAgentTest, ServerThatDoesNotAnswerQuitHasTheMail) {
    for (const bool skips : {false, true}) {
        const MailServer server({"silentquit"});
        const auto before = std::chrono::steady_clock::now();

        EXPECT_EQ(sending({.port = server.port(), .skipsExtensionTest = skips}), "");

        EXPECT_LT(std::chrono::steady_clock::now() - before, 3s);
        EXPECT_EQ(server.mails(), 1U);
    }
}

TEST_F(SmtpMailAgentTest, WaitForASilentServerIsCancelledAtOnce) {
    const std::pair<const char*, const char*> kinds[] = {{"silent", "connected"},
                                                         {"silentdata", "mail"}};
    for (const auto& [mode, lastWord] : kinds) {
        for (const bool skips : {false, true}) {
            const MailServer server({mode});

            const auto [reason, time] =
                cancelled({.port = server.port(), .skipsExtensionTest = skips},
                          [&, word = lastWord] { return server.heard(word); });

            EXPECT_EQ(reason, "Sending was cancelled.");
            EXPECT_LT(time, 100ms) << mode;
        }
    }
}

TEST_F(SmtpMailAgentTest, WaitForTlsIsCancelledAtOnce) {
    for (const bool skips : {false, true}) {
        const MailServer server({"silent"});

        const auto [reason, time] = cancelled({.port = server.port(),
                                               .isSecure = true,
                                               .isImplicit = true,
                                               .skipsExtensionTest = skips,
                                               .certificates = certificate_.file()},
                                              [&] { return server.heard("connected"); });

        EXPECT_EQ(reason, "Sending was cancelled.");
        EXPECT_LT(time, 100ms);
    }
}

TEST_F(SmtpMailAgentTest, MailThatIsNotReadIsCancelledAtOnce) {
    const Data large = makeData(Bytes(6'000'000)); // more than the system's buffers hold
    for (const bool isSecure : {false, true}) {
        for (const bool skips : {false, true}) {
            const MailServer server(
                {certificate_.file(), certificate_.key(), isSecure ? "tls" : "long", "stalldata"});

            const auto [reason, time] = cancelled(
                {.port = server.port(),
                 .isSecure = isSecure,
                 .isImplicit = isSecure,
                 .skipsExtensionTest = skips,
                 .certificates = certificate_.file()},
                [&] { return server.heard("stalled"); }, large);

            EXPECT_EQ(reason, "Sending was cancelled.");
            EXPECT_LT(time, 100ms) << (isSecure ? "secure" : "plain") << (skips ? ", HELO" : "");
        }
    }
}

TEST_F(SmtpMailAgentTest, NothingIsSentAfterAStopRequest) {
    const MailServer server({});
    std::stop_source stop;
    stop.request_stop();

    for (const bool skips : {false, true}) {
        EXPECT_EQ(
            sending({.port = server.port(), .skipsExtensionTest = skips, .stop = stop.get_token()}),
            "Sending was cancelled.");
    }
    EXPECT_EQ(server.dialogue(), "");
}

TEST_F(SmtpMailAgentTest, PortThatNobodyListensOnIsToldSo) {
    std::uint16_t port = 0;
    {
        const LoopbackListener listener(1);
        port = listener.port();
    }

    EXPECT_EQ(sending({.port = port}), "There is no connection to localhost, port " +
                                           std::to_string(port) + ": Connection refused.");
}

TEST_F(SmtpMailAgentTest, ManyMailsAtOnceDoNotDisturbEachOther) {
    const MailServer server({certificate_.file(), certificate_.key(), "starttls", "plain"});
    std::vector<std::future<std::string>> outcomes;
    for (int i = 0; i < 8; ++i) {
        outcomes.push_back(std::async(std::launch::async, [&] {
            return sending({.port = server.port(),
                            .isSecure = true,
                            .authInfo = login(),
                            .certificates = certificate_.file()});
        }));
    }

    for (auto& outcome : outcomes) {
        EXPECT_EQ(outcome.get(), "");
    }
}

class IndependentServerTest : public SmtpMailAgentTest,
                              public ::testing::WithParamInterface<const char*> {
protected:
    /// mode  "tls" or "starttls"
    void sendTo(const MailServer& server, const std::string& mode) const {
        EXPECT_THAT(sending(wish(server, mode, login("guess"))), HasSubstr("refused the login"));
        EXPECT_EQ(sending(wish(server, mode, login()), "Überraschung", "Grüße\n.\nend", picture_),
                  "");
        ASSERT_TRUE(eventually([&] { return server.mails() == 1; }));
        const auto mail = server.mail();
        EXPECT_EQ(mail.defects(), "");
        EXPECT_EQ(mail.field("subject"), "Überraschung");
        EXPECT_EQ(mail.body(), "Grüße\n.\nend");
        EXPECT_TRUE(isPicture(mail.attachment()));
    }

private:
    [[nodiscard]] Wish wish(const MailServer& server, const std::string& mode,
                            const EDMailAgent::AuthInfo& authInfo) const {
        return {.port = server.port(),
                .isSecure = true,
                .isImplicit = mode == "tls",
                .authInfo = authInfo,
                .certificates = certificate_.file()};
    }
};

TEST_P(IndependentServerTest, AiosmtpdTakesTheMail) {
    const MailServer server({certificate_.file(), certificate_.key(), GetParam()},
                            "aiosmtpd_server.py");
    ASSERT_NE(server.port(), 0) << "script/bootstrap --tests installs it";

    sendTo(server, GetParam());
}

TEST_P(IndependentServerTest, EximTakesTheMail) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "exim takes mail for root alone";
    }
    if (!std::filesystem::exists("/usr/sbin/exim4")) {
        GTEST_SKIP() << "exim is not installed where another mail server is";
    }
    const MailServer server({certificate_.file(), certificate_.key(), GetParam()},
                            "exim_server.py");

    sendTo(server, GetParam());
}

INSTANTIATE_TEST_SUITE_P(, IndependentServerTest, ::testing::Values("tls", "starttls"),
                         [](const auto& mode) { return std::string(mode.param); });

} // namespace
} // namespace ovelo
