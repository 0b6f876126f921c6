#pragma once

#include <deque>
#include <string>
#include <utility>

class QWidget;

namespace ovelo {

/// Errors as sheets on a window, one at a time and without waiting for the user; without a display
/// they are printed.
///
/// thread  main
class ErrorSheets {
public:
    /// onScreen  false: errors are printed on standard error instead
    ErrorSheets(QWidget& window, bool onScreen) : window_(window), onScreen_(onScreen) {}

    void present(const std::string& message, const std::string& informativeText);

private:
    using Error = std::pair<std::string, std::string>;

    void showNext();

    QWidget& window_;
    bool onScreen_;
    // The one on the screen first. Bounded: a viewer may cause any number of errors while nobody is
    // at the computer.
    std::deque<Error> errors_;
};

} // namespace ovelo
