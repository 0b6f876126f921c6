#include "ui/ConsolePrompt.h"

#include "ui/DocumentFixture.h"

#include <QTimer>

namespace ovelo {

class ConsolePromptTest : public DocumentFixture {
protected:
    bool run() {
        ::testing::internal::CaptureStderr();
        const bool result = prompt_.runModal(document_.network());
        printed_ = ::testing::internal::GetCapturedStderr();
        return result;
    }

    ConsolePrompt prompt_{settings_};
    std::string printed_;
};

TEST_F(ConsolePromptTest, SaysHowTheAccountIsSetAndWaitsForIt) {
    QTimer::singleShot(0, [this] { settings_.setString("email", "abc"); });
    QTimer::singleShot(10, [this] { settings_.setString("email", "me@example.org"); });

    EXPECT_TRUE(run());
    EXPECT_EQ(settings_.string("email"), "me@example.org");
    EXPECT_NE(printed_.find("ovelo-settings write email you@example.org"), std::string::npos);
    EXPECT_NE(printed_.find("ovelo-settings write password"), std::string::npos);
}

TEST_F(ConsolePromptTest, GivesUpWhenTheProgramEnds) {
    QTimer::singleShot(0, [this] { prompt_.cancel(); });

    EXPECT_FALSE(run());
    EXPECT_FALSE(run()) << "it does not wait again";
}

TEST_F(ConsolePromptTest, PrintsAlertsAndGoesOn) {
    ::testing::internal::CaptureStderr();
    prompt_.showAlert("Access Information Error", "Please enter a valid address.");

    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "ALERT: Access Information Error -- Please enter a valid address.\n");
}

} // namespace ovelo
