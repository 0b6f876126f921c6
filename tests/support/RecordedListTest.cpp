#include "support/RecordedList.h"

#include "fakes/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <fstream>
#include <iomanip>
#include <sstream>

namespace ovelo {
namespace {

class RecordedListTest : public testing::Test {
protected:
    void add(const std::string& name) const { writeFile(folder_.path() / name, "movie"); }
    std::string line() const { return recordedListLine(folder_.path()); }

    /// What the file system says of a file, formatted another way.
    std::string dateOf(const std::string& name) const {
        struct statx facts {};
        ::statx(AT_FDCWD, (folder_.path() / name).c_str(), 0, STATX_BTIME | STATX_MTIME, &facts);
        const std::time_t moment =
            (facts.stx_mask & STATX_BTIME) != 0 ? facts.stx_btime.tv_sec : facts.stx_mtime.tv_sec;
        std::ostringstream text;
        text << std::put_time(std::localtime(&moment), "%Y%m%d%H%M%S");
        return text.str();
    }

    TemporaryFolder folder_;
};

TEST_F(RecordedListTest, AnEmptyOrMissingFolderHasNoEntries) {
    EXPECT_EQ(line(), "RECORDED_LIST\n");
    EXPECT_EQ(recordedListLine(folder_.path() / "missing"), "RECORDED_LIST\n");
    EXPECT_EQ(recordedListLine(""), "RECORDED_LIST\n");
}

TEST_F(RecordedListTest, AnEntryIsCommaHyphenNameHyphenDate) {
    add("Ovelo_20240131235959.mov");

    EXPECT_EQ(line(), "RECORDED_LIST,-Ovelo_20240131235959.mov-" +
                          dateOf("Ovelo_20240131235959.mov") + "\n");
}

TEST_F(RecordedListTest, ListsFilesWhoseExtensionIsExactlyMov) {
    for (const char* name : {"a.MOV", "b.mov", "c.txt", "d.movie", "mov", ".mov", "e.mov.part"}) {
        add(name);
    }
    std::filesystem::create_directory(folder_.path() / "folder.mov");

    EXPECT_EQ(line(), "RECORDED_LIST,-b.mov-" + dateOf("b.mov") + "\n");
}

TEST_F(RecordedListTest, NamesStandAsTheyAre) {
    const std::string name = "Früh, am-Morgen 1.mov";
    add(name);

    EXPECT_EQ(line(), "RECORDED_LIST,-" + name + "-" + dateOf(name) + "\n");
}

TEST_F(RecordedListTest, ANameWithControlCharactersIsLeftOut) {
    add("a\nAUTH_OK.mov");
    add("b\r.mov");
    add("c\x7f.mov");

    EXPECT_EQ(line(), "RECORDED_LIST\n");
}

TEST_F(RecordedListTest, ANameThatIsNoUtf8IsLeftOut) {
    add("latin \xe4.mov");

    EXPECT_EQ(line(), "RECORDED_LIST\n");
}

TEST_F(RecordedListTest, FollowsSymbolicLinks) {
    const TemporaryFolder elsewhere;
    writeFile(elsewhere.path() / "real", "movie");
    std::filesystem::create_symlink(elsewhere.path() / "real", folder_.path() / "link.mov");
    std::filesystem::create_symlink(elsewhere.path() / "nothing", folder_.path() / "dead.mov");

    EXPECT_EQ(line(), "RECORDED_LIST,-link.mov-" + dateOf("link.mov") + "\n");
}

TEST_F(RecordedListTest, AnUnreadableFolderHasNoEntries) {
    add("a.mov");
    constexpr uid_t kNobody = 65534;
    const bool isRoot = ::geteuid() == 0; // who may read every folder
    if (isRoot) {
        ASSERT_EQ(::seteuid(kNobody), 0);
    } else {
        ::chmod(folder_.path().c_str(), 0);
    }
    const std::string unreadable = line();
    if (isRoot) {
        ASSERT_EQ(::seteuid(0), 0);
    } else {
        ::chmod(folder_.path().c_str(), 0700);
    }

    EXPECT_EQ(unreadable, "RECORDED_LIST\n");
}

TEST_F(RecordedListTest, TenThousandRecordingsTakeATenthOfASecond) {
    for (int i = 0; i < 10000; ++i) {
        std::ofstream(folder_.path() / ("Ovelo_" + std::to_string(20240101000000 + i) + ".mov"));
    }
    const auto begun = std::chrono::steady_clock::now();
    const std::string all = line();
    const auto took = std::chrono::steady_clock::now() - begun;

    EXPECT_EQ(std::count(all.begin(), all.end(), ','), 10000);
    EXPECT_LT(took, std::chrono::milliseconds(100));
}

} // namespace
} // namespace ovelo
