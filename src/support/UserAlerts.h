#pragma once

#include <functional>
#include <string>

namespace ovelo {

/// Alerts that the user has to answer before going on. Implemented in ui/.
///
/// None of them blocks: the answer comes later, on the main loop, or at once when there is nobody to
/// ask. Whoever may be gone by then guards the function that takes it.
///
/// thread  main
class UserAlerts {
public:
    struct Question {
        std::string message;
        std::string informativeText;
        std::string defaultButton;
        std::string otherButton;
    };

    virtual ~UserAlerts() = default;

    /// An alert with an "OK" button.
    ///
    /// closed  called when the user has pressed it; may be empty
    virtual void tell(const std::string& message, const std::string& informativeText,
                      std::function<void()> closed) = 0;

    /// An alert with two buttons. Closing it presses the default one, and so does a computer without
    /// a display.
    ///
    /// answer  told whether the other button was pressed
    virtual void ask(const Question& question,
                     std::function<void(bool otherButtonPressed)> answer) = 0;
};

} // namespace ovelo
