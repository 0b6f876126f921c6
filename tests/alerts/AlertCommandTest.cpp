#include "alerts/AlertCommand.h"

#include "fakes/FakeClock.h"
#include "fakes/QtWait.h"
#include "fakes/TestLog.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"
#include "platform/QtMainLoop.h"

#include <gmock/gmock.h>
#include <signal.h>

#include <thread>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using RealTime = std::chrono::steady_clock;

/// The start of processes is only noted down.
class AlertCommandTest : public ::testing::Test {
protected:
    class NoProcess final : public ChildProcess {
    public:
        void terminate() override {}
        bool waitUntilEnded(std::chrono::milliseconds) override { return true; }
    };

    AlertCommandTest() { settings.setString("alertCommand", "tell -f one"); }

    AlertCommand::Environment environment() {
        return {settings, clock, log.log(),
                [this](const ChildProcess::Request& request,
                       std::function<void(const ChildProcess::Ending&)> ended) {
                    requests.push_back(request);
                    ends.push_back(std::move(ended));
                    return std::make_unique<NoProcess>();
                }};
    }

    /// A motion after so many seconds.
    void motionAfter(std::chrono::seconds time) {
        clock.advance(time);
        motion();
    }
    void motion() {
        command.motion({clock.timeOfDay(), 0.25, 0.05, makeData({0xff, 0xd8})});
        MainThread::serve();
    }

    QtMainLoop loop;
    MemorySettings settings;
    FakeClock clock;
    TestLog log;
    std::vector<ChildProcess::Request> requests;
    std::vector<std::function<void(const ChildProcess::Ending&)>> ends;
    AlertCommand command{environment()};
};

TEST_F(AlertCommandTest, TheCommandGetsThePictureAndWhatHappened) {
    motion();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].command, "tell -f one");
    EXPECT_EQ(*requests[0].input, (Bytes{0xff, 0xd8}));
    EXPECT_EQ(requests[0].limit, 30s);
    EXPECT_THAT(requests[0].environment,
                ElementsAre(Pair("OVELO_EVENT", "motion"),
                            Pair("OVELO_TIME", "2023-11-14T22:13:20Z"),
                            Pair("OVELO_RATIO", "0.250000"), Pair("OVELO_THRESHOLD", "0.050000")));
}

TEST_F(AlertCommandTest, NothingRunsWithoutACommand) {
    settings.setString("alertCommand", "");
    motion();
    settings.remove("alertCommand");
    motion();
    EXPECT_TRUE(requests.empty());

    settings.setString("alertCommand", "tell");
    motion(); // at once, for nothing has run yet
    EXPECT_EQ(requests.size(), 1U);
}

TEST_F(AlertCommandTest, ItRunsOnTheMainThreadAndItsCallerDoesNotWait) {
    std::thread([this] {
        command.motion({clock.timeOfDay(), 0.25, 0.05, makeData({})});
    }).join(); // the main thread does nothing
    EXPECT_TRUE(requests.empty());
    MainThread::serve();
    EXPECT_EQ(requests.size(), 1U);
}

TEST_F(AlertCommandTest, ACallThatComesWhenTheCommandIsGoneIsHarmless) {
    {
        AlertCommand other(environment());
        other.motion({});
    }
    MainThread::serve();
    EXPECT_TRUE(requests.empty());
}

TEST_F(AlertCommandTest, WithoutASpacingItRunsOnceInTenSeconds) {
    motion();
    motionAfter(9s);
    EXPECT_EQ(requests.size(), 1U);
    motionAfter(1s);
    EXPECT_EQ(requests.size(), 2U);
    motionAfter(2s);
    EXPECT_EQ(requests.size(), 2U);
}

TEST_F(AlertCommandTest, SettingTheClockDoesNotChangeTheSpacing) {
    motion();
    clock.jump(3600s);
    motionAfter(2s);
    EXPECT_EQ(requests.size(), 1U);
    clock.jump(-7200s);
    motionAfter(8s);
    EXPECT_EQ(requests.size(), 2U);
}

struct Spacing {
    const char* text;
    std::chrono::seconds seconds;
};

class AlertCommandSpacingTest : public AlertCommandTest,
                                public testing::WithParamInterface<Spacing> {};

TEST_P(AlertCommandSpacingTest, IsKept) {
    settings.setString("alertCommandSpacing", GetParam().text);
    motion();
    if (GetParam().seconds > 0s) {
        motionAfter(GetParam().seconds - 1s);
        EXPECT_EQ(requests.size(), 1U);
        clock.advance(1s);
    }
    motion();
    EXPECT_EQ(requests.size(), 2U);
}

INSTANTIATE_TEST_SUITE_P(Texts, AlertCommandSpacingTest,
                         testing::Values(Spacing{"0", 0s}, Spacing{"3", 3s}, Spacing{"60", 60s},
                                         Spacing{"", 10s}, Spacing{"often", 10s},
                                         Spacing{"-5", 10s}, Spacing{"5 minutes", 10s},
                                         Spacing{"-99999999999999999999", 10s},
                                         Spacing{"99999999999999999999", 86400s},
                                         Spacing{"86401", 86400s}));

TEST_F(AlertCommandTest, AFailureIsLoggedWithTheProgramAndItsLastLineButNotItsArguments) {
    settings.setString("alertCommand", "\"/opt/my tools/tell\" --token=secret");
    motion();
    ends[0]({"exit status 22", "tell: no route"});
    EXPECT_THAT(log.text(), HasSubstr("Alert command failed: /opt/my tools/tell: exit status 22 - "
                                      "tell: no route\n"));
    EXPECT_FALSE(log.contains("secret"));
}

TEST_F(AlertCommandTest, AFailureWithoutALastLineIsLoggedAlone) {
    motion();
    ends[0]({"could not be started: No such file or directory", ""});
    EXPECT_THAT(log.text(), HasSubstr("Alert command failed: tell: could not be started: No such "
                                      "file or directory\n"));
}

TEST_F(AlertCommandTest, SuccessIsNotLogged) {
    motion();
    ends[0]({std::nullopt, "a warning"});
    EXPECT_EQ(log.text(), "");
}

TEST_F(AlertCommandTest, OneThatStillRunsDoesNotKeepTheNextFromRunning) {
    motion();
    motionAfter(10s);
    motionAfter(10s);
    ASSERT_EQ(requests.size(), 3U);
    ends[1]({std::nullopt, ""});
    motionAfter(10s);
    ends[0]({"exit status 1", ""});
    ends[2]({std::nullopt, ""});
    EXPECT_EQ(requests.size(), 4U);
}

TEST_F(AlertCommandTest, AfterStopNothingRuns) {
    command.stop();
    motion();
    EXPECT_TRUE(requests.empty());
}

/// With real processes.
class AlertCommandRunTest : public AlertCommandTest {
protected:
    AlertCommandRunTest() {
        settings.setInteger("alertCommandSpacing", 0);
        real.emplace(AlertCommand::Environment{settings, clock, log.log()});
    }

    void run(const std::string& text) {
        settings.setString("alertCommand", text);
        real->motion({clock.timeOfDay(), 0.25, 0.05, makeData(Bytes(20000, 'p'))});
        MainThread::serve();
    }

    [[nodiscard]] std::string file(const char* name) const {
        return (folder.path() / name).string();
    }
    bool appears(const char* name) {
        return runLoopUntil([&] { return readFile(file(name)).ends_with("\n"); });
    }

    TemporaryFolder folder;
    std::optional<AlertCommand> real;
};

TEST_F(AlertCommandRunTest, AProgramGetsThePictureAndWhatHappened) {
    run("sh -c \"cat > " + file("picture") +
        "; echo $OVELO_EVENT $OVELO_TIME $OVELO_RATIO $OVELO_THRESHOLD > " + file("words") + "\"");
    ASSERT_TRUE(appears("words"));
    EXPECT_EQ(readFile(file("words")), "motion 2023-11-14T22:13:20Z 0.250000 0.050000\n");
    EXPECT_EQ(readFile(file("picture")), std::string(20000, 'p'));
}

TEST_F(AlertCommandRunTest, FailuresOfAllKindsAreLogged) {
    run("/nowhere/tell --now");
    run("sh -c \"echo broken >&2; exit 3\"");
    run("sh -c \"kill -9 $$\"");
    EXPECT_TRUE(runLoopUntil([&] {
        return log.contains("Alert command failed: /nowhere/tell: could not be started: ") &&
               log.contains("Alert command failed: sh: exit status 3 - broken\n") &&
               log.contains("Alert command failed: sh: was ended by signal 9\n");
    })) << log.text();
}

TEST_F(AlertCommandRunTest, AtTheEndAllThatRunAreEndedWithinTwoHundredMilliseconds) {
    constexpr int kStubborn = 5;
    for (int i = 0; i < kStubborn; ++i) {
        const std::string name = "id" + std::to_string(i);
        run("sh -c \"trap '' TERM; echo $$ > " + file(name.c_str()) +
            "; while :; do sleep 0.05; done\"");
        ASSERT_TRUE(appears(name.c_str()));
    }
    const auto began = RealTime::now();
    real->stop();
    EXPECT_LT(RealTime::now() - began, 200ms);
    for (int i = 0; i < kStubborn; ++i) {
        const int id = std::stoi(readFile(file(("id" + std::to_string(i)).c_str())));
        EXPECT_NE(::kill(id, 0), 0) << id;
    }
    EXPECT_EQ(log.text(), ""); // they did not fail
}

TEST_F(AlertCommandRunTest, AtTheEndAProgramMayTidyUp) {
    run("sh -c \"trap 'echo tidy > " + file("tidy") + "; exit' TERM; echo ready > " +
        file("ready") + "; while :; do sleep 0.01; done\"");
    ASSERT_TRUE(appears("ready"));
    real.reset();
    EXPECT_EQ(readFile(file("tidy")), "tidy\n");
}

} // namespace

} // namespace ovelo
