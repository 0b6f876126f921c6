#include "platform/ChildProcess.h"

#include "fakes/QtWait.h"
#include "fakes/TemporaryFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <optional>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using Steady = std::chrono::steady_clock;

class ChildProcessTest : public ::testing::Test {
protected:
    void start(const std::string& command, std::chrono::milliseconds limit = 30s) {
        request.command = command;
        request.limit = limit;
        process = ChildProcess::start(request, [this](const ChildProcess::Ending& how) {
            ++endings;
            ending = how;
        });
    }

    ChildProcess::Ending run(const std::string& command, std::chrono::milliseconds limit = 30s) {
        start(command, limit);
        EXPECT_TRUE(runLoopUntil([this] { return endings > 0; }, 10s)) << command;
        return ending;
    }

    [[nodiscard]] std::string file() const { return (folder.path() / "result").string(); }
    [[nodiscard]] std::string written() const { return readFile(file()); }

    /// Waits until the command has written a process's number, and gives it.
    pid_t numberWritten() {
        EXPECT_TRUE(runLoopUntil([this] { return written().ends_with("\n"); }));
        return std::stoi("0" + written());
    }

    /// Gone, or dead and waiting to be collected by whoever took it over.
    static bool isGone(pid_t id) {
        const std::string status = readFile("/proc/" + std::to_string(id) + "/stat");
        return status.empty() || status.find(") Z ") != std::string::npos;
    }

    TemporaryFolder folder;
    ChildProcess::Request request;
    std::unique_ptr<ChildProcess> process;
    ChildProcess::Ending ending;
    int endings = 0;
};

TEST_F(ChildProcessTest, AProgramGetsItsInputUpToTheEnd) {
    Bytes bytes(300000);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 7 / 5);
    }
    request.input = makeData(bytes);
    EXPECT_EQ(run("dd status=none of=" + file()).failure, std::nullopt);
    EXPECT_EQ(written(), std::string(bytes.begin(), bytes.end()));
}

TEST_F(ChildProcessTest, WithoutInputAProgramReadsTheEndAtOnce) {
    EXPECT_EQ(run("cat").failure, std::nullopt);
}

TEST_F(ChildProcessTest, AProgramThatDoesNotReadDoesNoHarm) {
    request.input = makeData(Bytes(5000000, 'x'));
    EXPECT_EQ(run("true").failure, std::nullopt);

    endings = 0;
    EXPECT_EQ(run("sh -c \"exec 0<&-; sleep 0.05\"").failure, std::nullopt);
}

TEST_F(ChildProcessTest, TheEnvironmentIsOursAndWhatIsAdded) {
    request.environment = {{"OVELO_WORDS", "two words; $HOME"}};
    run("sh -c \"echo $OVELO_WORDS:$PATH > " + file() + "\"");
    EXPECT_EQ(written(), "two words; $HOME:" + std::string(::getenv("PATH")) + "\n");
}

TEST_F(ChildProcessTest, NoShellSeesTheCommand) {
    run("sh -c \"echo $2 > " + file() + "\" name first \"$HOME *;|>x\"");
    EXPECT_EQ(written(), "$HOME *;|>x\n");
}

TEST_F(ChildProcessTest, ThreeQuotationMarksAreOne) {
    run("sh -c \"echo $1 > " + file() + "\" name \"\"\"said\"\"\"");
    EXPECT_EQ(written(), "\"said\"\n");
}

TEST_F(ChildProcessTest, AnExitStatusIsAFailureWithTheLastErrorLine) {
    const auto how = run("sh -c \"echo first >&2; echo the reason >&2; echo >&2; exit 3\"");
    EXPECT_EQ(how.failure, "exit status 3");
    EXPECT_EQ(how.lastErrorLine, "the reason");
}

TEST_F(ChildProcessTest, AnErrorLineIsBoundedAndPrintable) {
    const auto how =
        run("sh -c \"printf 'a\\033[31mb' >&2; head -c 3000 /dev/zero | tr '\\0' x >&2; exit 1\"");
    EXPECT_EQ(how.lastErrorLine.size(), 200U);
    EXPECT_THAT(how.lastErrorLine, testing::StartsWith("a?[31mbxxx"));
}

TEST_F(ChildProcessTest, AnErrorLineKeepsItsLettersAndIsNotCutWithinOne) {
    const std::string euro = "\xe2\x82\xac";
    EXPECT_EQ(run("sh -c \"echo 100" + euro + " >&2; exit 1\"").lastErrorLine, "100" + euro);

    endings = 0;
    std::string many;
    for (int i = 0; i < 100; ++i) {
        many += euro;
    }
    const auto how = run("sh -c \"echo " + many + " >&2; exit 1\"");
    EXPECT_EQ(how.lastErrorLine, many.substr(0, 198));

    endings = 0;
    EXPECT_EQ(run("sh -c \"printf 'a\\200b' >&2; exit 1\"").lastErrorLine, "a?b");
}

TEST_F(ChildProcessTest, EndlessErrorsAreNotKept) {
    const auto how =
        run("sh -c \"head -c 9000000 /dev/zero | tr '\\0' x >&2; echo >&2; echo end >&2; exit 1\"");
    EXPECT_EQ(how.lastErrorLine, "end");
}

TEST_F(ChildProcessTest, AProgramThatDoesNotExistIsAFailure) {
    const auto how = run("/nowhere/no-such-program");
    EXPECT_THAT(how.failure.value_or(""), HasSubstr("could not be started: "));
    endings = 0;
    EXPECT_THAT(run("   ").failure.value_or(""), HasSubstr("no program is named"));
    endings = 0;
    EXPECT_THAT(run("/").failure.value_or(""), HasSubstr("could not be started: "));
}

TEST_F(ChildProcessTest, ASignalIsAFailure) {
    EXPECT_EQ(run("sh -c \"kill -9 $$\"").failure, "was ended by signal 9");
}

TEST_F(ChildProcessTest, TheEndIsToldOnce) {
    run("false");
    process->terminate();
    EXPECT_TRUE(process->waitUntilEnded(0ms));
    QCoreApplication::processEvents();
    EXPECT_EQ(endings, 1);
}

TEST_F(ChildProcessTest, WhenItsTimeIsOverItIsEnded) {
    const auto how = run("sleep 60", 50ms);
    EXPECT_THAT(how.failure.value_or(""), HasSubstr("took longer than"));
}

TEST_F(ChildProcessTest, OneThatWillNotEndIsKilled) {
    const auto began = Steady::now();
    const auto former =
        ::signal(SIGTERM, SIG_IGN); // inherited, so that it ignores it from the first
    start("sleep 60", 50ms);
    ::signal(SIGTERM, former);
    EXPECT_TRUE(runLoopUntil([this] { return endings > 0; }, 10s));
    const auto& how = ending;
    EXPECT_THAT(how.failure.value_or(""), HasSubstr("took longer than"));
    EXPECT_GE(Steady::now() - began, 1800ms); // timers of seconds are coarse
    EXPECT_LT(Steady::now() - began, 4s);
}

TEST_F(ChildProcessTest, WhatItStartedIsEndedWithIt) {
    start("sh -c \"sleep 60 & echo $! > " + file() + "; wait\"", 30s);
    const pid_t sleeper = numberWritten();
    process.reset();
    EXPECT_TRUE(runLoopUntil([&] { return isGone(sleeper); }));
    EXPECT_EQ(endings, 0);
}

TEST_F(ChildProcessTest, DestroyingOneThatRunsTakesNoTime) {
    start("sh -c \"trap '' TERM; echo $$ > " + file() + "; while :; do sleep 0.1; done\"");
    const pid_t id = numberWritten();
    const auto began = Steady::now();
    process.reset();
    EXPECT_LT(Steady::now() - began, 100ms);
    EXPECT_TRUE(isGone(id));
}

TEST_F(ChildProcessTest, DestroyingOneThatHasJustBeenStartedEndsIt) {
    for (int i = 0; i < 20; ++i) {
        start("sleep 60");
        process.reset();
    }
    EXPECT_EQ(endings, 0);
}

TEST_F(ChildProcessTest, ItHasNoneOfOurOpenFiles) {
    const int ours = ::open("/dev/null", O_RDONLY); // not marked to be closed
    ASSERT_GT(ours, 2);
    run("sh -c \"ls /proc/self/fd > " + file() + "\"");
    ::close(ours);
    EXPECT_EQ(written(), "0\n1\n2\n3\n"); // the last one is the listing's own
}

} // namespace

} // namespace ovelo
