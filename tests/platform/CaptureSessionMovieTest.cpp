#include "fakes/FakeMovieOutput.h"
#include "platform/CaptureSession.h"

#include <gtest/gtest.h>

#include <set>

namespace ovelo {

namespace {

/// A device with sound that delivers when it is told to.
class SoundingDevice final : public CaptureDevice {
public:
    explicit SoundingDevice(MediaType type) : type_(type) {}

    [[nodiscard]] MediaType mediaType() const override { return type_; }
    [[nodiscard]] std::string localizedDisplayName() const override { return "Sounding"; }
    [[nodiscard]] std::string uniqueModelIdentifier() const override { return "sounding"; }
    [[nodiscard]] std::optional<Failure> open() override { return std::nullopt; }
    void close() override { stop(); }
    void start(FrameHandler handler) override { handler_ = std::move(handler); }
    void stop() override { handler_ = nullptr; }
    [[nodiscard]] std::unique_ptr<SoundTap> tapSound(SoundHandler handler) override {
        if (type_ == MediaType::Video) {
            return nullptr;
        }
        sound_ = std::move(handler);
        return std::make_unique<Tap>(sound_);
    }

    [[nodiscard]] bool isTapped() const { return static_cast<bool>(sound_); }
    void picture() const { handler_({320, 240, 1280, nullptr, nullptr}); }
    void sound() const {
        const std::vector<std::int16_t> samples(100);
        if (sound_) {
            sound_({samples, {}});
        }
    }

private:
    class Tap final : public SoundTap {
    public:
        explicit Tap(SoundHandler& handler) : handler_(handler) {}
        ~Tap() override { handler_ = nullptr; }

    private:
        SoundHandler& handler_;
    };

    MediaType type_;
    FrameHandler handler_;
    SoundHandler sound_;
};

class CaptureSessionMovieTest : public testing::Test {
protected:
    CaptureSessionMovieTest() { session_.startRunning(); }

    std::shared_ptr<CaptureDeviceInput> add(const std::shared_ptr<SoundingDevice>& device) {
        auto input = std::make_shared<CaptureDeviceInput>(device);
        EXPECT_FALSE(session_.addInput(input));
        return input;
    }

    std::shared_ptr<SoundingDevice> camera_ = std::make_shared<SoundingDevice>(MediaType::Video);
    std::shared_ptr<SoundingDevice> muxed_ = std::make_shared<SoundingDevice>(MediaType::Muxed);
    std::shared_ptr<SoundingDevice> microphone_ =
        std::make_shared<SoundingDevice>(MediaType::Sound);
    FakeMovieOutput movie_;
    CaptureSession session_;
};

TEST_F(CaptureSessionMovieTest, TheMovieGetsEachPictureBeforeTheOutput) {
    int before = -1;
    session_.setVideoOutput([&](const VideoFrame&) { before = movie_.pictures; });
    add(camera_);
    camera_->picture();
    EXPECT_EQ(movie_.pictures, 0);
    ASSERT_FALSE(session_.addOutput(movie_));
    camera_->picture();

    EXPECT_EQ(before, 1);
    session_.removeOutput(movie_);
    camera_->picture();
    EXPECT_EQ(movie_.pictures, 1);
}

TEST_F(CaptureSessionMovieTest, SoundIsTappedOnlyForAMovie) {
    add(camera_);
    add(microphone_);
    EXPECT_FALSE(microphone_->isTapped());
    ASSERT_FALSE(session_.addOutput(movie_));
    EXPECT_TRUE(microphone_->isTapped());
    microphone_->sound();
    session_.removeOutput(movie_);

    EXPECT_FALSE(microphone_->isTapped());
    EXPECT_EQ(movie_.samples, 100U);
}

TEST_F(CaptureSessionMovieTest, TheMovieHearsTheInputsAsTheyChange) {
    ASSERT_FALSE(session_.addOutput(movie_));
    const auto both = add(muxed_);
    EXPECT_TRUE(muxed_->isTapped());
    const auto sound = add(microphone_);
    EXPECT_TRUE(microphone_->isTapped());
    EXPECT_FALSE(muxed_->isTapped()) << "one sound only";
    session_.removeInput(sound);
    EXPECT_FALSE(microphone_->isTapped());
    EXPECT_TRUE(muxed_->isTapped());
    session_.removeInput(both);
    EXPECT_FALSE(muxed_->isTapped());
    add(camera_);
    camera_->picture();
    EXPECT_EQ(movie_.pictures, 1);
}

TEST_F(CaptureSessionMovieTest, ASessionThatDoesNotRunHearsNothing) {
    ASSERT_FALSE(session_.addOutput(movie_));
    add(microphone_);
    session_.stopRunning();
    EXPECT_FALSE(microphone_->isTapped());
    session_.startRunning();
    EXPECT_TRUE(microphone_->isTapped());
}

TEST_F(CaptureSessionMovieTest, TakesOneMovieAtATime) {
    FakeMovieOutput other;
    ASSERT_FALSE(session_.addOutput(movie_));
    EXPECT_TRUE(session_.addOutput(other));
    session_.removeOutput(other);
    EXPECT_TRUE(session_.addOutput(other)) << "the first one is still there";
    session_.removeOutput(movie_);
    EXPECT_FALSE(session_.addOutput(other));
    session_.removeOutput(other);
}

} // namespace

} // namespace ovelo
