// The main function of tests that need widgets.

#include "platform/QtMainLoop.h"

#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    ::qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const ovelo::QtMainLoop mainLoop;
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
