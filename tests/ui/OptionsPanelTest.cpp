#include "ui/OptionsPanel.h"

#include "ui/DocumentFixture.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

namespace ovelo {

class OptionsPanelTest : public DocumentFixture {
protected:
    OptionsPanelTest() {
        settings_.setString("email", "me@example.org");
        settings_.setString("password", "secret");
        settle();
        panel_.show();
    }

    void enter(const char* key, const char* text) {
        auto& edit = child<QLineEdit>(panel_, key);
        edit.setFocus();
        edit.selectAll();
        QTest::keyClick(&edit, Qt::Key_Delete);
        QTest::keyClicks(&edit, QString::fromUtf8(text));
        QTest::keyClick(&edit, Qt::Key_Return);
        settle();
    }

    OptionsPanel panel_{document_, settings_, log_, nullptr};
};

class OptionsPanelKeyTest : public OptionsPanelTest,
                            public ::testing::WithParamInterface<const char*> {};

TEST_P(OptionsPanelKeyTest, TheBoxIsTheSettingBothWays) {
    auto& box = child<QCheckBox>(panel_, GetParam());
    const bool before = box.isChecked();

    box.click();
    EXPECT_EQ(settings_.string(GetParam()), before ? "false" : "true");

    settings_.setBoolean(GetParam(), before);
    settle();
    EXPECT_EQ(box.isChecked(), before);
    EXPECT_EQ(settings_.boolean(GetParam()), before);
}

INSTANTIATE_TEST_SUITE_P(Keys, OptionsPanelKeyTest,
                         ::testing::Values("night_vision", "show_timestamp", "show_devicename",
                                           "flip_horizontally", "flip_vertically", "log_events",
                                           "autoPortMap", "useMotionEmail", "useMotionRecord",
                                           "usePushNotification", "smtpSsl"),
                         [](const auto& test) { return std::string(test.param); });

TEST_F(OptionsPanelTest, OnlyTheSecureConnectionAndTheRouterAreOnWhenNothingIsStored) {
    for (const QCheckBox* box : panel_.findChildren<QCheckBox*>()) {
        const QString name = box->objectName();
        EXPECT_EQ(box->isChecked(),
                  name == QLatin1String("smtpSsl") || name == QLatin1String("autoPortMap"))
            << box->text().toStdString();
    }
    EXPECT_FALSE(settings_.contains("smtpSsl"));
    EXPECT_FALSE(settings_.contains("autoPortMap"));
}

TEST_F(OptionsPanelTest, TheFlipsAreNamedAfterWhatTheyDo) {
    EXPECT_TRUE(child<QCheckBox>(panel_, "flip_horizontally")
                    .text()
                    .remove(QLatin1Char('&'))
                    .contains(QLatin1String("upside down")));
    EXPECT_TRUE(child<QCheckBox>(panel_, "flip_vertically")
                    .text()
                    .remove(QLatin1Char('&'))
                    .contains(QLatin1String("left to right")));
}

TEST_F(OptionsPanelTest, TheAccountCanBeChanged) {
    enter("email", "other@example.org");
    enter("password", "new secret");

    EXPECT_EQ(settings_.string("email"), "other@example.org");
    EXPECT_EQ(settings_.string("password"), "new secret");
}

TEST_F(OptionsPanelTest, BlanksBelongToTheViewerPassword) {
    settings_.setString("password", "ends with a blank ");
    settle();
    auto& password = child<QLineEdit>(panel_, "password");
    password.setFocus();
    QTest::keyClick(&password, Qt::Key_Return);
    EXPECT_EQ(settings_.string("password"), "ends with a blank ");

    enter("password", " new ");
    EXPECT_EQ(settings_.string("password"), " new ");
}

TEST_F(OptionsPanelTest, KeepsTheAccountWhenAChangeWillNotDo) {
    enter("email", "nobody");
    EXPECT_EQ(settings_.string("email"), "me@example.org");
    EXPECT_EQ(child<QLineEdit>(panel_, "email").text().toStdString(), "me@example.org");
    EXPECT_TRUE(child<QLabel>(panel_, "accountHint").isVisible());

    enter("password", "");
    EXPECT_EQ(settings_.string("password"), "secret");
    EXPECT_TRUE(child<QLabel>(panel_, "accountHint").isVisible());
}

TEST_F(OptionsPanelTest, ThePasswordIsHiddenUntilItIsAskedFor) {
    const auto& password = child<QLineEdit>(panel_, "password");
    EXPECT_EQ(password.echoMode(), QLineEdit::Password);
    EXPECT_EQ(password.text().toStdString(), "secret");
}

TEST_F(OptionsPanelTest, ClearsTheLog) {
    writeFile(folder_.path() / "ovelo.log", "an entry\n");

    child<QPushButton>(panel_, "clearLog").click();

    EXPECT_FALSE(std::filesystem::exists(folder_.path() / "ovelo.log"));
}

} // namespace ovelo
