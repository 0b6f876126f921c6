// What one picture of a network camera's stream costs, from its bytes to the picture file.

#include "ipcam/JpegCameraPictures.h"
#include "ipcam/MultipartStream.h"
#include "platform/Jpeg.h"
#include "platform/PictureFile.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <filesystem>
#include <string>

namespace {

using namespace ovelo;

std::string partOf(int width, int height) {
    auto pixels = std::make_shared<Bytes>(static_cast<std::size_t>(width * height * 4));
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width;
        const int y = i / width;
        std::uint8_t* pixel = pixels->data() + static_cast<std::size_t>(i) * 4;
        pixel[0] = static_cast<std::uint8_t>(128 + 90 * std::sin(x / 30.0) + (x * y) % 17);
        pixel[1] = static_cast<std::uint8_t>(128 + 90 * std::sin(y / 40.0) + (x + y) % 13);
        pixel[2] = static_cast<std::uint8_t>(128 + 90 * std::sin((x + y) / 50.0));
        pixel[3] = 255;
    }
    const std::uint8_t* data = pixels->data();
    const auto jpeg =
        jpeg::encode({width, height, static_cast<std::size_t>(width) * 4, data, pixels}, 75);
    return "--b\r\nContent-Type: image/jpeg\r\n\r\n" +
           std::string(jpeg.value()->begin(), jpeg.value()->end()) + "\r\n";
}

void PartToPictureFile(benchmark::State& state) {
    const std::string part =
        partOf(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const std::filesystem::path file = std::filesystem::temp_directory_path() / "ovelo-bench.rgb";
    JpegCameraPictures pictures;
    std::string picture;
    MultipartStream stream(
        "b", {[](const HttpResponse&) {}, [&](std::string_view bytes) { picture += bytes; }});
    for (auto _ : state) {
        picture.clear();
        stream.feed(part);
        const auto decoded = pictures.decode(
            {reinterpret_cast<const std::uint8_t*>(picture.data()), picture.size()});
        if (!decoded || picturefile::write(file, pictures.fill(decoded.value()))) {
            state.SkipWithError("no picture");
            break;
        }
    }
    state.counters["bytes"] = static_cast<double>(part.size());
    std::filesystem::remove(file);
}

BENCHMARK(PartToPictureFile)
    ->Args({320, 240})
    ->Args({640, 480})
    ->Args({1280, 720})
    ->Args({1920, 1080})
    ->Args({3840, 2160})
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
