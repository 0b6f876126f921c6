#include "ui/AlertsPage.h"

#include "fakes/QtWait.h"
#include "platform/MemorySettings.h"
#include "ui/MotionBar.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QtTest>

#include <gtest/gtest.h>

namespace ovelo {

class AlertsPageTest : public ::testing::Test {
protected:
    template <typename Widget>
    Widget& child(const char* name) {
        auto* found = page_.findChild<Widget*>(QString::fromUtf8(name));
        EXPECT_NE(found, nullptr) << name;
        return *found;
    }

    std::string words() { return child<QLabel>("motionWords").text().toStdString(); }

    MemorySettings settings_;
    MotionLevel level_;
    AlertsPage page_{settings_, [this] { return level_; }};
};

TEST_F(AlertsPageTest, SensitivityIsTheSettingBothWays) {
    auto& choice = child<QComboBox>("motionSense");
    EXPECT_TRUE(choice.currentText().startsWith(QLatin1String("High")));
    EXPECT_FALSE(settings_.contains("motionSense"));

    choice.setFocus();
    QTest::keyClick(&choice, Qt::Key_Up);
    EXPECT_EQ(settings_.string("motionSense"), "Medium");

    settings_.setString("motionSense", "Low");
    EXPECT_TRUE(
        runLoopUntil([&] { return choice.currentText().startsWith(QLatin1String("Low")); }));

    settings_.setString("motionSense", "nonsense");
    EXPECT_TRUE(
        runLoopUntil([&] { return choice.currentText().startsWith(QLatin1String("High")); }));
    EXPECT_EQ(settings_.string("motionSense"), "nonsense");
}

TEST_F(AlertsPageTest, TellsThatNobodyWatches) {
    EXPECT_NE(words().find("choose above"), std::string::npos);
}

TEST_F(AlertsPageTest, DoesNotAskForAnAlertThatIsOnAlready) {
    page_.show();
    level_ = {.isWanted = true};
    EXPECT_TRUE(
        runLoopUntil([&] { return words().find("no live pictures") != std::string::npos; }));
    EXPECT_EQ(words().find("choose above"), std::string::npos);

    level_ = {.isWanted = true, .isWatching = true};
    EXPECT_TRUE(runLoopUntil([&] { return words().find("first picture") != std::string::npos; }));
    EXPECT_EQ(child<MotionBar>("motionBar").filled(), 0);
}

TEST_F(AlertsPageTest, TellsHowMuchMovedWhileItIsSeen) {
    page_.show();
    level_ = {.isWanted = true, .isWatching = true, .ratio = 0.021, .threshold = 0.05};
    EXPECT_TRUE(runLoopUntil([&] { return words().find("2.1 %") != std::string::npos; }));
    EXPECT_NE(words().find("5.0 %"), std::string::npos);

    level_.ratio = 0.4;
    EXPECT_TRUE(runLoopUntil([&] { return words().find("that is motion") != std::string::npos; }));
    EXPECT_TRUE(child<MotionBar>("motionBar").isMotion());
}

TEST_F(AlertsPageTest, RefusesASpacingThatIsNone) {
    page_.show();
    auto& spacing = child<QLineEdit>("alertCommandSpacing");
    const auto enter = [&](const char* text) {
        spacing.setFocus();
        spacing.selectAll();
        QTest::keyClicks(&spacing, QString::fromUtf8(text));
        QTest::keyClick(&spacing, Qt::Key_Return);
    };
    enter("30");
    for (const char* text : {"99999", "-1", "often"}) {
        enter(text);
        EXPECT_EQ(settings_.string("alertCommandSpacing"), "30") << text;
        EXPECT_EQ(spacing.text().toStdString(), "30") << text;
        EXPECT_TRUE(child<QLabel>("commandHint").isVisible()) << text;
    }
    enter("0");
    EXPECT_EQ(settings_.string("alertCommandSpacing"), "0");
    EXPECT_FALSE(child<QLabel>("commandHint").isVisible());
}

TEST_F(AlertsPageTest, EmptiedCommandIsNoSettingAnyMore) {
    auto& command = child<QLineEdit>("alertCommand");
    command.setFocus();
    QTest::keyClicks(&command, QStringLiteral("notify me"));
    QTest::keyClick(&command, Qt::Key_Return);
    EXPECT_EQ(settings_.string("alertCommand"), "notify me");

    command.selectAll();
    QTest::keyClick(&command, Qt::Key_Delete);
    QTest::keyClick(&command, Qt::Key_Return);
    EXPECT_FALSE(settings_.contains("alertCommand"));
}

} // namespace ovelo
