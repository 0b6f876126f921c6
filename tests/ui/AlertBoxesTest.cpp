#include "ui/AlertBoxes.h"

#include "fakes/ConsoleText.h"
#include "fakes/QtWait.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QtTest>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace ovelo {
namespace {

class AlertBoxesTest : public ::testing::Test {
protected:
    static QList<QMessageBox*> shown() {
        QList<QMessageBox*> boxes;
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            auto* box = qobject_cast<QMessageBox*>(widget);
            if (box != nullptr && box->isVisible()) {
                boxes.append(box);
            }
        }
        return boxes;
    }

    static void press(const char* text) {
        ASSERT_EQ(shown().size(), 1);
        for (QAbstractButton* button : shown().front()->buttons()) {
            if (button->text().remove(QLatin1Char('&')) == QLatin1String(text)) {
                button->click();
                return;
            }
        }
        FAIL() << "there is no button " << text;
    }

    void ask() {
        alerts_->ask({"Install? ", "It is <b>needed</b>.", "Cancel", "Install"},
                     [this](bool other) { answer_ = other; });
    }

    std::optional<bool> answer_;
    std::unique_ptr<AlertBoxes> alerts_ = std::make_unique<AlertBoxes>(true);
};

TEST_F(AlertBoxesTest, ShowsTheTextsAsTheyStand) {
    ask();

    ASSERT_EQ(shown().size(), 1);
    const QMessageBox& box = *shown().front();
    EXPECT_EQ(box.text().toStdString(), "Install? ");
    EXPECT_EQ(box.informativeText().toStdString(), "It is <b>needed</b>.");
    for (const QLabel* label : box.findChildren<QLabel*>()) {
        if (!label->text().isEmpty()) {
            EXPECT_EQ(label->textFormat(), Qt::PlainText) << label->text().toStdString();
        }
    }
    EXPECT_TRUE(box.isModal());
    EXPECT_EQ(box.defaultButton()->text().toStdString(), "Cancel");
    EXPECT_FALSE(answer_) << "it answers before the user";
}

TEST_F(AlertBoxesTest, TellsWhichButtonWasPressed) {
    ask();
    press("Install");
    EXPECT_EQ(answer_, true);
    EXPECT_TRUE(shown().isEmpty());

    ask();
    press("Cancel");
    EXPECT_EQ(answer_, false);
}

TEST_F(AlertBoxesTest, ReturnAndEscapePressTheDefaultButton) {
    for (const auto key : {Qt::Key_Return, Qt::Key_Escape}) {
        answer_.reset();
        ask();
        ASSERT_EQ(shown().size(), 1);
        QTest::keyClick(shown().front(), key);
        EXPECT_EQ(answer_, false);
    }
}

TEST_F(AlertBoxesTest, TellsThatAnAlertWasClosed) {
    int closed = 0;
    alerts_->tell("Done.", "", [&] { ++closed; });
    EXPECT_EQ(closed, 0);

    press("OK");
    EXPECT_EQ(closed, 1);

    alerts_->tell("Done.", "", {});
    press("OK");
}

TEST_F(AlertBoxesTest, SameAlertIsShownOnce) {
    int closed = 0;
    alerts_->tell("Done.", "", {});
    alerts_->tell("Done.", "", [&] { ++closed; });

    EXPECT_EQ(shown().size(), 1);
    EXPECT_EQ(closed, 1);
    press("OK");
}

TEST_F(AlertBoxesTest, ThereAreEightAtMost) {
    for (int i = 0; i < 20; ++i) {
        alerts_->tell(std::to_string(i), "", {});
    }
    EXPECT_EQ(shown().size(), 8);
}

TEST_F(AlertBoxesTest, EndClosesWhatIsShownAndAnswersNothing) {
    ask();
    alerts_.reset();

    EXPECT_TRUE(shown().isEmpty());
    EXPECT_FALSE(answer_);
}

TEST_F(AlertBoxesTest, WithoutADisplayTheyArePrintedAndAnsweredAtOnce) {
    AlertBoxes unseen(false);
    int closed = 0;
    ::testing::internal::CaptureStderr();
    unseen.ask({"Install? ", "Really.", "Cancel", "Install"},
               [this](bool other) { answer_ = other; });
    unseen.tell("Done.", "All of it.", [&] { ++closed; });
    const std::string printed = ::testing::internal::GetCapturedStderr();

    EXPECT_EQ(answer_, false);
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(printed, "ALERT: Install?  -- Really.\nALERT: Done. -- All of it.\n");
    EXPECT_TRUE(shown().isEmpty());
}

} // namespace
} // namespace ovelo
