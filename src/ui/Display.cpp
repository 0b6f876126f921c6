#include "ui/Display.h"

#include "platform/Console.h"

#include <QGuiApplication>

#include <cstdlib>

namespace ovelo::display {

namespace {

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

} // namespace

void choosePlatform() {
    if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY") && !isSet("QT_QPA_PLATFORM")) {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    }
}

bool isPresent() {
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

void printAlert(const std::string& message, const std::string& informativeText) {
    console::write("ALERT: " + message + " -- " + informativeText);
}

} // namespace ovelo::display
