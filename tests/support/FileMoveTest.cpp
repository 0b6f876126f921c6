#include "support/FileMove.h"

#include "fakes/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace ovelo {
namespace {

/// A folder on a file system other than that of temporary files, where there is one.
class OtherFileSystem {
public:
    OtherFileSystem() {
        std::string name = "/dev/shm/ovelo-test-XXXXXX";
        if (::mkdtemp(name.data()) != nullptr) {
            path_ = name;
        }
    }
    ~OtherFileSystem() {
        std::error_code ignored; // nothing depends on it
        std::filesystem::remove_all(path_, ignored);
    }
    OtherFileSystem(const OtherFileSystem&) = delete;
    OtherFileSystem& operator=(const OtherFileSystem&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] bool isOther(const std::filesystem::path& than) const {
        struct stat mine {};
        struct stat its {};
        return !path_.empty() && ::stat(path_.c_str(), &mine) == 0 &&
               ::stat(than.c_str(), &its) == 0 && mine.st_dev != its.st_dev;
    }

private:
    std::filesystem::path path_;
};

class FileMoveTest : public testing::Test {
protected:
    static bool isEmpty(const std::filesystem::path& folder) {
        return std::filesystem::is_empty(folder);
    }

    TemporaryFolder folder_;
    std::filesystem::path from_ = folder_.path() / "from";
    std::filesystem::path to_ = folder_.path() / "to";
};

TEST_F(FileMoveTest, MovesWithinAFileSystem) {
    writeFile(from_, "movie");

    EXPECT_FALSE(moveFile(from_, to_));
    EXPECT_EQ(readFile(to_), "movie");
    EXPECT_FALSE(std::filesystem::exists(from_));
}

TEST_F(FileMoveTest, NeverOverwrites) {
    writeFile(from_, "new");
    writeFile(to_, "old");

    EXPECT_TRUE(moveFile(from_, to_));
    EXPECT_EQ(readFile(to_), "old");
    EXPECT_EQ(readFile(from_), "new");
}

TEST_F(FileMoveTest, AMissingFolderLeavesTheFileWhereItIs) {
    writeFile(from_, "movie");

    EXPECT_TRUE(moveFile(from_, folder_.path() / "missing" / "to"));
    EXPECT_EQ(readFile(from_), "movie");
}

TEST_F(FileMoveTest, MovesToAnotherFileSystem) {
    const OtherFileSystem other;
    if (!other.isOther(folder_.path())) {
        GTEST_SKIP() << "NOT TESTED: there is no other file system";
    }
    const std::string content(3U << 20U, 'x');
    writeFile(from_, content);

    EXPECT_FALSE(moveFile(from_, other.path() / "to"));
    EXPECT_EQ(readFile(other.path() / "to"), content);
    EXPECT_FALSE(std::filesystem::exists(from_));
    EXPECT_FALSE(std::filesystem::exists(other.path() / "to.part"));
}

TEST_F(FileMoveTest, NeverOverwritesOnAnotherFileSystem) {
    const OtherFileSystem other;
    if (!other.isOther(folder_.path())) {
        GTEST_SKIP() << "NOT TESTED: there is no other file system";
    }
    writeFile(from_, "new");
    writeFile(other.path() / "to", "old");

    EXPECT_TRUE(moveFile(from_, other.path() / "to"));
    EXPECT_EQ(readFile(other.path() / "to"), "old");
    EXPECT_EQ(readFile(from_), "new");
    EXPECT_FALSE(std::filesystem::exists(other.path() / "to.part"));
}

TEST_F(FileMoveTest, ACopyCanBeGivenUp) {
    const OtherFileSystem other;
    if (!other.isOther(folder_.path())) {
        GTEST_SKIP() << "NOT TESTED: there is no other file system";
    }
    writeFile(from_, "movie");
    std::stop_source stop;
    stop.request_stop();

    EXPECT_TRUE(moveFile(from_, other.path() / "to", stop.get_token()));
    EXPECT_EQ(readFile(from_), "movie");
    EXPECT_TRUE(isEmpty(other.path()));
}

} // namespace
} // namespace ovelo
