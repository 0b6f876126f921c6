#include "platform/PictureFile.h"

#include "fakes/TemporaryFolder.h"
#include "fakes/TestPicture.h"
#include "platform/Data.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

namespace ovelo {
namespace {

class PictureFileTest : public ::testing::Test {
protected:
    static std::span<const std::uint8_t> bytesOf(const VideoFrame& picture) {
        return {picture.pixels, picturefile::kSize};
    }

    TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "ipcam.rgb";
    const VideoFrame picture = unevenPicture(320, 240);
};

TEST_F(PictureFileTest, HoldsRowsFromTheTopWithAlphaFirst) {
    ASSERT_FALSE(picturefile::write(file, bytesOf(picture)));
    const std::string content = readFile(file);

    ASSERT_EQ(content.size(), 307'200U);
    const auto at = [&](int x, int y) {
        const auto* pixel =
            reinterpret_cast<const std::uint8_t*>(content.data()) + y * 1280 + x * 4;
        return Colour{pixel[1], pixel[2], pixel[3], pixel[0]};
    };
    EXPECT_EQ(at(0, 0), colourOf(picture, 0, 0));
    EXPECT_EQ(at(319, 0), colourOf(picture, 319, 0));
    EXPECT_EQ(at(17, 200), colourOf(picture, 17, 200));
}

TEST_F(PictureFileTest, IsReadAsItWasWritten) {
    ASSERT_FALSE(picturefile::write(file, bytesOf(picture)));
    const auto read = picturefile::read(file);

    ASSERT_TRUE(read) << read.error();
    const VideoFrame& frame = read.value().frame;
    EXPECT_EQ(frame.width, 320);
    EXPECT_EQ(frame.height, 240);
    EXPECT_EQ(frame.bytesPerRow, 1280U);
    EXPECT_TRUE(std::equal(frame.pixels, frame.pixels + picturefile::kSize, picture.pixels));
    EXPECT_EQ(read.value().stamp, picturefile::stampOf(file));
}

TEST_F(PictureFileTest, TransparentPixelsAreReadAsOverBlack) {
    writeFile(file, std::string(picturefile::kSize, '\x40'));
    const auto read = picturefile::read(file);

    ASSERT_TRUE(read);
    EXPECT_EQ(colourOf(read.value().frame, 5, 5), (Colour{0x40, 0x40, 0x40, 0xff}));
}

TEST_F(PictureFileTest, IsForItsOwnerAlone) {
    ASSERT_FALSE(picturefile::write(file, bytesOf(picture)));
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);

    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(PictureFileTest, LeavesNothingElseBehind) {
    ASSERT_FALSE(picturefile::write(file, bytesOf(picture)));
    ASSERT_FALSE(picturefile::write(file, bytesOf(picture)));
    const std::filesystem::path blocked = folder.path() / "blocked";
    std::filesystem::create_directories(blocked / "inside");
    EXPECT_TRUE(picturefile::write(blocked, bytesOf(picture)));

    const std::filesystem::directory_iterator entries(folder.path());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 2);
}

TEST_F(PictureFileTest, LinkIsReplacedNotFollowed) {
    const std::filesystem::path target = folder.path() / "target";
    writeFile(target, "precious");
    std::filesystem::create_symlink(target, file);
    ASSERT_FALSE(picturefile::write(file, bytesOf(picture)));

    EXPECT_EQ(readFile(target), "precious");
    EXPECT_FALSE(std::filesystem::is_symlink(file));
    EXPECT_TRUE(picturefile::read(file));
}

TEST_F(PictureFileTest, LinkIsNotRead) {
    const std::filesystem::path target = folder.path() / "target";
    ASSERT_FALSE(picturefile::write(target, bytesOf(picture)));
    std::filesystem::create_symlink(target, file);

    EXPECT_FALSE(picturefile::read(file));
}

TEST_F(PictureFileTest, FileOfSomebodyElseIsNotRead) {
    ASSERT_FALSE(picturefile::write(file, bytesOf(picture)));
    if (::chown(file.c_str(), 65534, 65534) != 0) {
        GTEST_SKIP() << "only root can give files away";
    }
    EXPECT_FALSE(picturefile::read(file));
}

TEST_F(PictureFileTest, FileOfSomebodyElseInASharedFolderStays) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can be two people";
    }
    writeFile(file, "not yours");
    std::filesystem::permissions(folder.path(),
                                 std::filesystem::perms::all | std::filesystem::perms::sticky_bit);
    std::optional<Failure> failure;
    ASSERT_EQ(::seteuid(65534), 0);
    failure = picturefile::write(file, bytesOf(picture));
    ASSERT_EQ(::seteuid(0), 0);

    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->text, file.string() + " cannot be written: Operation not permitted");
    EXPECT_EQ(readFile(file), "not yours");
}

TEST_F(PictureFileTest, PipeAndFolderAndMissingFileAreNotRead) {
    EXPECT_FALSE(picturefile::read(file));
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_FALSE(picturefile::read(file));
    std::filesystem::create_directory(folder.path() / "folder");
    EXPECT_FALSE(picturefile::read(folder.path() / "folder"));
}

TEST_F(PictureFileTest, OtherSizesAreNotRead) {
    for (const std::size_t size :
         {std::size_t{0}, picturefile::kSize - 1, picturefile::kSize + 1}) {
        writeFile(file, std::string(size, 'x'));
        EXPECT_FALSE(picturefile::read(file)) << size;
    }
}

TEST_F(PictureFileTest, MissingFolderIsAFailure) {
    EXPECT_TRUE(picturefile::write(folder.path() / "none" / "file", bytesOf(picture)));
}

TEST_F(PictureFileTest, ReaderNeverSeesTwoPicturesInOne) {
    std::atomic<bool> isOver = false;
    std::jthread writer([&] {
        for (int i = 0; i < 60; ++i) {
            const Bytes even(picturefile::kSize, static_cast<std::uint8_t>(i));
            picturefile::write(file, even);
        }
        isOver = true;
    });
    int mixed = 0;
    while (!isOver) {
        if (const auto read = picturefile::read(file)) {
            const std::uint8_t* pixels = read.value().frame.pixels;
            mixed += pixels[0] == pixels[picturefile::kSize - 2] ? 0 : 1;
        }
    }
    EXPECT_EQ(mixed, 0);
}

} // namespace
} // namespace ovelo
