#include "ui/PortField.h"

#include "ui/DocumentFixture.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

namespace ovelo {

class PortFieldTest : public DocumentFixture {
protected:
    PortFieldTest() {
        settle(); // the default port was stored
        field_.show();
        edit_.setFocus();
    }

    void enter(const char* text) {
        edit_.selectAll();
        QTest::keyClicks(&edit_, QString::fromUtf8(text));
        QTest::keyClick(&edit_, Qt::Key_Return);
        settle();
    }

    std::string hint() const { return child<QLabel>(field_, "portHint").text().toStdString(); }

    std::uint16_t usedPort_ = 1726;
    PortField field_{settings_, [this] { return usedPort_; },
                     [this] { document_.defaultButton(); }};
    QLineEdit& edit_ = child<QLineEdit>(field_, "port");
};

TEST_F(PortFieldTest, ShowsTheStoredPort) {
    EXPECT_EQ(edit_.text().toStdString(), "1726");
}

TEST_F(PortFieldTest, StoresAPortAndSaysWhenItTakesEffect) {
    enter("8080");

    EXPECT_EQ(settings_.string("port"), "8080");
    EXPECT_EQ(hint(), "Port 8080 takes effect at the next start; until then it is 1726.");
}

TEST_F(PortFieldTest, RefusesWhatIsNoPort) {
    for (const char* text : {"0", "65536", "99999"}) {
        enter(text);
        EXPECT_EQ(settings_.string("port"), "1726") << text;
        EXPECT_EQ(edit_.text().toStdString(), "1726") << text;
        EXPECT_EQ(hint(), "A port is a number from 1 to 65535.") << text;
    }
}

TEST_F(PortFieldTest, RefusesNothingAtAll) {
    edit_.selectAll();
    QTest::keyClick(&edit_, Qt::Key_Delete);
    QTest::keyClick(&edit_, Qt::Key_Return);

    EXPECT_EQ(settings_.string("port"), "1726");
    EXPECT_EQ(edit_.text().toStdString(), "1726");
}

TEST_F(PortFieldTest, TakesDigitsOnly) {
    enter("80a81");

    EXPECT_EQ(settings_.string("port"), "8081");
}

TEST_F(PortFieldTest, TheDefaultButtonPutsTheDefaultBack) {
    settings_.setString("port", "8080");
    settle();
    EXPECT_EQ(edit_.text().toStdString(), "8080");

    child<QPushButton>(field_, "defaultPort").click();
    settle();

    EXPECT_EQ(settings_.string("port"), "1726");
    EXPECT_EQ(edit_.text().toStdString(), "1726");
}

TEST_F(PortFieldTest, AnEditThatIsUnfinishedAtTheEndIsGivenUp) {
    auto field = std::make_unique<PortField>(
        settings_, [this] { return usedPort_; }, [] {});
    field->show();
    auto& edit = child<QLineEdit>(*field, "port");
    edit.setFocus();
    edit.selectAll();
    QTest::keyClicks(&edit, QStringLiteral("9000"));

    field.reset();

    EXPECT_EQ(settings_.string("port"), "1726");
}

TEST_F(PortFieldTest, LeavesAloneWhatIsBeingTyped) {
    edit_.selectAll();
    QTest::keyClicks(&edit_, QStringLiteral("90"));

    settings_.setString("port", "8080");
    settle();

    EXPECT_EQ(edit_.text().toStdString(), "90");
}

} // namespace ovelo
