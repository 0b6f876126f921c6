#include "viewer/ViewerWindow.h"

#include "fakes/FakeSound.h"
#include "viewer/PasswordDialog.h"
#include "viewer/PictureView.h"
#include "viewer/ScriptedServer.h"
#include "viewer/ServerChooser.h"

#include <QAction>
#include <QBuffer>
#include <QCheckBox>
#include <QComboBox>
#include <QDockWidget>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSlider>
#include <QTest>
#include <QTreeWidget>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

/// Reports what it was made with, at once.
class FixedBrowser final : public ServiceBrowser {
public:
    FixedBrowser(const std::vector<FoundService>& services, const Found& found) {
        for (const FoundService& service : services) {
            found(service);
        }
    }
};

ServerFinder finderOf(std::vector<FoundService> services) {
    return ServerFinder(
        [services = std::move(services)](const std::string&, const ServiceBrowser::Found& found) {
            return std::make_unique<FixedBrowser>(services, found);
        },
        {10ms, 10ms});
}

std::string jpeg() {
    QImage image(32, 24, QImage::Format_RGB32);
    image.fill(Qt::green);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPEG");
    return buffer.data().toStdString();
}

std::string pictureMessage() {
    const std::string bytes = jpeg();
    return "Frame,0," + std::to_string(bytes.size()) + ",1,0\n" + bytes;
}

class ViewerWindowTest : public testing::Test {
protected:
    void open(ServerFinder finder = finderOf({}), bool withHost = true) {
        ViewerArguments arguments;
        if (withHost) {
            arguments.host = "127.0.0.1";
            arguments.port = server_.port();
        }
        arguments.delay = delay_;
        window_ = std::make_unique<ViewerWindow>(
            arguments, std::move(finder),
            ViewerSound::Parts{&FakeDecoder::create,
                               [this](int rate, SoundPlayer::Functions functions) {
                                   playedRate_ = rate;
                                   auto made = std::make_unique<FakePlayer>(std::move(functions));
                                   player_ = made.get();
                                   return made;
                               }});
        window_->show();
        window_->begin();
    }

    static bool eventually(const std::function<bool()>& condition) {
        return QTest::qWaitFor(condition, 5000);
    }
    bool live() const { return window_->picture().isLive(); }
    bool says(const char* text) const {
        return window_->picture().message().contains(QLatin1String(text));
    }

    void answerPassword(const char* password) {
        auto* edit = window_->passwordDialog().findChild<QLineEdit*>();
        QTest::keyClicks(edit, QLatin1String(password));
        QTest::keyClick(edit, Qt::Key_Return);
    }

    /// Opens the window and lets it in; what it says by itself is heard already.
    void meet() {
        open();
        ASSERT_TRUE(server_.accept());
        server_.say("CONNECTED\nDATA_SOURCE|yard|id|v|0|porch|id|v|1|Mic|id|a|1|Line|id|a|0\n" +
                    pictureMessage());
        ASSERT_TRUE(eventually([&] { return live() && box("microphone")->isEnabled(); }));
        server_.hear(); // Sync
        EXPECT_EQ(server_.hear(), "GetSources,");
    }

    template <typename Widget>
    Widget* find(const char* name) const {
        return window_->findChild<Widget*>(QLatin1String(name));
    }
    QComboBox* box(const char* name) const { return find<QComboBox>(name); }

    /// The button or menu entry of this text, without its mnemonic.
    QAction* action(const char* text) const {
        for (QAction* one : window_->actions()) {
            if (one->text().remove(QLatin1Char('&')) == QString::fromUtf8(text)) {
                return one;
            }
        }
        return nullptr;
    }
    QPushButton* button(const char* text) const {
        for (auto* one : window_->findChildren<QPushButton*>()) {
            if (one->text().remove(QLatin1Char('&')) == QLatin1String(text)) {
                return one;
            }
        }
        return nullptr;
    }
    bool saysSomewhere(const char* text) const {
        const auto labels = window_->findChildren<QLabel*>();
        return std::any_of(labels.begin(), labels.end(), [&](const QLabel* label) {
            return label->text().contains(QLatin1String(text));
        });
    }

    ScriptedServer server_;
    double delay_ = 0;
    std::atomic<int> playedRate_ = 0;
    std::atomic<FakePlayer*> player_ = nullptr;
    std::unique_ptr<ViewerWindow> window_; // ends before what its threads use
};

TEST_F(ViewerWindowTest, ShowsThePicturesOfAServerWithoutPassword) {
    open();
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\n" + pictureMessage());

    EXPECT_TRUE(eventually([&] { return live(); }));
}

TEST_F(ViewerWindowTest, AsksForThePasswordUntilItIsRight) {
    open();
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED,PASS\n");
    ASSERT_TRUE(eventually([&] { return window_->passwordDialog().isVisible(); }));
    answerPassword("wrong");
    EXPECT_EQ(server_.hear(), "Password,wrong");
    EXPECT_FALSE(window_->passwordDialog().isVisible());

    server_.say("AUTH_FALLED\n");
    ASSERT_TRUE(eventually([&] { return window_->passwordDialog().isVisible(); }));
    answerPassword("right");
    EXPECT_EQ(server_.hear(), "Password,right");
    server_.say("AUTH_OK\n" + pictureMessage());

    EXPECT_TRUE(eventually([&] { return live(); }));
    for (const char* expected : {"Sync,-0.001", "GetSources,", "Start,"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
}

TEST_F(ViewerWindowTest, EndsTheConnectionWhenTheUserDoesNotWantToAnswer) {
    open();
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED,PASS\n");
    ASSERT_TRUE(eventually([&] { return window_->passwordDialog().isVisible(); }));

    QTest::keyClick(&window_->passwordDialog(), Qt::Key_Escape);

    EXPECT_TRUE(says("asks for a password"));
    EXPECT_FALSE(server_.hear());
}

TEST_F(ViewerWindowTest, DimsThePictureAndConnectsAgainWhenTheServerIsGone) {
    open();
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\n" + pictureMessage());
    ASSERT_TRUE(eventually([&] { return live(); }));

    server_.reset();
    EXPECT_TRUE(eventually([&] { return !live() && says("Trying again"); }));

    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\n" + pictureMessage());
    EXPECT_TRUE(eventually([&] { return live(); }));
}

TEST_F(ViewerWindowTest, OffersTheServersCameras) {
    open();
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\nDATA_SOURCE|yard|id|v|0|porch|id|v|1|Mic|id|a|1\n");
    auto* cameras = box("camera");
    ASSERT_TRUE(eventually([&] { return cameras->isEnabled(); }));
    EXPECT_EQ(cameras->currentText(), QStringLiteral("porch"));
    EXPECT_EQ(server_.hear(), "Sync,-0.001");
    EXPECT_EQ(server_.hear(), "GetSources,");

    cameras->setFocus();
    QTest::keyClick(cameras, Qt::Key_Up);

    EXPECT_EQ(server_.hear(), "Start,yard|Mic");
}

TEST_F(ViewerWindowTest, SendsWhatTheSlidersSay) {
    open();
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\n" + pictureMessage());
    ASSERT_TRUE(eventually([&] { return live(); }));
    EXPECT_EQ(find<QSlider>("delay")->value(), 0);

    find<QSlider>("delay")->setValue(8);
    find<QSlider>("rate")->setValue(20);

    for (const char* expected : {"Sync,-0.001", "GetSources,", "Sync,0.5", "FrameRate,1"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
}

TEST_F(ViewerWindowTest, ShowsADelayThatIsLongerThanUsual) {
    delay_ = 12.5;
    open();

    EXPECT_EQ(find<QSlider>("delay")->value(), 50);
    EXPECT_TRUE(saysSomewhere("12.50 s"));
}

TEST_F(ViewerWindowTest, OffersTheServersMicrophones) {
    meet();
    auto* microphones = box("microphone");
    EXPECT_EQ(microphones->currentText(), QStringLiteral("Mic"));

    microphones->setFocus();
    QTest::keyClick(microphones, Qt::Key_Down);

    EXPECT_EQ(server_.hear(), "Start,porch|Line");
    EXPECT_EQ(server_.hear(), "GetSources,");
    server_.say("DATA_SOURCE|yard|id|v|0|porch|id|v|1|Mic|id|a|1|Line|id|a|0\n"); // not taken
    EXPECT_TRUE(eventually([&] { return microphones->currentText() == QStringLiteral("Mic"); }));
}

TEST_F(ViewerWindowTest, ListensToTheMicrophoneThatIsChosen) {
    meet();
    action("Listen")->trigger();
    EXPECT_EQ(server_.hear(), "GetSources,AAC");
    EXPECT_EQ(server_.hear(), "Audio,1");
    server_.say("CONFIG_AUDIO,0.000000,0,0,0,0,0,0,0,0.000000,0\n" + pictureMessage());
    EXPECT_TRUE(eventually([&] { return saysSomewhere("waiting for sound"); }));

    box("microphone")->setFocus();
    QTest::keyClick(box("microphone"), Qt::Key_Down);

    for (const char* expected : {"Start,porch|Line", "Audio,1", "GetSources,"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
    server_.say("CONFIG_AUDIO,4000.000000,1819304813,14,2,1,2,1,16,0.500000,20000\n");
    EXPECT_TRUE(eventually([&] { return playedRate_ == 4000; }));
    EXPECT_FALSE(saysSomewhere("no sound"));
}

TEST_F(ViewerWindowTest, ListensAndSaysHowLateTheSoundIs) {
    meet();

    QTest::keyClick(window_.get(), Qt::Key_L, Qt::ControlModifier);
    EXPECT_EQ(server_.hear(), "GetSources,AAC");
    EXPECT_EQ(server_.hear(), "Audio,1");
    server_.say("CONFIG_AUDIO,4000.000000,1819304813,14,2,1,2,1,16,0.500000,20000\n");
    EXPECT_TRUE(eventually([&] { return playedRate_ == 4000; }));
    EXPECT_TRUE(eventually([&] { return saysSomewhere("waiting for sound"); }));
    server_.say("Audio,0,16000,1,0\n" + std::string(16000, 'x')); // two seconds
    EXPECT_TRUE(eventually([&] { return saysSomewhere("sound 2.1 s late"); }));

    action("Bring picture in step")->trigger();
    EXPECT_EQ(server_.hear(), "Sync,0.5625"); // 2.25 s
    EXPECT_TRUE(eventually([&] { return saysSomewhere("sound in step"); }));

    QTest::keyClick(window_.get(), Qt::Key_L, Qt::ControlModifier);
    EXPECT_EQ(server_.hear(), "Audio,0");
    EXPECT_FALSE(saysSomewhere("sound in step"));
}

TEST_F(ViewerWindowTest, WantsSoundAgainAfterTheConnectionWasLost) {
    meet();
    action("Listen")->trigger();
    server_.reset();
    ASSERT_TRUE(eventually([&] { return !live(); }));
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\n" + pictureMessage());
    ASSERT_TRUE(eventually([&] { return live(); }));

    for (const char* expected : {"Sync,-0.001", "Audio,1", "GetSources,AAC"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
}

TEST_F(ViewerWindowTest, SaysWhenSoundCannotBePlayed) {
    meet();
    action("Listen")->trigger();
    server_.say("CONFIG_AUDIO,4000.000000,1819304813,14,2,1,2,1,16,0.500000,20000\n");
    ASSERT_TRUE(eventually([&] { return player_ != nullptr; }));

    player_.load()->functions.changed("There is no sound output.");
    EXPECT_TRUE(eventually([&] { return saysSomewhere("no sound"); }));
    server_.say(pictureMessage());
    EXPECT_TRUE(eventually([&] { return live(); }));

    player_.load()->functions.changed("");
    EXPECT_TRUE(eventually([&] { return saysSomewhere("waiting for sound"); }));
}

TEST_F(ViewerWindowTest, AsksForARecordingUntilItIsAskedToEnd) {
    meet();
    auto* record = action("Record");
    EXPECT_TRUE(record->toolTip().contains(QStringLiteral("does not tell")));

    QTest::keyClick(window_.get(), Qt::Key_E, Qt::ControlModifier);
    EXPECT_EQ(server_.hear(), "Record,Y");
    EXPECT_TRUE(record->isChecked());
    QTest::keyClick(window_.get(), Qt::Key_E, Qt::ControlModifier);
    EXPECT_EQ(server_.hear(), "Record,N");

    record->trigger();
    server_.reset(); // the server ends it with the connection
    EXPECT_TRUE(eventually([&] { return !record->isChecked() && !record->isEnabled(); }));
}

TEST_F(ViewerWindowTest, PlaysARecordingAndGoesBackToLiveAtItsEnd) {
    meet();
    QTest::keyClick(window_.get(), Qt::Key_F9);
    EXPECT_EQ(server_.hear(), "GetRecorded,");
    server_.say("RECORDED_LIST,-old.mov-20230101000000,-new, one.mov-20240131235959\n");
    auto* list = window_->findChild<QTreeWidget*>();
    ASSERT_TRUE(eventually([&] { return list->topLevelItemCount() == 2; }));
    EXPECT_EQ(list->currentItem()->text(1), QStringLiteral("new, one.mov")); // the newest first

    list->setFocus();
    QTest::keyClick(list, Qt::Key_Return);
    EXPECT_EQ(server_.hear(), "Playback,new, one.mov");
    EXPECT_TRUE(window_->picture().badge().contains(QStringLiteral("new, one.mov")));
    EXPECT_TRUE(saysSomewhere("Playing new, one.mov"));
    EXPECT_TRUE(button("Back to live")->isEnabled());

    server_.say("PLAYBACK_DONE\n");
    EXPECT_TRUE(eventually([&] { return window_->picture().badge().isEmpty(); }));
    EXPECT_TRUE(saysSomewhere("Live picture"));
    EXPECT_FALSE(button("Back to live")->isEnabled());
    EXPECT_FALSE(server_.hear(0.05)); // live pictures come by themselves
}

TEST_F(ViewerWindowTest, ShowsAPlaybackForAsLongAsItsPicturesAreHeldBack) {
    delay_ = 0.3;
    meet();
    server_.say("RECORDED_LIST,-a.mov-20230101000000\n");
    auto* list = window_->findChild<QTreeWidget*>();
    ASSERT_TRUE(eventually([&] { return list->topLevelItemCount() == 1; }));
    button("Play")->click();
    const auto before = std::chrono::steady_clock::now();

    server_.say("PLAYBACK_DONE\n");

    EXPECT_TRUE(eventually([&] { return window_->picture().badge().isEmpty(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - before, 280ms);
}

TEST_F(ViewerWindowTest, EndsAPlaybackOnRequest) {
    meet();
    server_.say("RECORDED_LIST,-a.mov-20230101000000\n");
    auto* list = window_->findChild<QTreeWidget*>();
    ASSERT_TRUE(eventually([&] { return list->topLevelItemCount() == 1; }));
    button("Play")->click();
    EXPECT_EQ(server_.hear(), "Playback,a.mov");

    QTest::keyClick(window_.get(), Qt::Key_B, Qt::ControlModifier);

    EXPECT_EQ(server_.hear(), "Start,");
    EXPECT_TRUE(window_->picture().badge().isEmpty());
}

TEST_F(ViewerWindowTest, TakesNoNoticeOfTheEndOfAnothersPlayback) {
    meet();
    server_.say("PLAYBACK_DONE\n" + pictureMessage());

    EXPECT_FALSE(server_.hear(0.05));
    EXPECT_TRUE(live());
}

TEST_F(ViewerWindowTest, ChangesTheServersSettings) {
    meet();

    action("Night vision")->trigger();
    action("Night vision")->trigger();
    QTest::keyClick(window_.get(), Qt::Key_BracketLeft, Qt::ControlModifier);
    QTest::keyClick(window_.get(), Qt::Key_BracketRight, Qt::ControlModifier);
    for (const char* name : {"Mirror", "Turn upside down", "Camera name on/off", "Time on/off"}) {
        action(name)->trigger();
    }

    for (const char* expected :
         {"NightVision,1", "NightVision,0", "WebcamConfig,RCC", "WebcamConfig,RC",
          "WebcamConfig,FV", "WebcamConfig,FH", "WebcamConfig,SD", "WebcamConfig,ST"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
}

TEST_F(ViewerWindowTest, ChangesTheMotionSettingsFromWhatTheServerTold) {
    meet();
    server_.say("VERSION,1.000000,Low,0,1,0\nRECORDED_LIST,-a.mov-20230101000000\n");
    ASSERT_TRUE(
        eventually([&] { return window_->findChild<QTreeWidget*>()->topLevelItemCount() == 1; }));
    QTest::keyClick(window_.get(), Qt::Key_D, Qt::ControlModifier);
    auto& dialog = window_->motionDialog();
    ASSERT_TRUE(eventually([&] { return dialog.isVisible(); }));
    const auto boxes = dialog.findChildren<QCheckBox*>();
    ASSERT_EQ(boxes.size(), 3);
    EXPECT_FALSE(boxes[0]->isChecked());
    EXPECT_TRUE(boxes[1]->isChecked());

    dialog.findChild<QComboBox*>()->setCurrentText(QStringLiteral("High"));
    boxes[2]->click();
    QTest::keyClick(&dialog, Qt::Key_Return);

    EXPECT_EQ(server_.hear(), "MotionConfig,High,0,1,1");
}

TEST_F(ViewerWindowTest, OffersNoSettingsOfAServerThatIsNotConnected) {
    constexpr std::array kNames = {"Motion detection…", "Mirror", "Turn upside down",
                                   "Camera name on/off", "Time on/off"};
    const auto all = [&](bool enabled) {
        return std::all_of(kNames.begin(), kNames.end(),
                           [&](const char* name) { return action(name)->isEnabled() == enabled; });
    };
    meet();
    EXPECT_TRUE(all(true));
    action("Motion detection…")->trigger();
    auto& dialog = window_->motionDialog();
    ASSERT_TRUE(eventually([&] { return dialog.isVisible(); }));

    server_.reset();
    EXPECT_TRUE(eventually([&] { return all(false); }));

    dialog.findChild<QComboBox*>()->setCurrentText(QStringLiteral("High"));
    QTest::keyClick(&dialog, Qt::Key_Return); // cannot be sent
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\n");
    ASSERT_TRUE(eventually([&] { return all(true); }));
    action("Motion detection…")->trigger();
    EXPECT_EQ(dialog.findChild<QComboBox*>()->currentText(), QStringLiteral("Low"));
}

TEST_F(ViewerWindowTest, ForgetsWhatAnotherServerTold) {
    meet();
    server_.say("RECORDED_LIST,-a.mov-20230101000000\n");
    auto* list = window_->findChild<QTreeWidget*>();
    ASSERT_TRUE(eventually([&] { return list->topLevelItemCount() == 1; }));
    ScriptedServer other;

    action("Choose…")->trigger();
    auto* edit = window_->chooser().findChild<QLineEdit*>();
    edit->setText(QStringLiteral("127.0.0.1:%1").arg(other.port()));
    QTest::keyClick(edit, Qt::Key_Return);

    ASSERT_TRUE(other.accept());
    EXPECT_EQ(list->topLevelItemCount(), 0);
    EXPECT_FALSE(box("camera")->isEnabled());
    EXPECT_EQ(box("microphone")->count(), 0);
}

TEST_F(ViewerWindowTest, CanBeUsedByPeopleWhoDoNotSeeIt) {
    meet();
    window_->showNormal();

    for (auto* widget : window_->findChildren<QWidget*>()) {
        const bool isControl = qobject_cast<QSlider*>(widget) || qobject_cast<QComboBox*>(widget) ||
                               qobject_cast<QTreeWidget*>(widget) ||
                               qobject_cast<QAbstractButton*>(widget);
        if (!isControl || widget->objectName().startsWith(QStringLiteral("qt_"))) {
            continue;
        }
        const auto* asButton = qobject_cast<QAbstractButton*>(widget);
        const bool hasName =
            !widget->accessibleName().isEmpty() || (asButton && !asButton->text().isEmpty());
        EXPECT_TRUE(hasName) << widget->metaObject()->className();
    }
}

TEST_F(ViewerWindowTest, KeepsTheRecordingsThroughFullScreen) {
    meet();
    auto* dock = find<QDockWidget>("recordings");
    QTest::keyClick(window_.get(), Qt::Key_F9);
    ASSERT_TRUE(dock->isVisible());

    QTest::keyClick(window_.get(), Qt::Key_F11);
    EXPECT_FALSE(dock->isVisible());
    QTest::keyClick(window_.get(), Qt::Key_F11);
    EXPECT_TRUE(dock->isVisible());

    dock->close(); // by its cross
    EXPECT_FALSE(action("Recordings")->isChecked());
}

TEST_F(ViewerWindowTest, ConnectsToTheOnlyServerOfTheNetwork) {
    open(finderOf({{"one", "127.0.0.1", server_.port()}}), false);

    EXPECT_TRUE(eventually([&] { return says("Connecting") || says("asks"); }));
    EXPECT_TRUE(server_.accept());
}

TEST_F(ViewerWindowTest, LetsTheUserChooseAmongSeveralServers) {
    open(finderOf({{"one", "127.0.0.1", 1}, {"two", "127.0.0.1", server_.port()}}), false);
    ASSERT_TRUE(eventually([&] { return window_->chooser().isVisible(); }));
    auto* list = window_->chooser().findChild<QListWidget*>();
    EXPECT_EQ(list->count(), 2);

    list->setCurrentRow(1);
    QTest::keyClick(&window_->chooser(), Qt::Key_Return);

    EXPECT_TRUE(server_.accept());
}

TEST_F(ViewerWindowTest, SaysThatThereIsNoServerAndTakesAnAddress) {
    open(finderOf({}), false);
    ASSERT_TRUE(eventually([&] { return window_->chooser().isVisible(); }));
    EXPECT_TRUE(says("No server was found"));

    auto* edit = window_->chooser().findChild<QLineEdit*>();
    edit->setText(QStringLiteral("127.0.0.1:%1").arg(server_.port()));
    QTest::keyClick(edit, Qt::Key_Return);

    EXPECT_TRUE(server_.accept());
}

TEST_F(ViewerWindowTest, TogglesFullScreenWithAKey) {
    open();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window_.get()));

    QTest::keyClick(window_.get(), Qt::Key_F);
    EXPECT_TRUE(window_->isFullScreen());
    QTest::keyClick(window_.get(), Qt::Key_Escape);
    EXPECT_FALSE(window_->isFullScreen());
}

TEST_F(ViewerWindowTest, ClosesWithAKey) {
    open();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window_.get()));

    QTest::keyClick(window_.get(), Qt::Key_Q, Qt::ControlModifier);

    EXPECT_TRUE(eventually([&] { return !window_->isVisible(); }));
}

TEST_F(ViewerWindowTest, FitsOnASmallScreenAtDoubleScale) {
    open();

    EXPECT_LE(window_->minimumSizeHint().width(), 480);
    EXPECT_LE(window_->minimumSizeHint().height(), 360);
}

} // namespace
} // namespace ovelo
