#include "ui/ConsolePrompt.h"

#include "platform/Console.h"
#include "platform/Settings.h"
#include "support/MyUtil.h"
#include "ui/Display.h"

#include <QEventLoop>

namespace ovelo {

namespace {

// The password comes first: the wait ends with the e-mail.
constexpr const char* kInstructions =
    "Ovelo needs your account e-mail and a viewer password before it can start.\n"
    "There is no display to ask for them, so set them from a shell:\n"
    "    ovelo-settings write password YOUR-VIEWER-PASSWORD\n"
    "    ovelo-settings write email you@example.org\n"
    "Ovelo waits until the e-mail is there, and then goes on.";

} // namespace

bool ConsolePrompt::runModal(Network& /*network*/) {
    if (cancelled_) {
        return false;
    }
    console::write(kInstructions);

    QEventLoop loop;
    wake_ = [&loop] { loop.quit(); };
    sigc::connection watching = settings_.changed().connect([this, &loop] {
        if (hasAccount()) {
            loop.quit();
        }
    });
    // What was stored since the caller looked has been announced already.
    if (!hasAccount()) {
        loop.exec();
    }
    watching.disconnect();
    wake_ = nullptr;
    return !cancelled_ && hasAccount();
}

void ConsolePrompt::showAlert(const std::string& message, const std::string& informativeText) {
    display::printAlert(message, informativeText);
}

void ConsolePrompt::cancel() {
    cancelled_ = true;
    if (wake_) {
        wake_();
    }
}

bool ConsolePrompt::hasAccount() const {
    return MyUtil::isAccountEmail(settings_.string("email").value_or(""));
}

} // namespace ovelo
