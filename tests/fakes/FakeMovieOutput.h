#pragma once

#include "platform/MovieFileOutput.h"

#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace ovelo {

/// A movie output that writes a text, on a thread of its own as the real one does.
class FakeMovieOutput final : public MovieFileOutput {
public:
    FakeMovieOutput() = default;
    ~FakeMovieOutput() override {
        recordToOutputFile(std::nullopt);
        FakeMovieOutput::waitForEnd();
    }

    void setDelegate(Delegate* delegate) override { delegate_ = delegate; }
    std::vector<Connection> connections() const override {
        return {{MediaType::Video, {}}, {MediaType::Sound, {}}, {MediaType::Muxed, {}}};
    }
    void setCompressionOptions(MediaType mediaType, const std::string& preset) override {
        options[mediaType] = preset;
    }
    void recordToOutputFile(const std::optional<Path>& file) override {
        if (file) {
            files.push_back(*file);
            setFile(file);
            delegate_->willStartRecording(*file);
            std::ofstream(*file) << "movie";
            delegate_->didStartRecording(*file);
            return;
        }
        if (outputFile() && !thread_.joinable()) {
            thread_ = std::thread([this, path = *outputFile()] { end(path); });
        }
    }
    void waitForEnd() override {
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    std::optional<Path> outputFile() const override {
        const std::lock_guard lock(lock_);
        return file_;
    }
    std::uint64_t recordedFileSize() const override { return 5; }
    std::string recordedDuration() const override { return "00:00:01.500"; }
    void takePicture(const VideoFrame&, Steady) override { ++pictures; }
    void takeSound(const SoundBlock& block) override { samples += block.samples.size(); }

    std::map<MediaType, std::string> options;
    std::vector<Path> files;
    std::optional<MovieError> error; // with which recordings end
    int pictures = 0;
    std::size_t samples = 0;

private:
    void end(const Path& path) {
        if (error) {
            delegate_->mustChangeOutputFile(path, *error);
            shouldChange = delegate_->shouldChangeOutputFile(path, *error);
        }
        delegate_->willFinishRecording(path);
        setFile(std::nullopt);
        delegate_->didFinishRecording(path, error);
    }
    void setFile(const std::optional<Path>& file) {
        const std::lock_guard lock(lock_);
        file_ = file;
    }

    Delegate* delegate_ = nullptr;
    mutable std::mutex lock_;
    std::optional<Path> file_;
    std::thread thread_;

public:
    bool shouldChange = false;
};

} // namespace ovelo
