#include "platform/CaptureSession.h"

#include <gtest/gtest.h>

namespace ovelo {

namespace {

/// A device that delivers when it is told to.
class HandDevice final : public CaptureDevice {
public:
    explicit HandDevice(MediaType type) : type_(type) {}

    [[nodiscard]] MediaType mediaType() const override { return type_; }
    [[nodiscard]] std::string localizedDisplayName() const override { return "Hand"; }
    [[nodiscard]] std::string uniqueModelIdentifier() const override { return "hand"; }
    [[nodiscard]] std::optional<Failure> open() override { return std::nullopt; }
    void close() override { stop(); }
    void start(FrameHandler handler) override { handler_ = std::move(handler); }
    void stop() override { handler_ = nullptr; }

    [[nodiscard]] bool isStarted() const { return static_cast<bool>(handler_); }
    void deliver() const { handler_({320, 240, 1280, nullptr, nullptr}); }

private:
    MediaType type_;
    FrameHandler handler_;
};

class CaptureSessionTest : public testing::Test {
protected:
    using Input = std::shared_ptr<CaptureDeviceInput>;

    static std::pair<std::shared_ptr<HandDevice>, Input> make(MediaType type) {
        auto device = std::make_shared<HandDevice>(type);
        auto input = std::make_shared<CaptureDeviceInput>(device);
        return {device, input};
    }

    CaptureSession session;
};

TEST_F(CaptureSessionTest, BringsPicturesToTheOutputAndThePreview) {
    int output = 0;
    int preview = 0;
    session.setVideoOutput([&](const VideoFrame&) { ++output; });
    const auto [camera, input] = make(MediaType::Video);
    ASSERT_FALSE(session.addInput(input));
    session.startRunning();
    camera->deliver();
    session.setPreview([&](const VideoFrame&) { ++preview; });
    camera->deliver();
    session.setPreview({});
    camera->deliver();

    EXPECT_EQ(output, 3);
    EXPECT_EQ(preview, 1);
}

TEST_F(CaptureSessionTest, StartsItsInputsOnlyWhileItRuns) {
    const auto [camera, input] = make(MediaType::Video);
    ASSERT_FALSE(session.addInput(input));
    EXPECT_FALSE(camera->isStarted());
    session.startRunning();
    EXPECT_TRUE(camera->isStarted());
    session.stopRunning();
    EXPECT_FALSE(camera->isStarted());
    session.startRunning();
    session.removeInput(input);
    EXPECT_FALSE(camera->isStarted());
    ASSERT_FALSE(session.addInput(input));
    EXPECT_TRUE(camera->isStarted());
}

TEST_F(CaptureSessionTest, TakesOneInputForPicturesAndOneForSound) {
    const auto [camera, video] = make(MediaType::Video);
    const auto [both, muxed] = make(MediaType::Muxed);
    const auto [microphone, sound] = make(MediaType::Sound);
    EXPECT_FALSE(session.addInput(video));
    EXPECT_FALSE(session.addInput(sound));
    EXPECT_TRUE(session.addInput(video));
    EXPECT_TRUE(session.addInput(muxed));
    session.removeInput(video);
    EXPECT_FALSE(session.addInput(muxed));
}

TEST_F(CaptureSessionTest, StopsItsInputsAtItsEnd) {
    const auto [camera, input] = make(MediaType::Video);
    {
        CaptureSession brief;
        ASSERT_FALSE(brief.addInput(input));
        brief.startRunning();
    }
    EXPECT_FALSE(camera->isStarted());
}

} // namespace

} // namespace ovelo
