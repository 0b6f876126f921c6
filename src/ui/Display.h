#pragma once

#include <string>

/// Whether anybody can see our windows, and what is done when nobody can.
namespace ovelo::display {

/// Chooses Qt's offscreen platform when there is no display server. Before any thread and the
/// QApplication.
void choosePlatform();

/// False on the offscreen platform. After the QApplication was made.
[[nodiscard]] bool isPresent();

/// Prints an alert on standard error, where one without a display appears.
void printAlert(const std::string& message, const std::string& informativeText);

} // namespace ovelo::display
