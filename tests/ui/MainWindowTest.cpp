#include "ui/MainWindow.h"

#include "ui/DocumentFixture.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStatusBar>
#include <QTabWidget>
#include <QtTest>

#include <set>

namespace ovelo {

class MainWindowTest : public DocumentFixture {
protected:
    std::unique_ptr<MainWindow> makeWindow(bool onScreen = true) {
        auto window = std::make_unique<MainWindow>(MainWindow::Environment{
            .document = document_,
            .settings = settings_,
            .log = log_,
            .cameraList = nullptr,
            .updates = nullptr,
            .onScreen = onScreen,
            .quit = [this] { ++quits_; },
        });
        // Without an account the start ends before the server.
        document_.windowControllerDidLoadNib(*window);
        settle();
        return window;
    }

    static QAction& action(const MainWindow& window, const QString& text) {
        for (QAction* action : window.findChildren<QAction*>()) {
            if (action->text().remove(QLatin1Char('&')) == text) {
                return *action;
            }
        }
        throw std::runtime_error("no such menu entry: " + text.toStdString());
    }

    int quits_ = 0;
};

TEST_F(MainWindowTest, TheCloseButtonHidesNothingAndEndsNothing) {
    const auto window = makeWindow();
    window->showUnlessHidden();

    EXPECT_FALSE(window->close());

    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(quits_, 0);
    EXPECT_TRUE(window->statusBar()->currentMessage().contains(QLatin1String("Ctrl+Q")));
}

TEST_F(MainWindowTest, QuitAsksTheProgramToEnd) {
    const auto window = makeWindow();
    QAction& quit = action(*window, QStringLiteral("Quit"));

    quit.trigger();

    EXPECT_EQ(quits_, 1);
    EXPECT_EQ(quit.shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Q));
}

TEST_F(MainWindowTest, AnAgentsWindowIsNotShown) {
    const auto window = makeWindow();

    window->hideMainWindow();
    window->showUnlessHidden();

    EXPECT_FALSE(window->isVisible());
}

TEST_F(MainWindowTest, RotateButtonsTurnThePictureOfViewersByQuarters) {
    const auto window = makeWindow();
    auto& left = child<QPushButton>(*window, "rotateLeft");
    auto& right = child<QPushButton>(*window, "rotateRight");

    right.click();
    EXPECT_EQ(settings_.integer("rotate_val"), 1);
    left.click();
    EXPECT_EQ(settings_.integer("rotate_val"), 0);
    left.click();
    EXPECT_EQ(settings_.integer("rotate_val"), 3);
    right.click();
    EXPECT_EQ(settings_.integer("rotate_val"), 0);
}

TEST_F(MainWindowTest, TellsInWordsWhatViewersGet) {
    const auto window = makeWindow();
    const auto& effect = child<QLabel>(*window, "rotationEffect");
    EXPECT_EQ(effect.text().toStdString(), "Viewers get the picture as it is here.");

    settings_.setInteger("rotate_val", 1);
    settings_.setBoolean("flip_vertically", true);
    settle();

    EXPECT_EQ(effect.text().toStdString(),
              "Viewers get it turned a quarter counter-clockwise, mirrored left to right.");
}

TEST_F(MainWindowTest, PanelsComeAndGoWithTheDocument) {
    const auto window = makeWindow();
    window->showUnlessHidden();
    const std::pair<Panel, const char*> panels[] = {{Panel::Options, "optionsPanel"},
                                                    {Panel::AutoConfig, "autoConfigPanel"},
                                                    {Panel::EmailHelp, "emailHelpPanel"}};
    for (const auto& [panel, name] : panels) {
        window->orderFront(panel);
        auto& dialog = child<QDialog>(*window, name);
        EXPECT_TRUE(dialog.isVisible()) << name;
        EXPECT_FALSE(dialog.isModal()) << name;

        window->orderOut(panel);
        EXPECT_FALSE(dialog.isVisible()) << name;
    }
}

TEST_F(MainWindowTest, ThePanelThatNothingUsesIsIgnored) {
    const auto window = makeWindow();

    window->orderFront(Panel::Mono);
    window->orderOut(Panel::Mono);

    EXPECT_EQ(window->findChildren<QDialog*>().size(), 0);
}

TEST_F(MainWindowTest, TheEmailHelpIsReadOnceAndCannotBeEdited) {
    const auto window = makeWindow();
    EXPECT_EQ(window->emailText(), "");

    document_.helpEmail();
    EXPECT_EQ(window->emailText(), "Use an app password.");
    EXPECT_TRUE(child<QPlainTextEdit>(*window, "emailText").isReadOnly());

    writeFile(folder_.path() / "EmailHelp.txt", "Something else.");
    document_.helpClose();
    document_.helpEmail();
    EXPECT_EQ(window->emailText(), "Use an app password.");
}

TEST_F(MainWindowTest, StartOfTheRouterConfigurationClosesItsPanel) {
    const auto window = makeWindow();

    child<QPushButton>(*window, "routerAuto").click();

    auto& panel = child<QDialog>(*window, "autoConfigPanel");
    EXPECT_TRUE(panel.isVisible());
    child<QPushButton>(panel, "startAutoConfig").click();
    EXPECT_FALSE(panel.isVisible());
}

TEST_F(MainWindowTest, ErrorsAreShownOneAfterTheOther) {
    const auto window = makeWindow();
    window->showUnlessHidden();

    window->presentError("first", "one");
    window->presentError("second", "two");
    window->presentError("first", "one");
    settle();

    auto* sheet = &child<QMessageBox>(*window, "errorSheet");
    EXPECT_EQ(sheet->text().toStdString(), "first");
    EXPECT_EQ(sheet->informativeText().toStdString(), "one");
    sheet->accept();
    ASSERT_TRUE(runLoopUntil([&] {
        const auto sheets = window->findChildren<QMessageBox*>();
        return sheets.size() == 1 && sheets.front()->text() == QLatin1String("second");
    }));
    child<QMessageBox>(*window, "errorSheet").accept();
    EXPECT_TRUE(runLoopUntil([&] { return window->findChildren<QMessageBox*>().isEmpty(); }));
}

TEST_F(MainWindowTest, TellsWhileAMovieIsBeingRecorded) {
    const auto window = makeWindow();
    window->showUnlessHidden();
    const auto& mark = child<QLabel>(*window, "recording");
    EXPECT_FALSE(mark.isVisible());

    document_.setStartRecording(true);
    EXPECT_TRUE(mark.isVisible());

    document_.setStartRecording(false);
    EXPECT_TRUE(runLoopUntil([&] { return !mark.isVisible(); }));
}

TEST_F(MainWindowTest, WithoutADisplayAnErrorIsPrinted) {
    const auto window = makeWindow(false);

    ::testing::internal::CaptureStderr();
    window->presentError("\"Front Camera\" cannot be used.", "It is busy.");

    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "ALERT: \"Front Camera\" cannot be used. -- It is busy.\n");
    EXPECT_TRUE(window->findChildren<QMessageBox*>().isEmpty());
}

TEST_F(MainWindowTest, ADeviceThatCannotBeOpenedIsReported) {
    const auto broken = devices_.add(MediaType::Video, "Broken Camera");
    broken->failure = Failure{"Permission denied"};
    const auto window = makeWindow();

    document_.sources().setSelectedVideoDevice(broken);
    settle();

    const auto& sheet = child<QMessageBox>(*window, "errorSheet");
    EXPECT_TRUE(sheet.text().contains(QLatin1String("Broken Camera")));
    EXPECT_EQ(sheet.informativeText().toStdString(), "Permission denied");
}

TEST_F(MainWindowTest, ClearsTheEventLogFromTheMenu) {
    const auto window = makeWindow();
    writeFile(folder_.path() / "ovelo.log", "an entry\n");

    action(*window, QStringLiteral("Clear Event Log")).trigger();

    EXPECT_FALSE(std::filesystem::exists(folder_.path() / "ovelo.log"));
}

namespace {

/// Looks at what is seen of a window, which is the page on top where there are pages.
void expectKeysOfTheirOwn(const QWidget& top) {
    std::set<QString> keys;
    const auto claim = [&](const QString& text) {
        const QKeySequence key = QKeySequence::mnemonic(text);
        if (!key.isEmpty()) {
            EXPECT_TRUE(keys.insert(key.toString()).second) << text.toStdString();
        }
    };
    for (const QWidget* widget : top.findChildren<QWidget*>()) {
        if (widget->window() != &top || !widget->isVisible()) {
            continue;
        }
        if (const auto* button = qobject_cast<const QAbstractButton*>(widget)) {
            claim(button->text());
            EXPECT_TRUE(button->text().isEmpty() || // a menu bar's own
                        (button->focusPolicy() & Qt::TabFocus) != 0)
                << button->text().toStdString();
        } else if (const auto* label = qobject_cast<const QLabel*>(widget)) {
            claim(label->buddy() != nullptr ? label->text() : QString());
        } else if (qobject_cast<const QLineEdit*>(widget) != nullptr ||
                   qobject_cast<const QComboBox*>(widget) != nullptr) {
            EXPECT_FALSE(widget->accessibleName().isEmpty()) << widget->objectName().toStdString();
            EXPECT_NE(widget->focusPolicy() & Qt::TabFocus, 0);
        } else if (const auto* bar = qobject_cast<const QMenuBar*>(widget)) {
            for (const QAction* menu : bar->actions()) {
                claim(menu->text());
            }
        }
    }
}

} // namespace

TEST_F(MainWindowTest, EveryControlHasAKeyOfItsOwnAndCanBeReachedByTab) {
    const auto window = makeWindow();
    window->showUnlessHidden();
    document_.helpEmail();
    window->orderFront(Panel::Options);
    window->orderFront(Panel::AutoConfig);

    const QList<QWidget*> windows = {window.get(), &child<QDialog>(*window, "optionsPanel"),
                                     &child<QDialog>(*window, "autoConfigPanel")};
    for (const QWidget* top : windows) {
        auto* pages = top->findChild<QTabWidget*>();
        for (int page = 0; page < (pages != nullptr ? pages->count() : 1); ++page) {
            if (pages != nullptr) {
                pages->setCurrentIndex(page);
            }
            expectKeysOfTheirOwn(*top);
        }
    }
}

} // namespace ovelo
