// The street at its own pace, on the real clock and the real threads.

#include "alerts/MotionDetector.h"
#include "alerts/MotionDocument.h"
#include "capture/Bitmap.h"
#include "capture/ImageUtil.h"
#include "capture/OpenCVTools.h"
#include "fakes/Footage.h"
#include "fakes/TestLog.h"
#include "platform/GstRuntime.h"
#include "platform/GstVideoDevice.h"
#include "platform/MainThread.h"
#include "platform/QtMainLoop.h"

#include <gtest/gtest.h>

#include <atomic>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using RealTime = std::chrono::steady_clock;

class RecordingTimes final : public MotionDocument {
public:
    void startRecording() override { started = RealTime::now(); }
    void stopRecording() override {}

    std::optional<RealTime::time_point> started;
};

TEST(MotionSlowTest, PeopleInAStreetAreRecordedAndMailedOnceEachAfterTheFirstDelay) {
    GstRuntime::begin();
    QtMainLoop loop;
    MemorySettings settings;
    settings.setBoolean("useMotionEmail", true);
    settings.setBoolean("useMotionRecord", true);
    TestLog log;
    RecordingTimes document;
    std::atomic<int> examined = 0;
    std::atomic<int> mails = 0;
    std::atomic<int> frames = 0;
    MotionDetector detector({settings,
                             Clock::system(),
                             log.log(),
                             [&](const VideoFrame& frame, float width, float height) {
                                 ++examined;
                                 auto bitmap = std::make_shared<Bitmap>(
                                     ImageUtil::GetResizedImage(frame, width, height, settings));
                                 VideoFrame scaled = bitmap->frame();
                                 scaled.owner = std::move(bitmap);
                                 return scaled;
                             },
                             &OpenCVTools::CreateIplImageFromUIImage,
                             [&](const Data&) { ++mails; },
                             {},
                             {}});
    const auto device = GstVideoDevice::make(
        {MediaType::Video, "Street", "street", {std::string("file://") + kFootage, nullptr}},
        {std::make_shared<GstDisposal>(), [](const std::string&) {}, GstPatience()});
    ASSERT_FALSE(device->open());
    const auto began = RealTime::now();
    device->start([&](const VideoFrame& frame) {
        ++frames;
        detector.detect(frame, document);
    });

    ASSERT_TRUE(MainThread::serveUntil([&] { return log.contains("Motion detected"); }, 80s));
    const auto firstMotion = RealTime::now();
    ASSERT_TRUE(MainThread::serveUntil([&] { return mails == 1 && document.started; }, 120s));
    EXPECT_GE(*document.started - firstMotion, 74s);
    MainThread::serveUntil([] { return false; }, 5s);
    const auto length = std::chrono::duration<double>(RealTime::now() - began).count();
    device->close();

    EXPECT_EQ(mails, 1);
    EXPECT_NEAR(frames, length * 10, 30);
    EXPECT_LE(examined, length / 2 + 1);
    EXPECT_GE(examined, length / 2.2);
}

} // namespace

} // namespace ovelo
