#pragma once

#include "alerts/MotionDetector.h"
#include "alerts/MotionDocument.h"
#include "capture/Bitmap.h"
#include "capture/ImageUtil.h"
#include "capture/OpenCVTools.h"
#include "fakes/FakeClock.h"
#include "fakes/TestLog.h"
#include "fakes/TestPicture.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ovelo {

/// Counts what a detector asks of the document.
class CountingDocument final : public MotionDocument {
public:
    void startRecording() override {
        ++starts;
        isOnMainThread = isOnMainThread && MainThread::isCurrent();
    }
    void stopRecording() override {
        ++stops;
        isOnMainThread = isOnMainThread && MainThread::isCurrent();
    }

    std::atomic<int> starts = 0;
    std::atomic<int> stops = 0;
    std::atomic<bool> isOnMainThread = true;
};

/// Timers that fire when they are told to.
class FakeTimers {
public:
    struct Entry {
        std::chrono::milliseconds delay;
        std::function<void()> tick;
    };

    std::unique_ptr<Timer> make(std::chrono::milliseconds delay, std::function<void()> tick) {
        entries.push_back({delay, std::move(tick)});
        return std::make_unique<Timer>();
    }

    std::vector<Entry> entries;
};

struct Push {
    std::string devID;
    std::string message;
    int badgeNumber;
};

/// A detector with the real picture functions, a clock that is stepped, and lists of what it did.
/// The test's thread is the main thread.
class MotionFixture : public ::testing::Test {
protected:
    using Seconds = std::chrono::seconds;

    MotionFixture() { MainThread::begin(); }
    ~MotionFixture() override { MainThread::end(); }

    MotionDetector::Environment environment() {
        return {settings,
                clock,
                log.log(),
                [this](const VideoFrame& frame, float width, float height) {
                    ++examined;
                    auto bitmap = std::make_shared<Bitmap>(
                        ImageUtil::GetResizedImage(frame, width / scale, height / scale, settings));
                    VideoFrame scaled = bitmap->frame();
                    scaled.owner = std::move(bitmap);
                    return scaled;
                },
                &OpenCVTools::CreateIplImageFromUIImage,
                [this](const Data& jpeg) { mails.push_back(jpeg); },
                [this](const std::string& devID, const std::string& message, int badgeNumber) {
                    pushes.push_back({devID, message, badgeNumber});
                },
                [this](const MotionEvent& event) { events.push_back(event); },
                [this](std::chrono::milliseconds delay, std::function<void()> tick) {
                    return timers.make(delay, std::move(tick));
                }};
    }

    /// One grey level all over.
    static VideoFrame gray(int level) {
        const auto byte = static_cast<std::uint8_t>(level);
        return pictureOf(8, 6, [=](int, int) { return Colour{byte, byte, byte, 255}; });
    }

    /// `level` in so many columns from the left, `rest` in the others.
    static VideoFrame bars(int level, int columns, int rest) {
        const auto colour = [](int value) {
            const auto byte = static_cast<std::uint8_t>(value);
            return Colour{byte, byte, byte, 255};
        };
        return pictureOf(320, 240, [=](int x, int) { return colour(x < columns ? level : rest); });
    }

    void show(const VideoFrame& frame) { detector.detect(frame, document); }

    /// Shows a frame that differs wholly from the last one, which is motion unless it is the first.
    void move() { show(gray((isBright = !isBright) ? 100 : 0)); }

    /// Shows motion after so many seconds; the frames of the time between are left out.
    void moveAfter(std::chrono::microseconds time) {
        clock.advance(time);
        move();
    }

    /// The first frame, which is no motion, and the first motion 2 s later.
    void firstMotion() {
        move();
        moveAfter(Seconds(2));
    }

    [[nodiscard]] int motions() const {
        int count = 0;
        const std::string text = log.text();
        for (auto at = text.find("Motion detected: "); at != std::string::npos;
             at = text.find("Motion detected: ", at + 1)) {
            ++count;
        }
        return count;
    }

    MemorySettings settings;
    FakeClock clock;
    TestLog log;
    CountingDocument document;
    FakeTimers timers;
    int examined = 0;
    float scale = 1; // above 1, pictures are made smaller, where they do not matter
    std::vector<Data> mails;
    std::vector<Push> pushes;
    std::vector<MotionEvent> events;
    bool isBright = false;
    MotionDetector detector{environment()};
};

} // namespace ovelo
