// The main function of tests that start the whole program.

#include "integration/Sandbox.h"

#include <QGuiApplication>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

/// Skips every test, and says why, where a network of one's own cannot be had.
class SandboxEnvironment final : public ::testing::Environment {
public:
    void SetUp() override {
        const std::string hindrance = ovelo::enterSandbox();
        if (!hindrance.empty() && std::getenv("OVELO_REQUIRE_SANDBOX") != nullptr) {
            FAIL() << hindrance;
        }
        if (!hindrance.empty()) {
            GTEST_SKIP() << "NOT TESTED: " << hindrance;
        }
    }
};

} // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new SandboxEnvironment); // GoogleTest owns it
    ::qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
