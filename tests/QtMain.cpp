// The main function of tests that need Qt's event loop, text or images.

#include <QGuiApplication>

#include <gtest/gtest.h>

#include <clocale>

int main(int argc, char** argv) {
    ::qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    std::setlocale(LC_NUMERIC, "C"); // Qt has set the user's
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
