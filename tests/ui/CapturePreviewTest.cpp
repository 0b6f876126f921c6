#include "ui/CapturePreview.h"

#include "fakes/FakeCapture.h"
#include "fakes/QtWait.h"
#include "platform/CaptureSession.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace ovelo {

namespace {

/// A picture of one colour, 320 x 240.
VideoFrame picture(std::uint8_t red) {
    auto pixels = std::make_shared<std::vector<std::uint8_t>>(std::size_t{320} * 240 * 4, 255);
    for (std::size_t index = 0; index < pixels->size(); index += 4) {
        (*pixels)[index] = red;
        (*pixels)[index + 1] = 0;
    }
    return {320, 240, std::size_t{320} * 4, pixels->data(), pixels};
}

} // namespace

class CapturePreviewTest : public ::testing::Test {
protected:
    void show() {
        preview_.resize(400, 240);
        preview_.show();
        ASSERT_TRUE(runLoopUntil([this] {
            const VideoFrame frame = picture(200);
            std::thread([&] { preview_.takeFrame(frame); }).join();
            return preview_.showsPicture();
        }));
    }

    CapturePreview preview_;
};

TEST_F(CapturePreviewTest, ShowsAPictureInItsOwnShape) {
    show();

    const QImage seen = preview_.grab().toImage();

    // 320 x 240 in the middle of 400 x 240.
    EXPECT_EQ(seen.pixelColor(200, 120), QColor(200, 0, 255));
    EXPECT_EQ(seen.pixelColor(41, 1), QColor(200, 0, 255));
    EXPECT_NE(seen.pixelColor(38, 120), QColor(200, 0, 255));
    EXPECT_NE(seen.pixelColor(361, 120), QColor(200, 0, 255));
}

TEST_F(CapturePreviewTest, KeepsNoPictureWhileItCannotBeSeen) {
    const VideoFrame frame = picture(1);
    preview_.takeFrame(frame);
    EXPECT_EQ(frame.owner.use_count(), 1) << "before it is shown";

    show();
    preview_.hide();
    preview_.takeFrame(frame);
    QCoreApplication::processEvents();
    EXPECT_EQ(frame.owner.use_count(), 1) << "after it was hidden";
    EXPECT_FALSE(preview_.showsPicture());
}

TEST_F(CapturePreviewTest, KeepsNoPictureOfAMinimizedWindow) {
    show();

    preview_.showMinimized();

    ASSERT_TRUE(runLoopUntil([this] { return !preview_.showsPicture(); }));
    const VideoFrame frame = picture(1);
    preview_.takeFrame(frame);
    EXPECT_EQ(frame.owner.use_count(), 1);
}

TEST_F(CapturePreviewTest, CanBeSwitchedOffAndOn) {
    show();

    preview_.setLive(false);
    EXPECT_FALSE(preview_.showsPicture());

    preview_.setLive(true);
    EXPECT_TRUE(runLoopUntil([this] {
        preview_.takeFrame(picture(9));
        return preview_.showsPicture();
    }));
}

TEST_F(CapturePreviewTest, NeverHoldsMoreThanTheShownAndTheNewestPicture) {
    show();
    std::vector<VideoFrame> frames;
    for (std::uint8_t count = 0; count < 20; ++count) {
        frames.push_back(picture(count));
    }

    std::thread([&] {
        for (const VideoFrame& frame : frames) {
            preview_.takeFrame(frame);
        }
    }).join();
    QCoreApplication::processEvents();

    const auto held = std::count_if(frames.begin(), frames.end(), [](const VideoFrame& frame) {
        return frame.owner.use_count() > 1;
    });
    EXPECT_LE(held, 2);
}

TEST_F(CapturePreviewTest, SaysWhyThereIsNoPicture) {
    preview_.resize(400, 300);
    preview_.setMessage(QStringLiteral("No picture"));

    const QImage with = preview_.grab().toImage();
    preview_.setMessage({});

    EXPECT_NE(with, preview_.grab().toImage());
}

TEST_F(CapturePreviewTest, TheSessionGoesOnWithoutIt) {
    const auto camera = std::make_shared<FakeDevice>(MediaType::Video, "Camera");
    CaptureSession session;
    int pictures = 0;
    session.setVideoOutput([&](const VideoFrame&) { ++pictures; });
    ASSERT_FALSE(session.addInput(std::make_shared<CaptureDeviceInput>(camera)));
    session.startRunning();
    auto preview = std::make_unique<CapturePreview>();
    preview->setSession(session);
    preview->show();
    ASSERT_TRUE(runLoopUntil([&] {
        camera->handler(picture(7));
        return preview->showsPicture();
    }));

    preview.reset();
    pictures = 0;
    const VideoFrame frame = picture(8);
    camera->handler(frame);

    EXPECT_EQ(pictures, 1);
    EXPECT_EQ(frame.owner.use_count(), 1);
}

} // namespace ovelo
