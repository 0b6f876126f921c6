#pragma once

#include "fakes/MovieScene.h"
#include "fakes/SoundTools.h"

#include <QImage>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

/// Films of which each moment is known.
namespace ovelo::films {

/// Makes a film of numbered pictures (see MovieProbe) with the command ffmpeg.
///
/// options  of the command, for further inputs and for what comes out
/// return   false when the command failed, which has said why
inline bool make(const std::filesystem::path& file, int pictures, int rate,
                 const std::string& options) {
    const std::string command =
        "ffmpeg -v error -nostdin -y -f rawvideo -pix_fmt bgra -s 320x240 -r " +
        std::to_string(rate) + " -i - " + options + " '" + file.string() + "'";
    std::FILE* input = ::popen(command.c_str(), "w");
    if (!input) {
        return false;
    }
    for (int number = 0; number < pictures; ++number) {
        const VideoFrame picture = numberedPicture(number);
        std::fwrite(picture.pixels, 1, picture.bytesPerRow * 240, input);
    }
    return ::pclose(input) == 0;
}

/// For a small file that is quickly made and decoded.
inline const std::string kQuickH264 =
    "-c:v libx264 -preset ultrafast -crf 18 -g 20 -pix_fmt yuv420p";

/// The same, but with a beep at the beginning of each second.
inline bool makeWithBeeps(const std::filesystem::path& file, int seconds, int rate) {
    const std::string wav = file.string() + ".wav";
    sound::writeWav(wav, beeps(0, static_cast<std::size_t>(seconds) * kSoundRate), kSoundRate);
    return make(file, seconds * rate, rate,
                "-i '" + wav + "' -map 0:v -map 1:a -c:a pcm_s16le " + kQuickH264);
}

/// The number in a picture that a viewer got; -1 when it cannot be read.
inline int numberIn(const QImage& picture) {
    if (picture.width() != MovieProbe::kWidth || picture.height() != MovieProbe::kHeight) {
        return -1;
    }
    constexpr int kBar = MovieProbe::kWidth / MovieProbe::kBits;
    int number = 0;
    for (int bit = 0; bit < MovieProbe::kBits; ++bit) {
        const int level = qGreen(picture.pixel(bit * kBar + kBar / 2, MovieProbe::kHeight / 2));
        if (level > 80 && level < 176) {
            return -1;
        }
        number |= level >= 176 ? 1 << bit : 0;
    }
    return number;
}

} // namespace ovelo::films
