#include "ui/EmailPage.h"

#include "ui/DocumentFixture.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

namespace ovelo {

class EmailPageTest : public DocumentFixture {
protected:
    EmailPageTest() { page_.show(); }

    void enter(const char* key, const char* text) {
        auto& edit = child<QLineEdit>(page_, key);
        edit.setFocus();
        edit.selectAll();
        QTest::keyClick(&edit, Qt::Key_Delete);
        QTest::keyClicks(&edit, QString::fromUtf8(text));
        QTest::keyClick(&edit, Qt::Key_Return);
        settle();
    }

    bool isHinting() { return child<QLabel>(page_, "emailHint").isVisible(); }

    EmailPage page_{document_, settings_};
};

TEST_F(EmailPageTest, EveryFieldIsASetting) {
    const std::pair<const char*, const char*> fields[] = {{"smtpHost", "mail.example.org"},
                                                          {"smtpPort", "587"},
                                                          {"smtpEmail", "me@example.org"},
                                                          {"smtpLogin", "me"},
                                                          {"smtpPass", "secret"}};
    for (const auto& [key, text] : fields) {
        enter(key, text);
        EXPECT_EQ(settings_.string(key), text);
        enter(key, "");
        EXPECT_FALSE(settings_.contains(key)) << key;
    }
}

TEST_F(EmailPageTest, PasswordIsMasked) {
    EXPECT_EQ(child<QLineEdit>(page_, "smtpPass").echoMode(), QLineEdit::Password);
}

TEST_F(EmailPageTest, RefusesAPortThatIsNoneAndAHostWithBlanks) {
    enter("smtpPort", "465");
    for (const char* text : {"mail", "0", "65536", "-1", "46 5"}) {
        enter("smtpPort", text);
        EXPECT_EQ(settings_.string("smtpPort"), "465") << text;
        EXPECT_TRUE(isHinting()) << text;
    }
    enter("smtpHost", "mail example.org");
    EXPECT_FALSE(settings_.contains("smtpHost"));
    EXPECT_TRUE(isHinting());

    enter("smtpHost", "mail.example.org");
    EXPECT_FALSE(isHinting());
}

TEST_F(EmailPageTest, SaysThatAMailIsBeingSent) {
    settings_.setString("smtpHost", "mail.example.org");
    settings_.setString("smtpEmail", "me@example.org");
    mailServer_.open(false);
    EXPECT_FALSE(child<QLabel>(page_, "sendingEmail").isVisible());

    child<QPushButton>(page_, "testEmail").click();
    EXPECT_TRUE(runLoopUntil([&] { return child<QLabel>(page_, "sendingEmail").isVisible(); }));
    EXPECT_FALSE(child<QPushButton>(page_, "testEmail").isEnabled());

    mailServer_.open(true);
    EXPECT_TRUE(runLoopUntil([&] { return !child<QLabel>(page_, "sendingEmail").isVisible(); }));
    EXPECT_TRUE(runLoopUntil([&] { return child<QPushButton>(page_, "testEmail").isEnabled(); }));
    ASSERT_EQ(mailServer_.mails().size(), 1U);
}

TEST_F(EmailPageTest, TheAccountCanBeTriedWhileAnAlertHangs) {
    settings_.setString("smtpHost", "mail.example.org");
    settings_.setString("smtpEmail", "me@example.org");
    mailServer_.open(false);
    email_.sendMotionEmail(makeData({}));
    ASSERT_TRUE(runLoopUntil([&] { return child<QLabel>(page_, "sendingEmail").isVisible(); }));

    EXPECT_TRUE(child<QPushButton>(page_, "testEmail").isEnabled());
    mailServer_.open(true);
    EXPECT_TRUE(runLoopUntil([&] { return !child<QLabel>(page_, "sendingEmail").isVisible(); }));
}

TEST_F(EmailPageTest, BlanksBelongToAPassword) {
    enter("smtpPass", " secret ");
    EXPECT_EQ(settings_.string("smtpPass"), " secret ");
    enter("smtpLogin", " me ");
    EXPECT_EQ(settings_.string("smtpLogin"), "me");
}

TEST_F(EmailPageTest, AVisitedLineIsNotStoredAnew) {
    settings_.setString("smtpLogin", "me ");
    settle();
    child<QLineEdit>(page_, "smtpLogin").setFocus();
    QTest::keyClick(&child<QLineEdit>(page_, "smtpLogin"), Qt::Key_Return);
    EXPECT_EQ(settings_.string("smtpLogin"), "me ");
}

TEST_F(EmailPageTest, AnEmptyPortSaysWhatIsTaken) {
    const auto& port = child<QLineEdit>(page_, "smtpPort");
    EXPECT_EQ(port.placeholderText().toStdString(), "465");
    settings_.setBoolean("smtpSsl", false);
    settle();
    EXPECT_EQ(port.placeholderText().toStdString(), "25");
}

} // namespace ovelo
