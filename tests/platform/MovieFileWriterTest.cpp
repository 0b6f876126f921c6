#include "platform/MovieFileWriter.h"

#include "fakes/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace ovelo {

namespace {

constexpr std::int64_t kSecond = kPictureTimescale;

class MovieFileWriterTest : public testing::Test {
protected:
    MovieFileWriter writer() const {
        return {FileDescriptor(::open(file_.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)),
                {PictureCodec::H264, {1, 2, 3}, {0x14, 0x08}},
                0};
    }
    /// The types of the outermost boxes, in their order; "?" at the end when they do not fit.
    std::string boxes() const {
        const std::string all = readFile(file_);
        std::string types;
        std::size_t position = 0;
        while (position + 8 <= all.size()) {
            std::uint64_t size = number(all, position, 4);
            types += all.substr(position + 4, 4) + " ";
            if (size == 1) {
                size = number(all, position + 8, 8);
            }
            position += size;
        }
        return position == all.size() ? types : types + "?";
    }
    static std::uint64_t number(const std::string& all, std::size_t position, std::size_t size) {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            value = value << 8U | static_cast<std::uint8_t>(all[position + i]);
        }
        return value;
    }
    static void addSeconds(MovieFileWriter& movie, int seconds) {
        const std::vector<std::uint8_t> packet(100, 7);
        for (int i = 0; i < seconds * 10; ++i) {
            movie.addPicture(packet, i * kSecond / 10, i % 20 == 0);
            movie.addSound(packet);
        }
    }

    TemporaryFolder folder_;
    std::filesystem::path file_ = folder_.path() / "movie.mov";
};

TEST_F(MovieFileWriterTest, IsFragmentsWhileItGrows) {
    MovieFileWriter movie = writer();
    EXPECT_EQ(boxes(), "ftyp free moov ");
    addSeconds(movie, 5);

    EXPECT_EQ(boxes(), "ftyp free moov moof mdat moof mdat ");
    EXPECT_EQ(movie.size(), std::filesystem::file_size(file_));
    EXPECT_FALSE(movie.failure());
}

TEST_F(MovieFileWriterTest, IsDataAndOneIndexAtItsEnd) {
    MovieFileWriter movie = writer();
    addSeconds(movie, 5);
    movie.finish(5 * kSecond, true);

    EXPECT_EQ(boxes(), "ftyp mdat moov ");
    EXPECT_EQ(movie.size(), std::filesystem::file_size(file_));
}

TEST_F(MovieFileWriterTest, AMovieWithoutSoundHasNoTrackOfIt) {
    MovieFileWriter movie = writer();
    addSeconds(movie, 1);
    movie.finish(kSecond, false);

    const std::string all = readFile(file_);
    const std::string index = all.substr(all.rfind("moov"));
    EXPECT_NE(index.find("avc1"), std::string::npos);
    EXPECT_EQ(index.find("mp4a"), std::string::npos);
}

TEST_F(MovieFileWriterTest, AFailedWriteIsToldAndNothingIsWrittenAfterIt) {
    MovieFileWriter movie({FileDescriptor(::open("/dev/full", O_WRONLY | O_CLOEXEC))},
                          {PictureCodec::H264, {}, {}}, 0);
    addSeconds(movie, 5);
    movie.finish(5 * kSecond, true);

    ASSERT_TRUE(movie.failure());
    EXPECT_EQ(movie.failure()->text, "The movie cannot be written: No space left on device");
    EXPECT_EQ(movie.size(), 0U);
}

} // namespace

} // namespace ovelo
