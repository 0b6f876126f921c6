// What IniSettings does with a file that is missing, damaged or closed to us.

#include "fakes/TemporaryFolder.h"
#include "platform/IniSettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace ovelo {

namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

/// Standard error, taken from here on.
class ErrorOutput {
public:
    ErrorOutput() { ::testing::internal::CaptureStderr(); }
    std::string text() { return ::testing::internal::GetCapturedStderr(); }
};

long linesIn(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
}

std::vector<std::string> copiesIn(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const auto name = entry.path().filename().string();
        if (name.starts_with("Ovelo.ini.damaged-")) {
            names.push_back(name);
        }
    }
    return names;
}

/// Runs `check` in a process of its own and tells its exit status.
int statusOfChild(const std::function<int()>& check) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(check());
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

constexpr int kCannot = 77;

/// Makes `folder` read-only for the calling process alone.
bool makeReadOnly(const fs::path& folder) {
    const char* path = folder.c_str();
    return ::unshare(CLONE_NEWNS) == 0 &&
           ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount(path, path, nullptr, MS_BIND, nullptr) == 0 &&
           ::mount(nullptr, path, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}

} // namespace

class IniSettingsFaultTest : public ::testing::Test {
protected:
    IniSettingsFaultTest() { fs::create_directories(file().parent_path()); }

    [[nodiscard]] fs::path file() const { return folder_.path() / "Ovelo" / "Ovelo.ini"; }

    TemporaryFolder folder_;
};

class IniSettingsGarbageTest : public IniSettingsFaultTest,
                               public ::testing::WithParamInterface<std::string> {};

TEST_P(IniSettingsGarbageTest, IsSaidNotUsedAndKeptBesideTheFileBeforeAWrite) {
    writeFile(file(), GetParam());
    ErrorOutput errors;
    {
        IniSettings settings(file());
        EXPECT_TRUE(settings.keys().empty());
        EXPECT_EQ(readFile(file()), GetParam());

        settings.setString("port", "1726");
        settings.setString("email", "me@example.org");
        EXPECT_TRUE(settings.isSaved());
    }
    const std::string said = errors.text();

    EXPECT_EQ(readFile(file()), "[General]\nemail=me@example.org\nport=1726\n");
    const auto copies = copiesIn(file().parent_path());
    ASSERT_EQ(copies.size(), 1U);
    EXPECT_THAT(copies[0], ::testing::MatchesRegex("Ovelo.ini.damaged-[0-9]{14}"));
    EXPECT_EQ(readFile(file().parent_path() / copies[0]), GetParam());
    EXPECT_THAT(said, HasSubstr("Ovelo.ini is not used: "));
    EXPECT_THAT(said, HasSubstr("kept as " + (file().parent_path() / copies[0]).string()));
    EXPECT_EQ(linesIn(said), 2) << said;
}

INSTANTIATE_TEST_SUITE_P(Contents, IniSettingsGarbageTest,
                         ::testing::Values(std::string("\x7F"
                                                       "ELF\0\x01\x02",
                                                       7),
                                           "hello\nworld\n", "[General]\nport=1726\nwhat is this\n",
                                           "[General]\nk=\"open\nport=1\n",
                                           "\xFF\xFE"
                                           "k\0=\0",
                                           std::string(4096, '\0')));

TEST_F(IniSettingsFaultTest, TwoDamagedFilesInOneSecondAreBothKept) {
    ErrorOutput errors;
    for (const char* garbage : {"first", "second", "third"}) {
        writeFile(file(), garbage);
        IniSettings(file()).setString("port", "1726");
    }
    errors.text();

    std::vector<std::string> contents;
    for (const auto& name : copiesIn(file().parent_path())) {
        contents.push_back(readFile(file().parent_path() / name));
    }
    EXPECT_THAT(contents, ::testing::UnorderedElementsAre("first", "second", "third"));
}

TEST_F(IniSettingsFaultTest, AFileThatBecomesGarbageIsKeptAndReplacedByTheLastGoodValues) {
    writeFile(file(), "[General]\nemail=me@example.org\nport=1726\n");
    ErrorOutput errors;
    IniSettings settings(file());
    writeFile(file(), "gar\0bage");

    settings.setString("port", "1727");
    errors.text();

    EXPECT_EQ(readFile(file()), "[General]\nemail=me@example.org\nport=1727\n");
    EXPECT_EQ(copiesIn(file().parent_path()).size(), 1U);
}

TEST_F(IniSettingsFaultTest, ADamagedFileIsTakenFromOtherUsersToo) {
    writeFile(file(), "hello");
    fs::permissions(file(), fs::perms(0644));
    ErrorOutput errors;
    IniSettings(file()).setString("port", "1726");
    errors.text();

    const auto copies = copiesIn(file().parent_path());
    ASSERT_EQ(copies.size(), 1U);
    EXPECT_EQ(fs::status(file().parent_path() / copies[0]).permissions(), fs::perms(0600));
}

TEST_F(IniSettingsFaultTest, AFolderInPlaceOfTheFileIsSaidOnceAndValuesHoldInMemory) {
    fs::create_directory(file());
    ErrorOutput errors;
    IniSettings settings(file());
    settings.setString("port", "1726");
    settings.setString("port", "1727");
    const std::string said = errors.text();

    EXPECT_EQ(settings.string("port"), "1727");
    EXPECT_FALSE(settings.isSaved());
    EXPECT_THAT(said, HasSubstr("Ovelo.ini is not used: it is not a file"));
    EXPECT_THAT(said, HasSubstr("settings are not stored"));
    EXPECT_EQ(linesIn(said), 2) << said;
}

TEST_F(IniSettingsFaultTest, ValuesHeldInMemoryAreWrittenOnceTheFileCanBe) {
    fs::create_directory(file());
    ErrorOutput errors;
    IniSettings settings(file());
    settings.setString("port", "1727");
    fs::remove(file());
    settings.setString("email", "me@example.org");
    errors.text();

    EXPECT_TRUE(settings.isSaved());
    EXPECT_EQ(readFile(file()), "[General]\nemail=me@example.org\nport=1727\n");
}

TEST_F(IniSettingsFaultTest, AFolderThatCannotBeMadeIsSaidOnce) {
    writeFile(folder_.path() / "file", "");
    ErrorOutput errors;
    IniSettings settings(folder_.path() / "file" / "Ovelo" / "Ovelo.ini");
    settings.setString("port", "1726");
    settings.setString("port", "1727");
    const std::string said = errors.text();

    EXPECT_EQ(settings.string("port"), "1727");
    EXPECT_EQ(linesIn(said), 1) << said;
}

TEST_F(IniSettingsFaultTest, APipeInPlaceOfTheFileBlocksNothing) {
    ASSERT_EQ(::mkfifo(file().c_str(), 0600), 0);
    ErrorOutput errors;
    IniSettings settings(file());
    EXPECT_TRUE(settings.keys().empty());
    settings.setString("port", "1727");
    const std::string said = errors.text();

    EXPECT_EQ(settings.string("port"), "1727");
    EXPECT_FALSE(settings.isSaved());
    EXPECT_THAT(said, HasSubstr("it is not a file"));
    EXPECT_THAT(said, HasSubstr("settings are not stored"));
}

TEST_F(IniSettingsFaultTest, AReadOnlyFolderIsSaidOnceAndValuesHoldInMemory) {
    writeFile(file(), "[General]\nemail=me@example.org\n");
    const fs::path errors = folder_.path() / "errors";
    const int status = statusOfChild([&] {
        if (!makeReadOnly(file().parent_path())) {
            return kCannot;
        }
        std::freopen(errors.c_str(), "w", stderr);
        IniSettings settings(file());
        settings.setString("port", "1726");
        settings.setString("port", "1727");
        return settings.string("port") == "1727" && settings.string("email") && !settings.isSaved()
                   ? 0
                   : 1;
    });
    if (status == kCannot) {
        GTEST_SKIP() << "no read-only mount can be made here: this fault is not tested";
    }

    EXPECT_EQ(status, 0);
    const std::string said = readFile(errors);
    EXPECT_THAT(said, HasSubstr("settings are not stored"));
    EXPECT_EQ(linesIn(said), 1) << said;
    EXPECT_EQ(readFile(file()), "[General]\nemail=me@example.org\n");
}

TEST_F(IniSettingsFaultTest, GarbageThatCannotBeKeptBesideIsNotOverwritten) {
    writeFile(file(), "hello");
    const int status = statusOfChild([&] {
        if (!makeReadOnly(file().parent_path())) {
            return kCannot;
        }
        std::freopen("/dev/null", "w", stderr);
        IniSettings settings(file());
        settings.setString("port", "1726");
        return settings.string("port") == "1726" && !settings.isSaved() ? 0 : 1;
    });
    if (status == kCannot) {
        GTEST_SKIP() << "no read-only mount can be made here: this fault is not tested";
    }

    EXPECT_EQ(status, 0);
    EXPECT_EQ(readFile(file()), "hello");
}

TEST_F(IniSettingsFaultTest, AFileThatIsNotForUsIsSaidAndNotUsed) {
    constexpr uid_t kNobody = 65534;
    writeFile(file(), "[General]\nport=1726\n");
    fs::permissions(file(), fs::perms(0600));
    fs::permissions(folder_.path(), fs::perms(0755));
    const fs::path errors = folder_.path() / "errors";
    writeFile(errors, "");
    const int status = statusOfChild([&] {
        std::freopen(errors.c_str(), "w", stderr);
        if (::geteuid() != 0) {
            fs::permissions(file(), fs::perms(0)); // the owner cannot read it either
        } else if (::setresuid(kNobody, kNobody, kNobody) != 0) {
            return kCannot;
        }
        IniSettings settings(file());
        settings.setString("port", "1727");
        return settings.string("port") == "1727" && !settings.isSaved() ? 0 : 1;
    });
    if (status == kCannot) {
        GTEST_SKIP() << "this process cannot become another user: this fault is not tested";
    }

    EXPECT_EQ(status, 0);
    const std::string said = readFile(errors);
    EXPECT_THAT(said, HasSubstr("Ovelo.ini is not used: Permission denied"));
    EXPECT_THAT(said, HasSubstr("settings are not stored"));
    EXPECT_EQ(linesIn(said), 2) << said;
}

} // namespace ovelo
