#include "support/Logger.h"

#include "fakes/TemporaryFolder.h"
#include "platform/MemorySettings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace ovelo {
namespace {

class LoggerTest : public ::testing::Test {
protected:
    std::string text() const { return readFile(file); }

    TemporaryFolder folder;
    std::filesystem::path file = folder.path() / "ovelo.log";
    MemorySettings settings;
    Logger log{file, settings};
};

TEST_F(LoggerTest, WritesNothingWhileEventsAreOff) {
    log.write("Document starting\n");

    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(LoggerTest, AppendsTheDateInStandardFormAndTheMessage) {
    settings.setBoolean("log_events", true);

    log.write("Document starting\n");
    log.write("Document started\n");

    const std::regex expected(R"((\d{4}-\d\d-\d\d \d\d:\d\d:\d\d [+-]\d{4}): Document starting\n)"
                              R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d [+-]\d{4}: Document started\n)");
    EXPECT_TRUE(std::regex_match(text(), expected)) << text();
}

TEST_F(LoggerTest, MessageWithoutLineEndIsContinuedByTheNextEntry) {
    settings.setBoolean("log_events", true);

    log.write("TCP: Stopping server");
    log.write("next\n");

    const std::string written = text();
    EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 1);
    EXPECT_NE(written.find("TCP: Stopping server2"), std::string::npos) << written;
}

TEST_F(LoggerTest, ClearRemovesTheFileAndIsHarmlessWithoutOne) {
    settings.setBoolean("log_events", true);
    log.clear();
    log.write("x\n");

    log.clear();

    EXPECT_FALSE(std::filesystem::exists(file));
    log.write("again\n");
    EXPECT_TRUE(std::filesystem::exists(file));
}

TEST_F(LoggerTest, OnlyTheOwnerMayReadTheFile) {
    settings.setBoolean("log_events", true);
    log.write("x\n");

    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(LoggerTest, EntriesOfManyThreadsNeverInterleave) {
    settings.setBoolean("log_events", true);
    const std::string message(200, 'm');
    {
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&] {
                for (int entry = 0; entry < 50; ++entry) {
                    log.write(message + "\n");
                }
            });
        }
    }
    std::ifstream stream(file);
    int lines = 0;
    for (std::string line; std::getline(stream, line); ++lines) {
        EXPECT_EQ(line.substr(line.find(": ") + 2), message);
    }
    EXPECT_EQ(lines, 200);
}

TEST_F(LoggerTest, MissingFolderLosesTheEntryWithoutAnError) {
    settings.setBoolean("log_events", true);
    Logger homeless(folder.path() / "missing" / "ovelo.log", settings);

    homeless.write("lost\n");
    homeless.clear();

    EXPECT_FALSE(std::filesystem::exists(folder.path() / "missing"));
}

TEST_F(LoggerTest, WithoutADocumentsFolderNoFileIsWrittenAnywhere) {
    settings.setBoolean("log_events", true);
    EXPECT_EQ(Logger::pathIn(folder.path()), file);
    ASSERT_EQ(Logger::pathIn(""), "") << "not a file in the working folder";

    Logger homeless(Logger::pathIn(""), settings);
    homeless.write("lost\n");
    homeless.clear();
}

TEST_F(LoggerTest, FullDiskLosesTheEntryWithoutAnError) {
    settings.setBoolean("log_events", true);
    Logger full("/dev/full", settings); // a device that has no room for any byte

    full.write("lost\n");

    SUCCEED() << "came back";
}

} // namespace
} // namespace ovelo
