#include "ui/AlertsPage.h"

#include "fakes/QtWait.h"
#include "platform/MemorySettings.h"

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
    std::optional<MotionBar::Reading> reading_;
    AlertsPage page_{settings_, [this] { return reading_; }};
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
    EXPECT_NE(words().find("Nobody watches"), std::string::npos);
}

TEST_F(AlertsPageTest, TellsHowMuchMovedWhileItIsSeen) {
    page_.show();
    reading_ = MotionBar::Reading{0.021, 0.05};
    EXPECT_TRUE(runLoopUntil([&] { return words().find("2.1 %") != std::string::npos; }));
    EXPECT_NE(words().find("5.0 %"), std::string::npos);

    reading_ = MotionBar::Reading{0.4, 0.05};
    EXPECT_TRUE(runLoopUntil([&] { return words().find("that is motion") != std::string::npos; }));
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
