#pragma once

#include <string>

namespace ovelo {

/// The panels beside the main window.
enum class Panel { Options, Mono, AutoConfig, EmailHelp, CameraList };

/// What the document needs of its window. Implemented in ui/.
///
/// thread  main
class DocumentWindow {
public:
    virtual ~DocumentWindow() = default;

    /// Shows a panel in front of the others.
    virtual void orderFront(Panel panel) = 0;

    /// Hides a panel.
    virtual void orderOut(Panel panel) = 0;

    /// The text in the e-mail help panel; empty before setEmailText().
    [[nodiscard]] virtual std::string emailText() const = 0;
    virtual void setEmailText(const std::string& text) = 0;

    /// Shows an error as a sheet on the window, without waiting for the user.
    virtual void presentError(const std::string& message, const std::string& informativeText) = 0;

    /// Shows an alert with an "OK" button, and returns when the user has pressed it; the main loop
    /// goes on meanwhile.
    virtual void runAlert(const std::string& message, const std::string& informativeText) = 0;

    /// Hides the main window; the program goes on.
    virtual void hideMainWindow() = 0;
};

} // namespace ovelo
