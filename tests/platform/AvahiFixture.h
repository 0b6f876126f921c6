#pragma once

#include "platform/AvahiLab.h"
#include "platform/MainThread.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>

namespace ovelo {

/// The test is the main thread, and has a lab with neither bus nor daemon running; skipped where no
/// lab can run.
class AvahiFixture : public testing::Test {
protected:
    static constexpr const char* kType = "_lumenwatch._tcp";

    void SetUp() override {
        if (const auto obstacle = AvahiLab::obstacle(); !obstacle.empty()) {
            GTEST_SKIP() << "NOT TESTED: " << obstacle;
        }
        if (!shared()) {
            shared() = std::make_unique<AvahiLab>();
        }
        MainThread::begin();
    }
    void TearDown() override {
        MainThread::end();
        if (shared()) {
            lab().stopForeign();
            lab().stopDaemon();
            lab().stopBus();
        }
    }
    static AvahiLab& lab() { return *shared(); }

    /// Serves the main thread until `condition` holds, for at most 20 seconds.
    static bool eventually(const std::function<bool()>& condition) {
        return MainThread::serveUntil(condition, std::chrono::seconds(20));
    }

private:
    /// Kept until the end of the process, being one for all suites.
    static std::unique_ptr<AvahiLab>& shared() {
        static std::unique_ptr<AvahiLab> lab;
        return lab;
    }
};

} // namespace ovelo
