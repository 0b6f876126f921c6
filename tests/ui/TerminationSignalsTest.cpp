#include "ui/TerminationSignals.h"

#include "fakes/QtWait.h"

#include <gtest/gtest.h>

#include <csignal>

namespace ovelo {

class TerminationSignalsTest : public ::testing::TestWithParam<int> {
protected:
    ~TerminationSignalsTest() override { std::signal(GetParam(), SIG_DFL); }
};

TEST_P(TerminationSignalsTest, ASignalBecomesACallOnTheMainLoop) {
    int calls = 0;
    TerminationSignals signals;
    signals.notify([&] { ++calls; });

    std::raise(GetParam());
    EXPECT_EQ(calls, 0) << "not in the handler";

    EXPECT_TRUE(runLoopUntil([&] { return calls == 1; }));
}

TEST_P(TerminationSignalsTest, ASignalBeforeTheMainLoopIsKept) {
    int calls = 0;
    TerminationSignals signals;
    std::raise(GetParam());

    signals.notify([&] { ++calls; });

    EXPECT_TRUE(runLoopUntil([&] { return calls == 1; }));
}

TEST_P(TerminationSignalsTest, ALateSignalDoesNotEndTheProcess) {
    {
        TerminationSignals signals;
        signals.notify([] {});
        signals.ignore();
        std::raise(GetParam());
    }
    std::raise(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Signals, TerminationSignalsTest, ::testing::Values(SIGTERM, SIGINT),
                         [](const auto& test) {
                             return std::string(test.param == SIGTERM ? "Term" : "Int");
                         });

} // namespace ovelo
