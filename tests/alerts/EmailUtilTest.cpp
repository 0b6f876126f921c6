#include "alerts/EmailUtil.h"

#include "fakes/Eventually.h"
#include "fakes/FakeMailAgent.h"
#include "fakes/TestLog.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"

#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <future>
#include <set>
#include <thread>

namespace ovelo {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

const std::string kMotionBody =
    "A motion has been detected from your webcam.  Please see the attached image.  You may also "
    "view your webcam from Ovelo on your iPhone/iPod.";

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t result = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++result;
    }
    return result;
}

/// The test's thread is the main thread, which serves only where a test says so.
class EmailUtilTest : public ::testing::Test {
protected:
    EmailUtilTest() {
        MainThread::begin();
        settings_.setString("smtpHost", "mail.example.org");
        settings_.setString("smtpEmail", "me@example.org");
    }
    ~EmailUtilTest() override { MainThread::end(); }

    EmailUtil::AlertFunction alert() {
        return [this](const std::string& message, const std::string& informativeText) {
            alertThread_ = std::this_thread::get_id();
            alerts_.push_back(message + " -- " + informativeText);
        };
    }
    void sendTest() {
        mail_->sendTestEmail(alert());
        ASSERT_TRUE(served([this] { return !alerts_.empty(); }));
    }
    static bool served(const std::function<bool()>& done) {
        return MainThread::serveUntil(done, std::chrono::seconds(5));
    }

    TestLog log_;
    MemorySettings settings_;
    FakeMailServer server_;
    EmailUtil::Environment environment_{settings_, log_.log(), server_.factory()};
    std::unique_ptr<EmailUtil> mail_ = std::make_unique<EmailUtil>(environment_);
    const Data jpeg_ = makeData({0xFF, 0xD8, 0x00, 0x0D, 0x0A, 0xFF, 0xD9});
    std::vector<std::string> alerts_;
    std::thread::id alertThread_;
};

TEST_F(EmailUtilTest, MotionMailGoesFromTheUserToTheUserWithThePicture) {
    mail_->sendEmailThread(jpeg_);

    ASSERT_EQ(server_.mails().size(), 1U);
    const auto mail = server_.mails().front();
    EXPECT_THAT(mail.headers,
                UnorderedElementsAre(Pair(EDMailTo, "me@example.org"),
                                     Pair(EDMailFrom, "me@example.org"),
                                     Pair(EDMailSubject, "Message from Ovelo Motion Detector")));
    EXPECT_EQ(mail.body, kMotionBody);
    EXPECT_EQ(mail.attachment, *jpeg_);
    EXPECT_EQ(mail.attachmentName, "Ovelo.jpeg");
}

TEST_F(EmailUtilTest, TestMailHasItsOwnTextsAndNoAttachment) {
    sendTest();

    ASSERT_EQ(server_.mails().size(), 1U);
    const auto mail = server_.mails().front();
    EXPECT_THAT(mail.headers, UnorderedElementsAre(Pair(EDMailTo, "me@example.org"),
                                                   Pair(EDMailFrom, "me@example.org"),
                                                   Pair(EDMailSubject, "Test Message from Ovelo")));
    EXPECT_EQ(mail.body, "This is a test message from Ovelo.");
    EXPECT_FALSE(mail.attachment.has_value());
    EXPECT_THAT(alerts_, ElementsAre("Email is sent to me@example.org successfully. -- "));
    EXPECT_EQ(alertThread_, std::this_thread::get_id());
}

TEST_F(EmailUtilTest, ConnectionsAreSecureAndPortIsTheAgentsOwnWhenNothingIsSet) {
    mail_->sendEmailThread(jpeg_);

    EXPECT_THAT(server_.calls(), ElementsAre("host mail.example.org", "secure", "send"));
}

TEST_F(EmailUtilTest, PortAndSecurityAreTheUsers) {
    settings_.setString("smtpPort", "2525");
    settings_.setBoolean("smtpSsl", false);

    mail_->sendEmailThread(jpeg_);

    EXPECT_THAT(server_.calls(),
                ElementsAre("host mail.example.org", "setPort 2525", "not secure", "send"));
}

TEST_F(EmailUtilTest, EmptyPortIsTheAgentsOwn) {
    settings_.setString("smtpPort", "");

    mail_->sendEmailThread(jpeg_);

    EXPECT_THAT(server_.calls(), ElementsAre("host mail.example.org", "secure", "send"));
}

TEST_F(EmailUtilTest, PortThatIsNoNumberReachesTheAgentAsZero) {
    settings_.setString("smtpPort", "smtps");

    mail_->sendEmailThread(jpeg_);

    EXPECT_THAT(server_.calls(),
                ElementsAre("host mail.example.org", "setPort 0", "secure", "send"));
}

TEST_F(EmailUtilTest, LoginIsUserNameAndPassword) {
    settings_.setString("smtpLogin", "me");
    settings_.setString("smtpPass", "swordfish");

    mail_->sendEmailThread(jpeg_);

    EXPECT_THAT(
        server_.mails().at(0).authInfo,
        UnorderedElementsAre(Pair(EDSMTPUserName, "me"), Pair(EDSMTPPassword, "swordfish")));
}

TEST_F(EmailUtilTest, LoginWithoutPasswordIsTheUserNameAlone) {
    settings_.setString("smtpLogin", "me");
    mail_->sendEmailThread(jpeg_);
    settings_.setString("smtpPass", "");
    mail_->sendEmailThread(jpeg_);

    EXPECT_THAT(server_.mails().at(0).authInfo, ElementsAre(Pair(EDSMTPUserName, "me")));
    EXPECT_THAT(server_.mails().at(1).authInfo, ElementsAre(Pair(EDSMTPUserName, "me")));
}

TEST_F(EmailUtilTest, PasswordWithoutUserNameIsNotOfferedAtAll) {
    settings_.setString("smtpPass", "swordfish");
    mail_->sendEmailThread(jpeg_);
    settings_.setString("smtpLogin", "");
    mail_->sendEmailThread(jpeg_);

    EXPECT_TRUE(server_.mails().at(0).authInfo.empty());
    EXPECT_TRUE(server_.mails().at(1).authInfo.empty());
}

TEST_F(EmailUtilTest, SettingsAreReadAfreshForEachMail) {
    mail_->sendEmailThread(jpeg_);
    settings_.setString("smtpEmail", "you@example.org");

    mail_->sendEmailThread(jpeg_);

    EXPECT_EQ(server_.mails().at(1).headers.at(std::string(EDMailTo)), "you@example.org");
}

TEST_F(EmailUtilTest, SecondAttemptSkipsTheExtensionTestBeforeThePortIsSet) {
    settings_.setString("smtpPort", "587");
    server_.failWith({"EHLO refused", ""});

    mail_->sendEmailThread(jpeg_);

    EXPECT_THAT(server_.calls(),
                ElementsAre("host mail.example.org", "setPort 587", "secure", "send",
                            "host mail.example.org", "skips the extension test", "setPort 587",
                            "secure", "send"));
    EXPECT_EQ(server_.mails().at(1).attachment, *jpeg_);
}

TEST_F(EmailUtilTest, SecondAttemptThatSucceedsLeavesOneLineAndNoErrorInTheLog) {
    server_.failWith({"EHLO refused", ""});

    mail_->sendEmailThread(jpeg_);

    const std::string text = log_.text();
    EXPECT_EQ(count(text, "Sendig Email to me@example.org, SMTP Host mail.example.org\n"), 1U);
    EXPECT_EQ(count(text, "\n"), 1U) << text;
}

TEST_F(EmailUtilTest, TwoFailuresOfAMotionMailAreLoggedWithTheSecondReason) {
    server_.failWith({"first", "second"});

    mail_->sendEmailThread(jpeg_);

    const std::string text = log_.text();
    EXPECT_TRUE(text.ends_with(": Email error: second\n")) << text;
    EXPECT_EQ(count(text, "\n"), 2U) << text;
    EXPECT_EQ(server_.mails().size(), 2U);
}

TEST_F(EmailUtilTest, TwoFailuresOfATestMailAreLoggedAndShown) {
    server_.failWith({"first", "second"});

    sendTest();

    EXPECT_THAT(alerts_, ElementsAre("Failed to send Email. -- Error: second"));
    EXPECT_TRUE(log_.contains("Email error: second\n"));
}

TEST_F(EmailUtilTest, SecondAttemptOfATestMailThatSucceedsIsASuccess) {
    server_.failWith({"first", ""});

    sendTest();

    EXPECT_THAT(alerts_, ElementsAre("Email is sent to me@example.org successfully. -- "));
    EXPECT_FALSE(log_.contains("Email error"));
}

TEST_F(EmailUtilTest, TestWithoutAddressIsRefusedAndNotLogged) {
    settings_.remove("smtpEmail");

    mail_->sendTestEmail(alert());

    EXPECT_THAT(alerts_, ElementsAre("Unable to send Email -- Host or Email Address is invalid."));
    EXPECT_EQ(log_.text(), "");
    EXPECT_TRUE(server_.calls().empty());
    EXPECT_FALSE(mail_->isTesting());
}

TEST_F(EmailUtilTest, TestWithoutHostIsRefusedAndNotLogged) {
    settings_.remove("smtpHost");

    mail_->sendTestEmail(alert());

    EXPECT_THAT(alerts_, ElementsAre("Unable to send Email -- Host or Email Address is invalid."));
    EXPECT_EQ(log_.text(), "");
}

TEST_F(EmailUtilTest, MotionMailWithoutHostOrAddressIsSilentlyNotSent) {
    settings_.remove("smtpHost");
    mail_->sendEmailThread(jpeg_);
    settings_.setString("smtpHost", "mail.example.org");
    settings_.remove("smtpEmail");
    mail_->sendEmailThread(jpeg_);

    EXPECT_TRUE(server_.calls().empty());
    EXPECT_EQ(log_.text(), "");
}

TEST_F(EmailUtilTest, AddressIsTestedForPresenceOnly) {
    settings_.setString("smtpEmail", "");

    mail_->sendEmailThread(jpeg_);

    EXPECT_EQ(server_.mails().size(), 1U);
}

TEST_F(EmailUtilTest, NoSecretIsLogged) {
    settings_.setString("smtpLogin", "me");
    settings_.setString("smtpPass", "swordfish");
    server_.failWith({"first", "second"});

    mail_->sendEmailThread(jpeg_);

    EXPECT_FALSE(log_.contains("swordfish"));
}

TEST_F(EmailUtilTest, MotionMailIsSentOnAThreadOfItsOwn) {
    server_.open(false);

    mail_->sendMotionEmail(jpeg_); // returns though the server keeps its sender waiting
    ASSERT_TRUE(eventually([&] { return server_.mails().size() == 1; }));
    EXPECT_TRUE(mail_->isSending());

    server_.open(true);
    EXPECT_TRUE(eventually([&] { return !mail_->isSending(); }));
}

TEST_F(EmailUtilTest, PictureIsLetGoWhenTheMailIsSent) {
    Data picture = makeData({1, 2, 3});
    const std::weak_ptr<const Bytes> left = picture;

    mail_->sendMotionEmail(picture);
    picture.reset();

    EXPECT_TRUE(eventually([&] { return left.expired(); }));
    EXPECT_EQ(server_.mails().size(), 1U);
}

TEST_F(EmailUtilTest, FifthMailAtOnceIsDroppedAndLogged) {
    server_.open(false);
    for (std::size_t i = 0; i < EmailUtil::kMailsAtOnce + 1; ++i) {
        mail_->sendMotionEmail(jpeg_);
    }

    ASSERT_TRUE(eventually([&] { return server_.mails().size() == EmailUtil::kMailsAtOnce; }));
    EXPECT_EQ(count(log_.text(), "Email dropped: too many are being sent\n"), 1U);

    server_.open(true);
    ASSERT_TRUE(eventually([&] { return !mail_->isSending(); }));
    EXPECT_EQ(server_.mails().size(), EmailUtil::kMailsAtOnce);
}

TEST_F(EmailUtilTest, TestMailIsSentWhileAlertsHang) {
    server_.open(false);
    for (std::size_t i = 0; i < EmailUtil::kMailsAtOnce; ++i) {
        mail_->sendMotionEmail(jpeg_);
    }
    mail_->sendTestEmail(alert());

    EXPECT_TRUE(eventually([&] { return server_.mails().size() == EmailUtil::kMailsAtOnce + 1; }));
}

TEST_F(EmailUtilTest, EndDoesNotWaitForAServer) {
    server_.open(false);
    mail_->sendMotionEmail(jpeg_);
    mail_->sendTestEmail(alert());
    ASSERT_TRUE(eventually([&] { return server_.mails().size() == 2; }));
    const auto before = std::chrono::steady_clock::now();

    mail_.reset();

    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(200));
    EXPECT_EQ(server_.mails().size(), 2U) << "a cancelled mail is not tried again";
    MainThread::serve();
    EXPECT_TRUE(alerts_.empty());
}

TEST_F(EmailUtilTest, MainThreadServesOthersWhileATestMailIsUnderWay) {
    server_.open(false);
    mail_->sendTestEmail(alert());
    std::promise<void> wasServed;
    std::jthread viewer([&] {
        MainThread::performAndWait([] {});
        wasServed.set_value();
    });
    auto outcome = wasServed.get_future();

    EXPECT_TRUE(served(
        [&] { return outcome.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    EXPECT_TRUE(mail_->isTesting());

    server_.open(true);
    EXPECT_TRUE(served([&] { return alerts_.size() == 1; }));
}

TEST_F(EmailUtilTest, SecondTestWhileOneRunsIsIgnored) {
    server_.open(false);
    mail_->sendTestEmail(alert());
    mail_->sendTestEmail(alert());
    server_.open(true);

    ASSERT_TRUE(served([&] { return !mail_->isTesting() && !mail_->isSending(); }));
    EXPECT_EQ(alerts_.size(), 1U);
    EXPECT_EQ(server_.mails().size(), 1U);
}

TEST_F(EmailUtilTest, TestAskedForFromWithinTheAlertIsIgnored) {
    mail_->sendTestEmail([this](const std::string& message, const std::string&) {
        alerts_.push_back(message);
        mail_->sendTestEmail(alert());
    });
    ASSERT_TRUE(served([&] { return !alerts_.empty() && !mail_->isTesting(); }));

    EXPECT_EQ(alerts_.size(), 1U);
    EXPECT_EQ(server_.mails().size(), 1U);
}

TEST_F(EmailUtilTest, AlertMayEndTheObject) {
    mail_->sendTestEmail([this](const std::string& message, const std::string&) {
        mail_.reset();
        alerts_.push_back(message);
    });

    EXPECT_TRUE(served([&] { return alerts_.size() == 1; }));
}

TEST_F(EmailUtilTest, ChangesOfSendingAreToldOnTheMainThread) {
    std::vector<std::array<bool, 2>> seen;
    std::set<std::thread::id> threads;
    mail_->sendingChanged().connect([&] {
        seen.push_back({mail_->isSending(), mail_->isTesting()});
        threads.insert(std::this_thread::get_id());
    });
    server_.open(false);

    mail_->sendTestEmail([&](const std::string&, const std::string&) {
        EXPECT_FALSE(mail_->isSending()) << "told before the alert waits for the user";
    });
    ASSERT_TRUE(served([&] { return !seen.empty(); }));
    EXPECT_EQ(seen.back(), (std::array{true, true}));
    server_.open(true);

    EXPECT_TRUE(served([&] { return seen.back() == std::array{false, false}; }));
    EXPECT_THAT(threads, ElementsAre(std::this_thread::get_id()));
}

TEST_F(EmailUtilTest, MotionMailsAreToldToo) {
    int told = 0;
    mail_->sendingChanged().connect([&] { ++told; });

    mail_->sendMotionEmail(jpeg_);

    EXPECT_TRUE(served([&] { return told == 2 && !mail_->isSending(); }));
}

TEST_F(EmailUtilTest, SharedInstanceIsMadeOnceThoughManyThreadsAsk) {
    EmailUtil::install(environment_);
    std::array<EmailUtil*, 8> seen{};
    {
        std::vector<std::jthread> threads;
        for (auto& place : seen) {
            threads.emplace_back([&place] { place = &EmailUtil::sharedInstance(); });
        }
    }

    EXPECT_THAT(seen, ::testing::Each(&EmailUtil::sharedInstance()));
    EmailUtil::deleteSharedInstance();
}

TEST_F(EmailUtilTest, DeletedSharedInstanceIsMadeAnewWhenAskedFor) {
    EmailUtil::deleteSharedInstance(); // there may be none
    EmailUtil::install(environment_);
    server_.open(false);
    EmailUtil::sharedInstance().sendMotionEmail(jpeg_);
    ASSERT_TRUE(eventually([&] { return server_.mails().size() == 1; }));

    EmailUtil::deleteSharedInstance();

    EXPECT_FALSE(EmailUtil::sharedInstance().isSending());
    EmailUtil::deleteSharedInstance();
}

} // namespace
} // namespace ovelo
