#include "capture/FramePipeline.h"

#include "capture/ImageUtil.h"
#include "fakes/FakeClock.h"
#include "fakes/TestPicture.h"
#include "platform/DateText.h"
#include "platform/Jpeg.h"
#include "platform/MemorySettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace ovelo {

namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kQuality = 40;

} // namespace

/// Notes what the pipeline asks and gives, in its order.
class FramePipelineTest : public ::testing::Test, public FrameSink {
protected:
    [[nodiscard]] bool hasClient() const override {
        steps_.emplace_back("hasClient");
        return hasClient_;
    }
    [[nodiscard]] bool shouldSkipFrame() override {
        steps_.emplace_back("shouldSkipFrame");
        return skip_;
    }
    void sendImageData(const Data& jpeg) override {
        steps_.emplace_back("send");
        sent_.push_back(jpeg);
    }

    FramePipeline pipeline() {
        return FramePipeline({settings_, clock_, *this,
                              [this] {
                                  steps_.emplace_back("playback");
                                  return playback_;
                              },
                              [this](const VideoFrame& frame) {
                                  steps_.emplace_back("motion");
                                  seenByMotion_ = frame.pixels;
                              },
                              [this] {
                                  steps_.emplace_back("name");
                                  return name_;
                              }});
    }

    void expectSent(const Bitmap& picture) {
        ASSERT_EQ(sent_.size(), 1U);
        const auto expected = jpeg::encode(picture.frame(), kQuality);
        ASSERT_TRUE(expected) << expected.error();
        EXPECT_EQ(*sent_[0], *expected.value());
    }

    [[nodiscard]] Bitmap resized() const {
        return ImageUtil::GetResizedImage(frame_, kWidth, kHeight, settings_);
    }
    [[nodiscard]] static std::string timeStamp() { return datetext::shortStyle(FakeClock::kStart); }

    MemorySettings settings_;
    FakeClock clock_;
    VideoFrame frame_ = unevenPicture(kWidth, kHeight);
    bool hasClient_ = true;
    bool skip_ = false;
    bool playback_ = false;
    std::optional<std::string> name_ = "Demo Camera";
    mutable std::vector<std::string> steps_;
    std::vector<Data> sent_;
    const std::uint8_t* seenByMotion_ = nullptr;
};

TEST_F(FramePipelineTest, TakesItsStepsInOrder) {
    settings_.setBoolean("show_devicename", true);
    pipeline().captureOutput(frame_);

    EXPECT_EQ(steps_, (std::vector<std::string>{"playback", "motion", "hasClient",
                                                "shouldSkipFrame", "name", "send"}));
    EXPECT_EQ(seenByMotion_, frame_.pixels);
}

TEST_F(FramePipelineTest, DuringPlaybackNothingSeesAFrame) {
    playback_ = true;
    pipeline().captureOutput(frame_);

    EXPECT_EQ(steps_, std::vector<std::string>{"playback"});
}

TEST_F(FramePipelineTest, WithoutAClientOnlyMotionSeesAFrame) {
    hasClient_ = false;
    pipeline().captureOutput(frame_);

    EXPECT_EQ(steps_, (std::vector<std::string>{"playback", "motion", "hasClient"}));
}

TEST_F(FramePipelineTest, ASkippedFrameIsSeenByMotionAndNotSent) {
    skip_ = true;
    pipeline().captureOutput(frame_);

    EXPECT_EQ(steps_,
              (std::vector<std::string>{"playback", "motion", "hasClient", "shouldSkipFrame"}));
}

TEST_F(FramePipelineTest, WithNothingSwitchedOnTheFrameIsSentAsItIs) {
    pipeline().captureOutput(frame_);

    expectSent(resized());
    const auto picture = jpeg::decode(*sent_[0]);
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture.value().width, kWidth);
    EXPECT_EQ(picture.value().height, kHeight);
    EXPECT_THAT(steps_, ::testing::Not(::testing::Contains("name")));
}

TEST_F(FramePipelineTest, WithoutOverlaysTheFrameIsTurnedAndMirroredOnly) {
    settings_.setBoolean("flip_horizontally", true);
    settings_.setInteger("rotate_val", 3);
    pipeline().captureOutput(frame_);

    expectSent(resized());
}

TEST_F(FramePipelineTest, AFrameOfAnotherSizeIsStretched) {
    frame_ = unevenPicture(640, 360);
    pipeline().captureOutput(frame_);

    expectSent(resized());
}

TEST_F(FramePipelineTest, NightVisionComesBeforeTheTexts) {
    settings_.setBoolean("night_vision", true);
    settings_.setBoolean("show_timestamp", true);
    settings_.setBoolean("show_devicename", true);
    pipeline().captureOutput(frame_);

    Bitmap expected = resized();
    ImageUtil::SetNightVision(expected, kWidth, kHeight);
    ImageUtil::AddText(expected, kWidth, kHeight, timeStamp(), kWidth / 3.0F, 10.0F);
    ImageUtil::AddText(expected, kWidth, kHeight, "Demo Camera", 10.0F, kHeight - 20.0F);
    expectSent(expected);
}

TEST_F(FramePipelineTest, TheTimeStampIsAtItsPlace) {
    settings_.setBoolean("show_timestamp", true);
    pipeline().captureOutput(frame_);

    Bitmap expected = resized();
    ImageUtil::AddText(expected, kWidth, kHeight, timeStamp(), kWidth / 3.0F, 10.0F);
    expectSent(expected);
}

TEST_F(FramePipelineTest, TheTimeStampFollowsTheClock) {
    settings_.setBoolean("show_timestamp", true);
    FramePipeline frames = pipeline();
    frames.captureOutput(frame_);
    clock_.advance(std::chrono::hours(25));
    frames.captureOutput(frame_);

    ASSERT_EQ(sent_.size(), 2U);
    EXPECT_NE(*sent_[0], *sent_[1]);
}

TEST_F(FramePipelineTest, WithoutADeviceNoNameIsDrawnAndTheFrameIsSent) {
    settings_.setBoolean("show_devicename", true);
    name_ = std::nullopt;
    pipeline().captureOutput(frame_);

    expectSent(resized());
}

TEST_F(FramePipelineTest, ASettingTakesEffectWithTheNextFrame) {
    FramePipeline frames = pipeline();
    frames.captureOutput(frame_);
    settings_.setBoolean("night_vision", true);
    frames.captureOutput(frame_);
    settings_.setBoolean("night_vision", false);
    frames.captureOutput(frame_);

    ASSERT_EQ(sent_.size(), 3U);
    EXPECT_NE(*sent_[0], *sent_[1]);
    EXPECT_EQ(*sent_[0], *sent_[2]);
}

TEST_F(FramePipelineTest, AFrameThatCannotBeEncodedIsLeftOutAndSaidOnce) {
    VideoFrame broken{kWidth, kHeight, kWidth * 4, nullptr, nullptr};
    FramePipeline frames = pipeline();
    ::testing::internal::CaptureStderr();
    frames.captureOutput(broken);
    frames.captureOutput(broken);
    const std::string said = ::testing::internal::GetCapturedStderr();

    EXPECT_TRUE(sent_.empty());
    EXPECT_EQ(said, "a frame was left out: no picture to encode\n");
}

TEST_F(FramePipelineTest, NeedsNeitherPlaybackNorMotionNorAName) {
    settings_.setBoolean("show_devicename", true);
    FramePipeline({settings_, clock_, *this, {}, {}, {}}).captureOutput(frame_);

    expectSent(resized());
}

} // namespace ovelo
