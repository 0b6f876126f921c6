#include "platform/MovieFileWriter.h"

#include "fakes/TemporaryFolder.h"
#include "platform/AacConfiguration.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
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

/// Lets no file grow beyond a size, as a full disk does; the error is another one.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t size) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{size, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        ::signal(SIGXFSZ, signalBefore_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit before_{};
    sighandler_t signalBefore_ = ::signal(SIGXFSZ, SIG_IGN);
};

TEST_F(MovieFileWriterTest, AnIndexThatDoesNotFitLeavesTheFragments) {
    std::uint64_t whole = 0;
    {
        MovieFileWriter movie = writer();
        addSeconds(movie, 5);
        movie.finish(5 * kSecond, true);
        ASSERT_FALSE(movie.failure());
        whole = movie.size();
    }
    const std::string all = readFile(file_);
    const std::uint64_t dataEnd = all.rfind("moov") - 4;
    MovieFileWriter movie = writer();
    addSeconds(movie, 5);
    {
        const FileSizeLimit limit(dataEnd + (whole - dataEnd) / 2);
        movie.finish(5 * kSecond, true);
    }

    ASSERT_TRUE(movie.failure());
    EXPECT_EQ(movie.failure()->text, "The movie cannot be written: File too large");
    EXPECT_EQ(boxes(), "ftyp free moov moof mdat moof mdat moof mdat ");
    EXPECT_EQ(movie.size(), dataEnd);
    EXPECT_EQ(std::filesystem::file_size(file_), dataEnd);
}

TEST_F(MovieFileWriterTest, DurationsAreKeptAsRuns) {
    MovieFileWriter movie = writer();
    const std::vector<std::uint8_t> packet(10, 7);
    for (const std::int64_t start : {0, 100, 200, 350, 450}) {
        movie.addPicture(packet, start, start == 0 || start == 350);
        movie.addSound(packet);
    }
    movie.finish(700, true);

    const auto numbers = [this](const std::string& type, int which) {
        const std::string all = readFile(file_);
        std::size_t at = all.rfind("moov");
        for (int i = 0; i <= which; ++i) {
            at = all.find(type, at + 1);
        }
        std::vector<std::uint64_t> found;
        for (std::size_t i = at + 8; i < at - 4 + number(all, at - 4, 4); i += 4) {
            found.push_back(number(all, i, 4));
        }
        return found;
    };
    using Numbers = std::vector<std::uint64_t>;
    EXPECT_EQ(numbers("stts", 0), (Numbers{4, 2, 100, 1, 150, 1, 100, 1, 250}));
    EXPECT_EQ(numbers("stts", 1), (Numbers{1, 5, kAacPacketSamples}));
    EXPECT_EQ(numbers("stss", 0), (Numbers{2, 1, 4}));
}

TEST_F(MovieFileWriterTest, AFragmentTellsEachDurationAndKey) {
    MovieFileWriter movie = writer();
    const std::vector<std::uint8_t> packet(10, 7);
    for (const std::int64_t start : {0, 60000, 120000, 185000, 250000, 310000, 370000}) {
        movie.addPicture(packet, start, start == 0 || start == 185000);
        movie.addSound(packet);
    }

    // Two fragments: up to 185000, and from there on.
    const std::string all = readFile(file_);
    const auto run = [&](std::size_t which) {
        std::size_t at = all.find("moof");
        for (std::size_t i = 0; i <= which; ++i) {
            at = all.find("trun", at + 1);
        }
        std::vector<std::pair<std::uint64_t, bool>> found;
        for (std::size_t i = 0; i < number(all, at + 8, 4); ++i) {
            const std::size_t sample = at + 16 + 12 * i;
            found.emplace_back(number(all, sample, 4), number(all, sample + 8, 4) == 0x02000000);
        }
        return found;
    };
    using Run = std::vector<std::pair<std::uint64_t, bool>>;
    EXPECT_EQ(run(0), (Run{{60000, true}, {60000, false}, {65000, false}}));
    EXPECT_EQ(run(1), Run(3, {kAacPacketSamples, true}));
    EXPECT_EQ(run(2), (Run{{65000, true}, {60000, false}, {60000, false}}));
    EXPECT_EQ(run(3), Run(3, {kAacPacketSamples, true}));
}

} // namespace

} // namespace ovelo
