#include "ui/AccountWindow.h"

#include "ui/DocumentFixture.h"

#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

namespace ovelo {

class AccountWindowTest : public DocumentFixture {
protected:
    AccountWindowTest() {
        window_.onQuit([this] { ++quits_; });
    }

    /// Runs when the window asks.
    void meanwhile(std::function<void()> action) {
        QTimer::singleShot(0, &window_, [this, action = std::move(action)] {
            ASSERT_TRUE(window_.isVisible());
            EXPECT_TRUE(window_.isModal());
            action();
        });
    }

    void fillIn(const char* email, const char* password) {
        child<QLineEdit>(window_, "accountEmail").setText(QString::fromUtf8(email));
        child<QLineEdit>(window_, "accountPassword").setText(QString::fromUtf8(password));
    }

    void pressOk() {
        window_.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
    }

    bool ask() {
        return window_.ask([this](const std::string& email, const std::string& password) {
            // As the server does: both are stored, then judged.
            answers_.push_back(email + " " + password);
            settings_.setString("email", email);
            settings_.setString("password", password);
            return email.find('@') != std::string::npos && !password.empty();
        });
    }

    AccountWindow window_{settings_};
    std::vector<std::string> answers_;
    int quits_ = 0;
};

TEST_F(AccountWindowTest, ClosesOnceTheAnswerWillDo) {
    meanwhile([this] {
        fillIn("nobody", "secret");
        pressOk();
        settle();
        EXPECT_TRUE(window_.isVisible());

        fillIn(" me@example.org ", "secret");
        pressOk();
    });

    EXPECT_TRUE(ask());
    EXPECT_EQ(answers_, (std::vector<std::string>{"nobody secret", "me@example.org secret"}));
    EXPECT_EQ(quits_, 0);
}

TEST_F(AccountWindowTest, TheServersVerdictIsShownOverTheWindow) {
    meanwhile([this] {
        window_.showAlert("Access Information Error", "Please enter a valid address.");
        const auto* alert = window_.findChild<QMessageBox*>();
        ASSERT_NE(alert, nullptr);
        EXPECT_TRUE(alert->isVisible());
        EXPECT_EQ(alert->text().toStdString(), "Access Information Error");
        EXPECT_EQ(alert->informativeText().toStdString(), "Please enter a valid address.");
        EXPECT_EQ(alert->standardButtons(), QMessageBox::Ok);
        window_.cancel();
    });

    EXPECT_FALSE(ask());
}

TEST_F(AccountWindowTest, ClosingItMeansQuitting) {
    meanwhile([this] { window_.close(); });

    EXPECT_FALSE(ask());
    EXPECT_EQ(quits_, 1);
}

TEST_F(AccountWindowTest, IsTakenAwayWhenTheProgramEnds) {
    meanwhile([this] { window_.cancel(); });

    EXPECT_FALSE(ask());
    EXPECT_EQ(quits_, 0);
    EXPECT_FALSE(ask()) << "it does not come back";
}

TEST_F(AccountWindowTest, AnAccountThatAnotherProgramStoresWillDo) {
    meanwhile([this] { settings_.setString("email", "shell@example.org"); });

    EXPECT_TRUE(ask());
    EXPECT_TRUE(answers_.empty());
}

TEST_F(AccountWindowTest, BeginsWithWhatIsStored) {
    settings_.setString("password", "kept");
    meanwhile([this] {
        EXPECT_EQ(child<QLineEdit>(window_, "accountPassword").text().toStdString(), "kept");
        EXPECT_EQ(child<QLineEdit>(window_, "accountPassword").echoMode(), QLineEdit::Password);
        window_.cancel();
    });

    ask();
}

} // namespace ovelo
