// What the motion detector costs for a frame, examined and not.

#include "Scene.h"
#include "alerts/MotionDetector.h"
#include "alerts/MotionDocument.h"
#include "capture/Bitmap.h"
#include "capture/ImageUtil.h"
#include "capture/OpenCVTools.h"
#include "platform/Clock.h"
#include "platform/Jpeg.h"
#include "platform/MemorySettings.h"
#include "support/Logger.h"

#include <opencv2/imgproc/imgproc_c.h>

#include <benchmark/benchmark.h>

namespace {

using namespace ovelo;

/// Costs as much to read as the real one, and is put forward at will.
class AheadClock final : public Clock {
public:
    [[nodiscard]] TimeValue timeOfDay() const override { return system().timeOfDay(); }
    [[nodiscard]] Steady steady() const override {
        benchmark::DoNotOptimize(system().steady());
        return now;
    }

    Steady now = Steady(std::chrono::hours(1));
};

class NoDocument final : public MotionDocument {
public:
    void startRecording() override {}
    void stopRecording() override {}
};

struct Watch {
    explicit Watch(bool isOn) {
        for (const char* key : {"useMotionEmail", "useMotionRecord", "usePushNotification"}) {
            settings.setBoolean(key, isOn);
        }
        settings.setString("motionSense", "High");
    }

    MemorySettings settings;
    AheadClock clock;
    Logger log{"/nowhere", settings};
    NoDocument document;
    VideoFrame frame = bench::scene();
    MotionDetector detector{{settings,
                             clock,
                             log,
                             [this](const VideoFrame& one, float width, float height) {
                                 auto bitmap = std::make_shared<Bitmap>(
                                     ImageUtil::GetResizedImage(one, width, height, settings));
                                 VideoFrame scaled = bitmap->frame();
                                 scaled.owner = std::move(bitmap);
                                 return scaled;
                             },
                             &OpenCVTools::CreateIplImageFromUIImage,
                             [](const Data&) {},
                             [](const std::string&, const std::string&, int) {},
                             {}}};
};

void motionSwitchedOff(benchmark::State& state) {
    Watch watch(false);
    for (auto _ : state) {
        watch.detector.detect(watch.frame, watch.document);
    }
}
BENCHMARK(motionSwitchedOff);

void motionNotExamined(benchmark::State& state) {
    Watch watch(true);
    for (auto _ : state) {
        watch.detector.detect(watch.frame, watch.document);
    }
}
BENCHMARK(motionNotExamined);

void motionExamined(benchmark::State& state) {
    Watch watch(true);
    for (auto _ : state) {
        watch.clock.now += std::chrono::seconds(2);
        watch.detector.detect(watch.frame, watch.document);
    }
}
BENCHMARK(motionExamined);

void motionJpeg(benchmark::State& state) {
    constexpr int kQuality = 75;
    const VideoFrame frame = bench::scene();
    for (auto _ : state) {
        benchmark::DoNotOptimize(jpeg::encode(frame, kQuality));
    }
}
BENCHMARK(motionJpeg);

/// The blur in passes of so many of its 3 x 3 steps; 18 is what the detector does.
void motionBlur(benchmark::State& state) {
    constexpr int kDilations = 18;
    constexpr int kErosions = 10;
    const auto color = OpenCVTools::CreateIplImageFromUIImage(bench::scene());
    const IplImagePointer gray(cvCreateImage(cvGetSize(color.get()), IPL_DEPTH_8U, 1));
    const int step = static_cast<int>(state.range(0));
    const auto inSteps = [step](int all, auto&& pass) {
        for (int done = 0; done < all; done += step) {
            pass(std::min(step, all - done));
        }
    };
    for (auto _ : state) {
        cvCvtColor(color.get(), gray.get(), CV_BGR2GRAY);
        inSteps(kDilations, [&](int n) { cvDilate(gray.get(), gray.get(), nullptr, n); });
        inSteps(kErosions, [&](int n) { cvErode(gray.get(), gray.get(), nullptr, n); });
    }
}
BENCHMARK(motionBlur)->Arg(1)->Arg(3)->Arg(6)->Arg(9)->Arg(18)->ArgName("steps");

} // namespace
