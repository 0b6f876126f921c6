#include "ui/StatusPanel.h"

#include "ui/DocumentFixture.h"

#include <QLabel>

namespace ovelo {

class StatusPanelTest : public DocumentFixture {
protected:
    std::string text(const char* label) const {
        return child<QLabel>(panel_, label).text().toStdString();
    }

    Network& network_ = document_.network();
    std::string trouble_;
    StatusPanel panel_{network_, [this] { return trouble_; }};
};

TEST_F(StatusPanelTest, SaysWhatIsNotKnownYet) {
    EXPECT_EQ(text("networkStatus"), "Not started");
    EXPECT_EQ(text("bonjourStatus"), "Not announced");
    EXPECT_EQ(text("ipAddr"), "Not known");
    EXPECT_EQ(text("externalIpPort"), "Not known");
}

TEST_F(StatusPanelTest, SaysWhyNobodyCanComeInFromTheInternet) {
    trouble_ = "No router was found.";
    panel_.refreshAll();
    EXPECT_EQ(child<QLabel>(panel_, "externalIpPort").text().toStdString(), "No router was found.");

    network_.setExternalIpPort("192.0.2.1:1726");
    EXPECT_EQ(child<QLabel>(panel_, "externalIpPort").text().toStdString(),
              "192.0.2.1:1726\nNo router was found.");
}

TEST_F(StatusPanelTest, EachTextHasItsPlace) {
    network_.setNetworkStatus("Waiting for connection...");
    network_.setBonjourStatus("Bonjour service started...");
    network_.setIPAddr("192.168.1.20:1726");
    network_.setExternalIpPort("203.0.113.9:1726");

    EXPECT_EQ(text("networkStatus"), "Waiting for connection...");
    EXPECT_EQ(text("bonjourStatus"), "Bonjour service started...");
    EXPECT_EQ(text("ipAddr"), "192.168.1.20:1726");
    EXPECT_EQ(text("externalIpPort"), "203.0.113.9:1726");
}

TEST_F(StatusPanelTest, ALongNameIsBrokenIntoLinesAndNotCutOff) {
    panel_.setFixedWidth(360);
    panel_.show();
    network_.setBonjourStatus(
        "Bonjour service error ._lumenwatch._tcp._lumenwatch_1795212345, code");
    settle();

    const auto& label = child<QLabel>(panel_, "bonjourStatus");
    const QString word = label.text().section(QLatin1Char(' '), 3, 3);
    for (const QString& part : word.split(QChar(0x200b))) {
        EXPECT_LT(label.fontMetrics().horizontalAdvance(part), label.width());
    }
    EXPECT_EQ(QString(word).remove(QChar(0x200b)).toStdString(),
              "._lumenwatch._tcp._lumenwatch_1795212345,");
    EXPECT_GT(word.count(QChar(0x200b)), 0);
}

TEST_F(StatusPanelTest, TextFromOutsideIsNeverTakenAsMarkup) {
    network_.setNetworkStatus("Accepted connection (T) from <b>x</b>");

    EXPECT_EQ(child<QLabel>(panel_, "networkStatus").textFormat(), Qt::PlainText);
    EXPECT_EQ(text("networkStatus"), "Accepted connection (T) from <b>x</b>");
}

} // namespace ovelo
