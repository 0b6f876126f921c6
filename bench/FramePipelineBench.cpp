// What one frame costs on its way to the viewers.

#include "capture/FramePipeline.h"
#include "capture/ImageUtil.h"
#include "platform/Clock.h"
#include "platform/Jpeg.h"
#include "platform/MemorySettings.h"

#include <QGuiApplication>

#include <benchmark/benchmark.h>

#include <cmath>

namespace {

using namespace ovelo;

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kQuality = 40;

/// Something like a room: slow gradients, some edges, a little noise.
VideoFrame scene() {
    auto pixels = std::make_shared<Bytes>();
    unsigned noise = 1;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            noise = noise * 1103515245U + 12345U;
            const int light =
                static_cast<int>(80 + 60 * std::sin(x / 40.0) + 40 * std::cos(y / 25.0)) +
                static_cast<int>(noise >> 16U & 7U) + ((x / 32 + y / 48) % 3 == 0 ? 50 : 0);
            for (const int tint : {0, 10, 20}) {
                pixels->push_back(static_cast<std::uint8_t>(std::clamp(light - tint, 0, 255)));
            }
            pixels->push_back(255);
        }
    }
    const std::uint8_t* data = pixels->data();
    return {kWidth, kHeight, std::size_t{kWidth} * 4, data, std::move(pixels)};
}

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
