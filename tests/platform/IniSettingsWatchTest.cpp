// How IniSettings follows what others do to the file.

#include "fakes/QtWait.h"
#include "fakes/TemporaryFolder.h"
#include "platform/IniSettings.h"
#include "platform/QtMainLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

namespace ovelo {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/// Replaces a file in one step, as another process's settings do.
void replaceFile(const fs::path& path, const std::string& content) {
    writeFile(path.string() + ".new", content);
    fs::rename(path.string() + ".new", path);
}

} // namespace

class IniSettingsWatchTest : public ::testing::Test {
protected:
    static constexpr auto kLimit = 1s; // what users are promised

    IniSettingsWatchTest() { fs::create_directories(file().parent_path()); }

    [[nodiscard]] fs::path file() const { return folder_.path() / "Ovelo" / "Ovelo.ini"; }

    [[nodiscard]] static bool becomes(const Settings& settings, std::optional<std::string> port) {
        return runLoopUntil([&] { return settings.string("port") == port; }, kLimit);
    }

    TemporaryFolder folder_;
    QtMainLoop loop_;
};

TEST_F(IniSettingsWatchTest, ReplacementsAreSeenAgainAndAgain) {
    writeFile(file(), "[General]\nport=1\n");
    IniSettings settings(file());
    settings.watch();

    for (const char* port : {"2", "3", "4"}) {
        replaceFile(file(), std::string("[General]\nport=") + port + "\n");
        EXPECT_TRUE(becomes(settings, port)) << port;
    }
}

TEST_F(IniSettingsWatchTest, AChangeInPlaceIsSeen) {
    writeFile(file(), "[General]\nport=1\n");
    IniSettings settings(file());
    settings.watch();
    writeFile(file(), "[General]\nport=2\n");

    EXPECT_TRUE(becomes(settings, "2"));
}

TEST_F(IniSettingsWatchTest, AFileThatComesLaterIsSeen) {
    IniSettings settings(file());
    settings.watch();
    writeFile(file(), "[General]\nport=1\n");

    EXPECT_TRUE(becomes(settings, "1"));
}

TEST_F(IniSettingsWatchTest, AFolderThatComesLaterIsSeen) {
    fs::remove(file().parent_path());
    IniSettings settings(file());
    settings.watch();
    fs::create_directories(file().parent_path());
    writeFile(file(), "[General]\nport=1\n");

    EXPECT_TRUE(becomes(settings, "1"));
}

TEST_F(IniSettingsWatchTest, AFileThatIsRemovedLeavesTheDefaults) {
    writeFile(file(), "[General]\nport=1\n");
    IniSettings settings(file());
    settings.watch();
    fs::remove(file());

    EXPECT_TRUE(becomes(settings, std::nullopt));
}

TEST_F(IniSettingsWatchTest, WhatChangedBeforeTheWatchIsSeenAtOnce) {
    writeFile(file(), "[General]\nport=1\n");
    IniSettings settings(file());
    writeFile(file(), "[General]\nport=2\n");
    settings.watch();

    EXPECT_EQ(settings.string("port"), "2");
}

TEST_F(IniSettingsWatchTest, AChangeByAnotherIsToldOnce) {
    writeFile(file(), "[General]\nport=1\n");
    IniSettings settings(file());
    settings.watch();
    QCoreApplication::processEvents(); // the values of the start are told here
    int told = 0;
    settings.changed().connect([&] { ++told; });
    replaceFile(file(), "[General]\nport=2\n");
    ASSERT_TRUE(becomes(settings, "2"));

    EXPECT_TRUE(runLoopUntil([&] { return told == 1; }, kLimit));
    EXPECT_FALSE(runLoopUntil([&] { return told > 1; }, 60ms));
}

TEST_F(IniSettingsWatchTest, GarbageLeavesTheLastGoodValuesAndIsSaidOnce) {
    writeFile(file(), "[General]\nport=1\n");
    IniSettings settings(file());
    settings.watch();
    ::testing::internal::CaptureStderr();
    replaceFile(file(), "garbage");
    EXPECT_FALSE(runLoopUntil([&] { return settings.string("port") != "1"; }, 100ms));
    replaceFile(file(), "[General]\nport=2\n");
    EXPECT_TRUE(becomes(settings, "2"));
    const std::string said = ::testing::internal::GetCapturedStderr();

    EXPECT_EQ(said, file().string() + " is not used: its line 1 is not \"key=value\"\n");
}

TEST_F(IniSettingsWatchTest, AnUnreadableFileLeavesTheLastGoodValues) {
    writeFile(file(), "[General]\nport=1\n");
    IniSettings settings(file());
    settings.watch();
    ::testing::internal::CaptureStderr();
    fs::remove(file());
    fs::create_directory(file());

    EXPECT_FALSE(runLoopUntil([&] { return settings.string("port") != "1"; }, 100ms));
    EXPECT_THAT(::testing::internal::GetCapturedStderr(), ::testing::HasSubstr("it is not a file"));
}

TEST_F(IniSettingsWatchTest, ItsEndEndsTheWatch) {
    writeFile(file(), "[General]\nport=1\n");
    auto settings = std::make_unique<IniSettings>(file());
    settings->watch();
    replaceFile(file(), "[General]\nport=2\n");
    settings.reset();

    EXPECT_FALSE(runLoopUntil([] { return false; }, 50ms));
}

} // namespace ovelo
