#pragma once

#include "fakes/MovieProbe.h"
#include "platform/MovieFileOutput.h"

#include <cmath>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <numbers>
#include <string>
#include <vector>

namespace ovelo {

/// A picture whose bars tell a number below 65536; see MovieProbe.
inline VideoFrame numberedPicture(int number) {
    auto pixels = std::make_shared<std::vector<std::uint8_t>>(320 * 240 * 4);
    for (std::size_t i = 0; i < pixels->size(); i += 4) {
        const int bar = static_cast<int>(i / 4 % 320) / (320 / MovieProbe::kBits);
        const std::uint8_t shade = ((number >> bar) & 1) != 0 ? 235 : 20;
        (*pixels)[i] = (*pixels)[i + 1] = (*pixels)[i + 2] = shade;
        (*pixels)[i + 3] = 255;
    }
    return {320, 240, 1280, pixels->data(), pixels};
}

/// A tone that is heard during the first 50 ms of each second, and silence.
inline std::vector<std::int16_t> beeps(std::int64_t firstSample, std::size_t count) {
    std::vector<std::int16_t> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto at = firstSample + static_cast<std::int64_t>(i);
        const bool isOn = at % kSoundRate < kSoundRate / 20;
        const double angle = 2 * std::numbers::pi * 1000 * static_cast<double>(at) / kSoundRate;
        samples[i] = isOn ? static_cast<std::int16_t>(12000 * std::sin(angle)) : std::int16_t{0};
    }
    return samples;
}

/// Where beeps begin, in seconds: the first loud sample after 100 ms of quiet ones.
inline std::vector<double> beginningsOfBeeps(const std::vector<std::int16_t>& samples) {
    constexpr std::int16_t kLoud = 4000;
    constexpr std::size_t kQuiet = kSoundRate / 10;
    std::vector<double> found;
    std::size_t quiet = kQuiet;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const bool isLoud = std::abs(samples[i]) > kLoud;
        if (isLoud && quiet >= kQuiet) {
            found.push_back(static_cast<double>(i) / kSoundRate);
        }
        quiet = isLoud ? 0 : quiet + 1;
    }
    return found;
}

/// Remembers what a movie output tells.
class MovieWitness final : public MovieFileOutput::Delegate {
public:
    using Path = std::filesystem::path;

    void willStartRecording(const Path&) override { add("will start"); }
    void didStartRecording(const Path&) override { add("did start"); }
    bool shouldChangeOutputFile(const Path&, const MovieError& error) override {
        add("should change: " + error.text);
        return true;
    }
    void mustChangeOutputFile(const Path&, const MovieError& error) override {
        add("must change: " + error.text);
    }
    void willFinishRecording(const Path&) override { add("will finish"); }
    void didFinishRecording(const Path&, const std::optional<MovieError>& error) override {
        const std::lock_guard lock(lock_);
        told_.push_back("did finish");
        error_ = error;
        ++finished_;
        news_.notify_all();
    }

    /// Waits for the end of as many recordings.
    [[nodiscard]] bool waitForEnd(int recordings = 1,
                                  std::chrono::seconds limit = std::chrono::seconds(10)) {
        std::unique_lock lock(lock_);
        return news_.wait_for(lock, limit, [&] { return finished_ >= recordings; });
    }
    [[nodiscard]] std::vector<std::string> told() const {
        const std::lock_guard lock(lock_);
        return told_;
    }
    [[nodiscard]] std::optional<MovieError> error() const {
        const std::lock_guard lock(lock_);
        return error_;
    }

private:
    void add(const std::string& what) {
        const std::lock_guard lock(lock_);
        told_.push_back(what);
    }

    mutable std::mutex lock_;
    std::condition_variable news_;
    std::vector<std::string> told_;
    std::optional<MovieError> error_;
    int finished_ = 0;
};

} // namespace ovelo
