#pragma once

#include "platform/Data.h"
#include "platform/VideoFrame.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace ovelo {

/// A street with pedestrians, filmed by a camera that does not move: 795 pictures, 10 a second.
inline constexpr const char* kFootage = "/usr/share/doc/opencv-doc/examples/data/vtest.avi";

/// Every n-th picture of the street, 320 x 240; none when it cannot be had.
inline std::vector<VideoFrame> footage(int every) {
    constexpr std::size_t kBytes = std::size_t{320} * 240 * 4;
    const std::string command = std::string("ffmpeg -v error -nostdin -i ") + kFootage +
                                " -vf 'select=not(mod(n\\," + std::to_string(every) +
                                ")),scale=320:240' -vsync 0 -f rawvideo -pix_fmt rgba -";
    std::vector<VideoFrame> frames;
    FILE* const pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return frames;
    }
    while (true) {
        auto pixels = std::make_shared<Bytes>(kBytes);
        if (std::fread(pixels->data(), 1, kBytes, pipe) != kBytes) {
            break;
        }
        const std::uint8_t* data = pixels->data();
        frames.push_back({320, 240, 1280, data, std::move(pixels)});
    }
    ::pclose(pipe);
    return frames;
}

/// The same picture with a camera's noise: each sample off by a normally distributed number.
class NoisyCamera {
public:
    explicit NoisyCamera(double deviation) {
        std::normal_distribution<double> noise(0, deviation);
        for (auto& one : noise_) {
            one = static_cast<std::int16_t>(std::lround(noise(random_)));
        }
    }

    VideoFrame picture(const VideoFrame& scene) {
        const std::size_t size = scene.bytesPerRow * static_cast<std::size_t>(scene.height);
        auto pixels = std::make_shared<Bytes>(scene.pixels, scene.pixels + size);
        std::size_t at = random_() % noise_.size(); // another piece of it each time
        for (std::size_t i = 0; i < size; ++i) {
            if (i % 4 != 3) { // alpha stays
                const int value = (*pixels)[i] + noise_[at];
                (*pixels)[i] = static_cast<std::uint8_t>(std::clamp(value, 0, 255));
                at = at + 1 == noise_.size() ? 0 : at + 1;
            }
        }
        const std::uint8_t* data = pixels->data();
        return {scene.width, scene.height, scene.bytesPerRow, data, std::move(pixels)};
    }

private:
    std::mt19937 random_{1};
    std::vector<std::int16_t> noise_ = std::vector<std::int16_t>(1000003);
};

} // namespace ovelo
