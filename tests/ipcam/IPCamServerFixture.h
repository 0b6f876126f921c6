#pragma once

#include "fakes/FrameWatcher.h"
#include "fakes/QtWait.h"
#include "fakes/TemporaryFolder.h"
#include "fakes/TestLog.h"
#include "fakes/TestPicture.h"
#include "ipcam/IPCam.h"
#include "ipcam/JpegCameraPictures.h"
#include "platform/Jpeg.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"
#include "platform/PictureFileDevice.h"
#include "platform/QtHttpClient.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace ovelo {

/// Everything from a camera's address to the frames of the device, with a real web client.
class IPCamServerFixture : public ::testing::Test {
protected:
    /// wait  what the grabber takes for a second
    explicit IPCamServerFixture(std::chrono::milliseconds wait = std::chrono::milliseconds(100))
        : timing{wait, std::chrono::milliseconds(300), std::chrono::seconds(60),
                 std::chrono::milliseconds(100), std::chrono::milliseconds(400)} {
        MainThread::begin();
    }
    ~IPCamServerFixture() override {
        device.stop();
        cam.stop();
        MainThread::end();
    }

    /// Runs Qt's loop and serves the main thread until the condition holds.
    static bool until(const std::function<bool()>& condition,
                      std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        return runLoopUntil(
            [&] {
                MainThread::serve();
                return condition();
            },
            limit);
    }
    bool untilEnded() {
        return until([&] { return !cam.started(); });
    }

    /// Starts both ends.
    void watch(const std::string& url) {
        cam.setUrlString(url);
        device.start(watcher.handler());
        cam.start();
    }
    bool untilFrames(std::size_t count) {
        return until([&] { return watcher.count() >= count; });
    }

    /// One picture in one colour.
    static std::string jpegOf(Colour colour, int width = 640, int height = 480) {
        const auto jpeg =
            jpeg::encode(pictureOf(width, height, [=](int, int) { return colour; }), 90);
        return {jpeg.value()->begin(), jpeg.value()->end()};
    }
    /// How far the latest frame is from a picture, in levels, at the worst pixel of a grid.
    [[nodiscard]] int distanceFrom(const VideoFrame& source) const {
        const VideoFrame frame = watcher.last();
        int worst = 0;
        for (int y = 5; y < 240; y += 10) {
            for (int x = 5; x < 320; x += 10) {
                const Colour left = colourOf(frame, x, y);
                const Colour right =
                    colourOf(source, x * source.width / 320, y * source.height / 240);
                for (std::size_t i = 0; i < 4; ++i) {
                    worst = std::max(worst, std::abs(left[i] - right[i]));
                }
            }
        }
        return worst;
    }

    TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "ipcam.rgb";
    MemorySettings settings;
    TestLog log;
    QtHttpClient http;
    JpegCameraPictures pictures;
    const IPCamTiming timing;
    IPCam cam{{http, settings, log.log(), pictures, file, Clock::system(), timing}};
    FrameWatcher watcher;
    PictureFileDevice device{file};
};

} // namespace ovelo
