#include "platform/Folders.h"

#include "fakes/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>

// The library behind keeps what it read from the environment, so each case runs in a process of its
// own.
namespace ovelo {

namespace {

namespace fs = std::filesystem;

class FoldersTest : public ::testing::Test {
protected:
    FoldersTest() { GTEST_FLAG_SET(death_test_style, "fast"); }

    /// Ends the child process with success when the two are equal.
    [[noreturn]] static void exitWith(const fs::path& actual, const fs::path& expected) {
        std::fprintf(stderr, "%s, expected %s\n", actual.c_str(), expected.c_str());
        std::exit(actual == expected ? 0 : 1);
    }
};

const auto kSuccess = ::testing::ExitedWithCode(0);

TEST_F(FoldersTest, DocumentsIsMadeInTheHomeFolderWhenNothingIsConfigured) {
    const TemporaryFolder home;
    const auto check = [&] {
        ::setenv("HOME", home.path().c_str(), 1);
        ::unsetenv("XDG_CONFIG_HOME");
        const fs::path documents = folders::documents();
        exitWith(fs::is_directory(documents) ? documents : "missing", home.path() / "Documents");
    };
    EXPECT_EXIT(check(), kSuccess, "");
}

TEST_F(FoldersTest, DocumentsIsWhereTheUsersFoldersSay) {
    const TemporaryFolder home;
    const auto check = [&] {
        ::setenv("HOME", home.path().c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (home.path() / "cfg").c_str(), 1);
        fs::create_directories(home.path() / "cfg");
        writeFile(home.path() / "cfg/user-dirs.dirs", "XDG_DOCUMENTS_DIR=\"$HOME/Papers\"\n");
        exitWith(folders::documents(), home.path() / "Papers");
    };
    EXPECT_EXIT(check(), kSuccess, "");
}

TEST_F(FoldersTest, DocumentsIsNothingWhenItCannotBeMade) {
    const TemporaryFolder home;
    const auto check = [&] {
        ::setenv("HOME", home.path().c_str(), 1);
        ::unsetenv("XDG_CONFIG_HOME");
        writeFile(home.path() / "Documents", "a file");
        exitWith(folders::documents(), "");
    };
    EXPECT_EXIT(check(), kSuccess, "");
}

TEST_F(FoldersTest, SettingsFollowTheConfiguredFolder) {
    const auto check = [] {
        ::setenv("XDG_CONFIG_HOME", "/somewhere", 1);
        exitWith(folders::settings(), "/somewhere/Ovelo");
    };
    EXPECT_EXIT(check(), kSuccess, "");
}

TEST_F(FoldersTest, SettingsAreInTheHomeFolderOtherwise) {
    const auto check = [] {
        ::unsetenv("XDG_CONFIG_HOME");
        ::setenv("HOME", "/home/someone", 1);
        exitWith(folders::settings(), "/home/someone/.config/Ovelo");
    };
    EXPECT_EXIT(check(), kSuccess, "");
}

TEST_F(FoldersTest, TemporaryIsTheConfiguredFolderOnlyWhenItExists) {
    const TemporaryFolder folder;
    const auto existing = [&] {
        ::setenv("TMPDIR", folder.path().c_str(), 1);
        exitWith(folders::temporary(), folder.path());
    };
    EXPECT_EXIT(existing(), kSuccess, "");
    const auto missing = [&] {
        ::setenv("TMPDIR", (folder.path() / "no").c_str(), 1);
        exitWith(folders::temporary(), "/tmp");
    };
    EXPECT_EXIT(missing(), kSuccess, "");
}

} // namespace

} // namespace ovelo
