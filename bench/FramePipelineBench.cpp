// What one frame costs on its way to the viewers.

#include "Scene.h"
#include "capture/FramePipeline.h"
#include "capture/ImageUtil.h"
#include "platform/Clock.h"
#include "platform/Jpeg.h"
#include "platform/MemorySettings.h"

#include <QGuiApplication>

#include <benchmark/benchmark.h>

namespace {

using namespace ovelo;
using bench::kHeight;
using bench::kWidth;
using bench::scene;

constexpr int kQuality = 40;

class Viewers final : public FrameSink {
public:
    [[nodiscard]] bool hasClient() const override { return true; }
    [[nodiscard]] bool shouldSkipFrame() override { return false; }
    void sendImageData(const Data& jpeg) override { benchmark::DoNotOptimize(jpeg->size()); }
};

void encodeOnly(benchmark::State& state) {
    const VideoFrame frame = scene();
    for (auto _ : state) {
        benchmark::DoNotOptimize(jpeg::encode(frame, kQuality));
    }
}
BENCHMARK(encodeOnly);

void resize(benchmark::State& state) {
    const VideoFrame frame = scene();
    MemorySettings settings;
    settings.setInteger("rotate_val", static_cast<int>(state.range(0)));
    settings.setBoolean("flip_horizontally", state.range(1) != 0);
    settings.setBoolean("flip_vertically", state.range(1) != 0);
    for (auto _ : state) {
        const Bitmap picture = ImageUtil::GetResizedImage(frame, kWidth, kHeight, settings);
        benchmark::DoNotOptimize(picture.data());
    }
}
BENCHMARK(resize)->ArgsProduct({{0, 1, 2, 3}, {0, 1}})->ArgNames({"turns", "flips"});

void nightVision(benchmark::State& state) {
    const MemorySettings settings;
    Bitmap picture = ImageUtil::GetResizedImage(scene(), kWidth, kHeight, settings);
    for (auto _ : state) {
        ImageUtil::SetNightVision(picture, kWidth, kHeight);
    }
}
BENCHMARK(nightVision);

void text(benchmark::State& state) {
    const MemorySettings settings;
    Bitmap picture = ImageUtil::GetResizedImage(scene(), kWidth, kHeight, settings);
    for (auto _ : state) {
        ImageUtil::AddText(picture, kWidth, kHeight, "31.01.24 23:59", kWidth / 3.0F, 10.0F);
    }
}
BENCHMARK(text);

void newText(benchmark::State& state) {
    const MemorySettings settings;
    Bitmap picture = ImageUtil::GetResizedImage(scene(), kWidth, kHeight, settings);
    int number = 10000;
    for (auto _ : state) {
        ImageUtil::AddText(picture, kWidth, kHeight, "31.01.24 " + std::to_string(++number),
                           kWidth / 3.0F, 10.0F);
    }
}
BENCHMARK(newText);

void pipeline(benchmark::State& state) {
    const VideoFrame frame = scene();
    const bool everything = state.range(0) != 0;
    MemorySettings settings;
    settings.setInteger("rotate_val", everything ? 1 : 0);
    for (const char* key : {"flip_horizontally", "flip_vertically", "night_vision",
                            "show_timestamp", "show_devicename"}) {
        settings.setBoolean(key, everything);
    }
    Viewers viewers;
    FramePipeline pipeline({settings, Clock::system(), viewers, [] { return false; },
                            [](const VideoFrame&) {},
                            [] { return std::optional<std::string>("Demo Camera"); }});
    for (auto _ : state) {
        pipeline.captureOutput(frame);
    }
}
BENCHMARK(pipeline)->Arg(0)->Arg(1)->ArgName("everything");

} // namespace

int main(int argc, char** argv) {
    ::qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv); // for the fonts
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
