#include "viewer/ViewerWindow.h"

#include "viewer/PasswordDialog.h"
#include "viewer/PictureView.h"
#include "viewer/ScriptedServer.h"
#include "viewer/ServerChooser.h"

#include <QBuffer>
#include <QComboBox>
#include <QImage>
#include <QLineEdit>
#include <QListWidget>
#include <QSlider>
#include <QTest>

#include <gtest/gtest.h>

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
        window_ = std::make_unique<ViewerWindow>(arguments, std::move(finder));
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

    ScriptedServer server_;
    std::unique_ptr<ViewerWindow> window_;
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
    auto* box = window_->findChild<QComboBox*>();
    ASSERT_TRUE(eventually([&] { return box->isEnabled(); }));
    EXPECT_EQ(box->currentText(), QStringLiteral("porch"));
    EXPECT_EQ(server_.hear(), "Sync,-0.001");
    EXPECT_EQ(server_.hear(), "GetSources,");

    box->setFocus();
    QTest::keyClick(box, Qt::Key_Up);

    EXPECT_EQ(server_.hear(), "Start,yard|Mic");
}

TEST_F(ViewerWindowTest, SendsWhatTheSlidersSay) {
    open();
    ASSERT_TRUE(server_.accept());
    server_.say("CONNECTED\n" + pictureMessage());
    ASSERT_TRUE(eventually([&] { return live(); }));
    const auto sliders = window_->findChildren<QSlider*>();
    ASSERT_EQ(sliders.size(), 2);
    EXPECT_EQ(sliders[0]->value(), 0);

    sliders[0]->setValue(8);
    sliders[1]->setValue(20);

    for (const char* expected : {"Sync,-0.001", "GetSources,", "Sync,0.5", "FrameRate,1"}) {
        EXPECT_EQ(server_.hear(), expected);
    }
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
