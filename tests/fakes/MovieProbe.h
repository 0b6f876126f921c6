#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace ovelo {

/// Looks at a movie from outside, with the ffmpeg programs.
class MovieProbe {
public:
    explicit MovieProbe(std::filesystem::path file) : file_(std::move(file)) {}

    struct Picture {
        double time = 0; // seconds
        int number = 0;  // what numberedPicture() painted
    };

    /// What is wrong with it in a decoder's eyes; empty when nothing is.
    [[nodiscard]] std::string complaints() const {
        // In the movie's own ticks: in those of a mean rate two close pictures are at the same time.
        return output("ffmpeg -v warning -xerror -i " + name() +
                      " -fps_mode vfr -enc_time_base -1 -f null - 2>&1");
    }

    [[nodiscard]] double duration() const {
        return number("ffprobe -v error -show_entries format=duration -of csv=p=0 " + name());
    }
    [[nodiscard]] double duration(const std::string& stream) const {
        return number("ffprobe -v error -select_streams " + stream +
                      " -show_entries stream=duration -of csv=p=0 " + name());
    }
    /// One word for each stream, for instance "h264".
    [[nodiscard]] std::vector<std::string> codecs() const {
        return words("ffprobe -v error -show_entries stream=codec_name -of csv=p=0 " + name());
    }
    [[nodiscard]] std::string profile() const {
        return output("ffprobe -v error -select_streams v:0 -show_entries stream=profile "
                      "-of csv=p=0 " +
                      name());
    }

    /// All pictures, decoded.
    [[nodiscard]] std::vector<Picture> pictures() const {
        const auto times = words("ffprobe -v error -select_streams v:0 -show_entries "
                                 "frame=pts_time -of csv=p=0 " +
                                 name());
        const std::string gray =
            output("ffmpeg -v error -i " + name() +
                   " -map v:0 -fps_mode passthrough -enc_time_base -1 -f rawvideo "
                   "-pix_fmt gray -");
        std::vector<Picture> all;
        for (std::size_t i = 0; i < times.size() && (i + 1) * kPixels <= gray.size(); ++i) {
            all.push_back({std::atof(times[i].c_str()), numberIn(gray, i * kPixels)});
        }
        return all;
    }

    /// The whole sound, decoded, at its places in time.
    [[nodiscard]] std::vector<std::int16_t> sound() const {
        const std::string raw =
            output("ffmpeg -v error -i " + name() +
                   " -map a:0 -af aresample=async=1 -f s16le -ar 16000 -ac 1 -");
        std::vector<std::int16_t> samples(raw.size() / 2);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            samples[i] =
                static_cast<std::int16_t>(static_cast<std::uint8_t>(raw[2 * i]) |
                                          (static_cast<std::uint8_t>(raw[2 * i + 1]) << 8));
        }
        return samples;
    }

    static std::string output(const std::string& command) {
        std::string all;
        std::FILE* pipe = ::popen(command.c_str(), "r");
        if (pipe == nullptr) {
            return all;
        }
        char bytes[65536];
        for (std::size_t size = 0; (size = std::fread(bytes, 1, sizeof bytes, pipe)) > 0;) {
            all.append(bytes, size);
        }
        ::pclose(pipe);
        return all;
    }

    static constexpr int kBits = 16;
    static constexpr int kWidth = 320;
    static constexpr int kHeight = 240;

private:
    static constexpr std::size_t kPixels = 76800;

    [[nodiscard]] std::string name() const { return fmt::format("'{}'", file_.string()); }

    static double number(const std::string& command) { return std::atof(output(command).c_str()); }

    static std::vector<std::string> words(const std::string& command) {
        std::istringstream text(output(command));
        std::vector<std::string> all;
        for (std::string line; std::getline(text, line);) {
            if (!line.empty()) {
                all.push_back(line.substr(0, line.find(',')));
            }
        }
        return all;
    }

    static int numberIn(const std::string& gray, std::size_t start) {
        int number = 0;
        for (int bit = 0; bit < kBits; ++bit) {
            const int x = bit * (kWidth / kBits) + kWidth / kBits / 2;
            const auto at = start + static_cast<std::size_t>(kHeight / 2 * kWidth + x);
            number |= static_cast<std::uint8_t>(gray[at]) > 127 ? 1 << bit : 0;
        }
        return number;
    }

    std::filesystem::path file_;
};

} // namespace ovelo
