#include "platform/MovieComposer.h"

#include "fakes/MovieScene.h"
#include "fakes/TemporaryFolder.h"
#include "platform/GstRuntime.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr const char* kPictureCaps = "video/x-raw,format=RGBA,width=320,height=240,framerate=30/1";
constexpr const char* kSoundCaps =
    "audio/x-raw,format=S16LE,rate=16000,channels=1,layout=interleaved";
constexpr const char* kHangs = "valve drop=true"; // takes everything, gives nothing
constexpr const char* kTellsNothing = "identity"; // gives what is no encoded picture

class MovieComposerTest : public testing::Test {
protected:
    using Steady = MovieComposer::Steady;

    MovieComposer::Parts parts(PictureCodec codec, const char* chain) {
        GstRuntime::begin();
        return {codec,
                std::move(GstEncoder::make(kPictureCaps, chain)).value(),
                {std::move(GstEncoder::make(kSoundCaps, kTellsNothing)).value(), 0, true},
                FileDescriptor(::open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)),
                0,
                200ms};
    }
    MovieInbox::Batch batchOf(int pictures) {
        MovieInbox::Batch batch;
        for (int i = 0; i < pictures; ++i) {
            now_ += 33ms;
            batch.pictures.push_back({numberedPicture(i), now_});
        }
        return batch;
    }

    TemporaryFolder folder_;
    std::filesystem::path file_ = folder_.path() / "movie.mov";
    Steady now_{};
};

TEST_F(MovieComposerTest, AnEncoderThatHangsIsWaitedForOnce) {
    MovieComposer composer(parts(PictureCodec::H264, kHangs), now_);
    const auto before = std::chrono::steady_clock::now();
    composer.take(batchOf(30), now_);
    composer.take(batchOf(30), now_);
    composer.finish(now_);

    EXPECT_LT(std::chrono::steady_clock::now() - before, 2s);
    ASSERT_TRUE(composer.failure());
    EXPECT_EQ(composer.failure()->text, "The encoder does not answer.");
}

TEST_F(MovieComposerTest, PicturesThatNobodyCanDecodeAreAFailure) {
    for (const auto codec : {PictureCodec::H264, PictureCodec::Mpeg4}) {
        MovieComposer composer(parts(codec, kTellsNothing), now_);
        composer.take(batchOf(10), now_);
        composer.finish(now_);

        ASSERT_TRUE(composer.failure());
        EXPECT_EQ(composer.failure()->text,
                  "The encoder does not tell how its pictures are decoded.");
        EXPECT_EQ(composer.size(), 0U);
    }
}

} // namespace

} // namespace ovelo
