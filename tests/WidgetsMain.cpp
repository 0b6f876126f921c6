// The main function of tests that show widgets, on no display at all.

#include "platform/QtMainLoop.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <clocale>

int main(int argc, char** argv) {
    ::qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    std::setlocale(LC_NUMERIC, "C"); // Qt has set the user's
    QApplication::setQuitOnLastWindowClosed(false);
    const ovelo::QtMainLoop mainLoop;
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
