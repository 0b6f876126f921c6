#pragma once

#include "platform/VideoFrame.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace ovelo {

/// Each picture of a test movie bears its number in upright bars, black for 0 and white for 1, the
/// lowest bit at the left: to be read whatever encoding and scaling did to it.
struct NumberedPicture {
    static constexpr int kWidth = 320;
    static constexpr int kHeight = 240;
    static constexpr int kBits = 10;
    static constexpr int kBarWidth = kWidth / kBits;

    static std::vector<std::uint8_t> grey(int number) {
        std::vector<std::uint8_t> pixels;
        pixels.reserve(static_cast<std::size_t>(kWidth) * kHeight);
        for (int i = 0; i < kWidth * kHeight; ++i) {
            const int bar = i % kWidth / kBarWidth;
            pixels.push_back((number >> bar & 1) != 0 ? 235 : 16);
        }
        return pixels;
    }

    /// The number of a picture of 320 x 240; -1 when a bar is neither black nor white.
    static int numberOf(const VideoFrame& picture) {
        int number = 0;
        for (int bar = 0; bar < kBits; ++bar) {
            const int level =
                picture.pixels[picture.bytesPerRow * (kHeight / 2) +
                               static_cast<std::size_t>(bar * kBarWidth + kBarWidth / 2) * 4];
            if (level > 80 && level < 176) {
                return -1;
            }
            number |= (level >= 176 ? 1 : 0) << bar;
        }
        return number;
    }
};

/// Makes a movie of numbered pictures with the command ffmpeg.
///
/// rate     pictures a second that go in
/// options  of the command, for what comes out
/// return   false when the command failed, which has said why
inline bool makeMovie(const std::filesystem::path& file, int pictures, int rate,
                      const std::string& options) {
    const std::string command =
        "ffmpeg -v error -nostdin -y -f rawvideo -pix_fmt gray -s 320x240 -r " +
        std::to_string(rate) + " -i - " + options + " '" + file.string() + "'";
    std::FILE* input = ::popen(command.c_str(), "w");
    if (!input) {
        return false;
    }
    for (int number = 0; number < pictures; ++number) {
        const auto pixels = NumberedPicture::grey(number);
        std::fwrite(pixels.data(), 1, pixels.size(), input);
    }
    return ::pclose(input) == 0;
}

} // namespace ovelo
