// Alerts that go through the whole way to a mail server on loopback.

#include "alerts/EmailUtil.h"
#include "fakes/Eventually.h"
#include "fakes/MailServer.h"
#include "fakes/TestLog.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"

#include <gmock/gmock.h>

#include <chrono>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class EmailUtilSmtpTest : public ::testing::Test {
protected:
    EmailUtilSmtpTest() {
        MainThread::begin();
        settings_.setString("smtpHost", "localhost");
        settings_.setString("smtpEmail", "me@example.org");
        settings_.setBoolean("smtpSsl", false);
    }
    ~EmailUtilSmtpTest() override { MainThread::end(); }

    void use(const MailServer& server) {
        settings_.setString("smtpPort", std::to_string(server.port()));
    }

    /// return  the alert of a test message
    std::string tested() {
        std::string alert;
        mail_->sendTestEmail([&](const std::string& message, const std::string& informativeText) {
            alert = message + " -- " + informativeText;
        });
        EXPECT_TRUE(MainThread::serveUntil([&] { return !alert.empty(); }, 20s));
        return alert;
    }

    /// The lines of the log without their dates.
    [[nodiscard]] std::string logged() const {
        constexpr std::size_t kDate = sizeof "2010-03-01 14:05:09 +0100: " - 1;
        std::string result;
        std::istringstream lines(log_.text());
        for (std::string line; std::getline(lines, line);) {
            result += line.substr(kDate) + "\n";
        }
        return result;
    }

    TestLog log_;
    MemorySettings settings_;
    EDMailAgent::Options options_;
    std::unique_ptr<EmailUtil> mail_ = std::make_unique<EmailUtil>(EmailUtil::Environment{
        settings_, log_.log(), [this](const std::string& host) {
            return EDMailAgent::mailAgentForRelayHostWithName(host, options_);
        }});
};

constexpr const char* kSending = "Sendig Email to me@example.org, SMTP Host localhost\n";

TEST_F(EmailUtilSmtpTest, MotionMailArrives) {
    const MailServer server({});
    use(server);

    mail_->sendEmailThread(makeData({0xFF, 0xD8, 0x0D, 0x0A, 0x00, 0xFF, 0xD9}));

    const auto mail = server.mail();
    EXPECT_EQ(mail.defects(), "");
    EXPECT_EQ(mail.field("from"), "me@example.org");
    EXPECT_EQ(mail.field("to"), "me@example.org");
    EXPECT_EQ(mail.field("subject"), "Message from Ovelo Motion Detector");
    EXPECT_EQ(mail.body(),
              "A motion has been detected from your webcam.  Please see the attached image.  You "
              "may also view your webcam from Ovelo on your iPhone/iPod.");
    EXPECT_EQ(mail.attachment(), std::string("\xFF\xD8\x0D\x0A\x00\xFF\xD9", 7));
    EXPECT_EQ(mail.attachmentName(), "Ovelo.jpeg");
    EXPECT_EQ(logged(), kSending);
}

TEST_F(EmailUtilSmtpTest, TestMailArrives) {
    const MailServer server({});
    use(server);

    EXPECT_EQ(tested(), "Email is sent to me@example.org successfully. -- ");

    const auto mail = server.mail();
    EXPECT_EQ(mail.field("subject"), "Test Message from Ovelo");
    EXPECT_EQ(mail.body(), "This is a test message from Ovelo.");
    EXPECT_EQ(mail.attachmentName(), "");
}

TEST_F(EmailUtilSmtpTest, ServersThatRejectTheExtensionTestGetTheMailAndNoErrorIsLogged) {
    for (const char* kind : {"noehlo", "dropehlo"}) {
        const MailServer server({kind});
        use(server);
        log_.log().clear();

        mail_->sendEmailThread(makeData({1}));

        EXPECT_EQ(server.mails(), 1U);
        EXPECT_EQ(logged(), kSending);
    }
}

TEST_F(EmailUtilSmtpTest, ServerThatPutsOffIsAskedTwiceAndQuoted) {
    const MailServer server({"greylist"});
    use(server);

    EXPECT_THAT(tested(), StartsWith("Failed to send Email. -- Error: localhost, port "));

    EXPECT_THAT(logged(), HasSubstr("Email error: localhost, port "));
    EXPECT_THAT(logged(), HasSubstr("451 4.7.1 come again in five minutes\n"));
    EXPECT_TRUE(server.heard("EHLO"));
    EXPECT_TRUE(server.heard("HELO"));
}

TEST_F(EmailUtilSmtpTest, PasswordIsNeitherLoggedNorShownThoughTheServerRepeatsIt) {
    const MailServer server({"plain", "echo"});
    use(server);
    settings_.setString("smtpLogin", "me");
    settings_.setString("smtpPass", "opensesame");

    const std::string alert = tested();

    EXPECT_THAT(server.logins(), HasSubstr("opensesame"));
    for (const auto& text : {alert, log_.text()}) {
        EXPECT_THAT(text, HasSubstr("535 5.7.8 not ..., ..., ..."));
        EXPECT_THAT(text, Not(HasSubstr("opensesame")));
    }
}

TEST_F(EmailUtilSmtpTest, ConnectionsAreSecureWhenNothingIsSet) {
    const MailServer server({"plain"});
    use(server);
    settings_.remove("smtpSsl");
    settings_.setString("smtpLogin", "me");
    settings_.setString("smtpPass", "swordfish");

    EXPECT_THAT(tested(), HasSubstr("does not offer a secure connection"));

    EXPECT_EQ(server.logins(), "");
    EXPECT_EQ(server.mails(), 0U);
}

TEST_F(EmailUtilSmtpTest, UnusableSettingsAreNamed) {
    settings_.setString("smtpPort", "smtps");
    EXPECT_THAT(tested(), HasSubstr("The port of the mail server is not valid"));

    settings_.setString("smtpPort", "");
    settings_.setString("smtpHost", "me@localhost");
    EXPECT_THAT(tested(), HasSubstr("The name of the mail server is not valid"));

    settings_.setString("smtpHost", "localhost");
    settings_.setString("smtpEmail", "me@example.org\nBcc: you@example.org");
    EXPECT_THAT(tested(), StartsWith("Failed to send Email."));
}

TEST_F(EmailUtilSmtpTest, EndDoesNotWaitForASilentServer) {
    const MailServer server({"silent"});
    use(server);
    mail_->sendMotionEmail(makeData({1}));
    ASSERT_TRUE(eventually([&] { return server.heard("connected"); }));
    const auto before = std::chrono::steady_clock::now();

    mail_.reset();

    EXPECT_LT(std::chrono::steady_clock::now() - before, 200ms);
    EXPECT_EQ(logged(), std::string(kSending) + "Email error: Sending was cancelled.\n");
}

} // namespace
} // namespace ovelo
