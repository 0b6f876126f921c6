// Whole-program tests of ovelo-settings.

#include "fakes/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

namespace ovelo {

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

struct Outcome {
    int status = -1;
    std::string output;
    std::string errors;
};

} // namespace

class SettingsToolTest : public ::testing::Test {
protected:
    [[nodiscard]] fs::path file() const { return folder_.path() / "cfg" / "Ovelo" / "Ovelo.ini"; }

    Outcome run(std::vector<std::string> arguments) const {
        const fs::path output = folder_.path() / "output";
        const fs::path errors = folder_.path() / "errors";
        arguments.insert(arguments.begin(), SETTINGS_TOOL);
        std::vector<char*> pointers;
        for (auto& argument : arguments) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        const pid_t child = ::fork();
        if (child == 0) {
            ::setenv("XDG_CONFIG_HOME", (folder_.path() / "cfg").c_str(), 1);
            ::unsetenv("DISPLAY");
            ::unsetenv("QT_QPA_PLATFORM");
            std::freopen(output.c_str(), "w", stdout);
            std::freopen(errors.c_str(), "w", stderr);
            ::execv(SETTINGS_TOOL, pointers.data());
            ::_exit(127);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(output), readFile(errors)};
    }

    TemporaryFolder folder_;
};

TEST_F(SettingsToolTest, WritesTextsByDefaultAndReadsThemBack) {
    EXPECT_EQ(run({"write", "email", "me@example.org"}).status, 0);
    const auto read = run({"read", "email"});

    EXPECT_EQ(read.status, 0);
    EXPECT_EQ(read.output, "me@example.org\n");
    EXPECT_EQ(readFile(file()), "[General]\nemail=me@example.org\n");
}

TEST_F(SettingsToolTest, WritesEachType) {
    EXPECT_EQ(run({"write", "s", "-string", "-int"}).status, 0);
    EXPECT_EQ(run({"write", "i", "-int", "-12"}).status, 0);
    EXPECT_EQ(run({"write", "b", "-bool", "Yes"}).status, 0);
    EXPECT_EQ(run({"write", "c", "-bool", "false"}).status, 0);
    EXPECT_EQ(run({"write", "a", "-array", "x", "y, z"}).status, 0);
    EXPECT_EQ(run({"write", "e", "-array"}).status, 0);

    EXPECT_EQ(readFile(file()),
              "[General]\na=x, \"y, z\"\nb=true\nc=false\ne=@Invalid()\ni=-12\ns=-int\n");
}

TEST_F(SettingsToolTest, ReadsAnArrayOneItemALine) {
    run({"write", "a", "-array", "x", "y, z"});

    EXPECT_EQ(run({"read", "a"}).output, "x\ny, z\n");
}

TEST_F(SettingsToolTest, ReadsEverythingAsKeysAndValues) {
    run({"write", "port", "1726"});
    run({"write", "a", "-array", "x", "y, z"});
    run({"write", "lines", "one\ntwo"});

    EXPECT_EQ(run({"read"}).output, "a = [\"x\", \"y, z\"]\nlines = one\\ntwo\nport = 1726\n");
}

TEST_F(SettingsToolTest, AnUnknownKeyIsAnError) {
    const auto read = run({"read", "nothing"});

    EXPECT_EQ(read.status, 1);
    EXPECT_EQ(read.output, "");
    EXPECT_EQ(read.errors, "ovelo-settings: there is no setting \"nothing\"\n");
    EXPECT_FALSE(fs::exists(file()));
}

TEST_F(SettingsToolTest, ADeletedKeyIsUnknown) {
    run({"write", "port", "1726"});
    EXPECT_EQ(run({"delete", "port"}).status, 0);

    EXPECT_EQ(run({"read", "port"}).status, 1);
}

class SettingsToolWrongCallTest : public SettingsToolTest,
                                  public ::testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(SettingsToolWrongCallTest, IsAnErrorAndStoresNothing) {
    const auto outcome = run(GetParam());

    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("ovelo-settings: "));
    EXPECT_FALSE(fs::exists(file()));
}

using Words = std::vector<std::string>;
INSTANTIATE_TEST_SUITE_P(
    Calls, SettingsToolWrongCallTest,
    ::testing::Values(Words{}, Words{"frob"}, Words{"write"}, Words{"write", "k"},
                      Words{"write", "k", "a", "b"}, Words{"write", "k", "-int", "5x"},
                      Words{"write", "k", "-int", ""}, Words{"write", "k", "-int"},
                      Words{"write", "k", "-int", "99999999999"},
                      Words{"write", "k", "-int", "1", "2"}, Words{"write", "k", "-bool", "maybe"},
                      Words{"write", "", "v"}, Words{"write", "a/b", "v"},
                      Words{"write", "a b", "v"}, Words{"write", "k", "caf\xE9"},
                      Words{"read", "a", "b"}, Words{"delete"}));

TEST_F(SettingsToolTest, TheHelpWarnsOfPasswords) {
    const auto help = run({"--help"});

    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.output, HasSubstr("passwords included"));
}

TEST_F(SettingsToolTest, AFileThatCannotBeWrittenIsAnError) {
    fs::create_directories(file());
    const auto write = run({"write", "port", "1726"});

    EXPECT_EQ(write.status, 1);
    EXPECT_THAT(write.errors, HasSubstr("cannot be written"));
}

TEST_F(SettingsToolTest, ADamagedFileIsKept) {
    fs::create_directories(file().parent_path());
    writeFile(file(), "garbage");
    const auto write = run({"write", "port", "1726"});

    EXPECT_EQ(write.status, 0);
    EXPECT_THAT(write.errors, HasSubstr("kept as"));
    EXPECT_EQ(run({"read", "port"}).output, "1726\n");
}

TEST_F(SettingsToolTest, ProcessesThatWriteAtTheSameTimeLoseNothing) {
    constexpr int kProcesses = 8;
    std::vector<pid_t> children;
    for (int n = 0; n < kProcesses; ++n) {
        children.push_back(::fork());
        if (children.back() == 0) {
            ::setenv("XDG_CONFIG_HOME", (folder_.path() / "cfg").c_str(), 1);
            const std::string key = "key" + std::to_string(n);
            ::execl(SETTINGS_TOOL, SETTINGS_TOOL, "write", key.c_str(), "v", nullptr);
            ::_exit(127);
        }
    }
    for (const pid_t child : children) {
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }

    for (int n = 0; n < kProcesses; ++n) {
        EXPECT_EQ(run({"read", "key" + std::to_string(n)}).output, "v\n") << n;
    }
}

} // namespace ovelo
