#pragma once

#include "fakes/FakeClock.h"
#include "fakes/FakeMovie.h"
#include "fakes/TestLog.h"
#include "platform/MainThread.h"
#include "playback/PlaybackEnvironment.h"
#include "playback/PlaybackSink.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace ovelo {

/// Notes what viewers get.
class NotingSink final : public PlaybackSink {
public:
    void sendText(const std::string& text) override {
        const std::lock_guard guard(lock_);
        texts_.push_back(text);
    }
    void sendImageData(const Data& jpeg) override {
        EXPECT_TRUE(MainThread::isCurrent());
        EXPECT_TRUE(jpeg);
        ++pictures_;
    }

    [[nodiscard]] std::vector<std::string> texts() const {
        const std::lock_guard guard(lock_);
        return texts_;
    }
    [[nodiscard]] int pictures() const { return pictures_; }

private:
    mutable std::mutex lock_;
    std::vector<std::string> texts_;
    std::atomic<int> pictures_ = 0;
};

/// Plays fake movies by a fake clock, which goes on by each pause. A fixture's user chooses the
/// main thread.
class PlaybackFixture : public ::testing::Test {
protected:
    PlaybackEnvironment environment() {
        return {sink_,
                log_.log(),
                clock_,
                [this](const std::filesystem::path& file,
                       const std::stop_token&) -> Result<std::unique_ptr<Movie>> {
                    {
                        const std::lock_guard guard(filesLock_);
                        files_.push_back(file);
                    }
                    if (file.filename() == "missing.mov") {
                        return Failure{"There is no such file."};
                    }
                    return std::unique_ptr<Movie>(std::make_unique<FakeMovie>(movies_));
                },
                [this](const VideoFrame&) -> Result<Data> {
                    EXPECT_TRUE(MainThread::isCurrent());
                    if (!isEncodable_) {
                        return Failure{"no picture to encode"};
                    }
                    return makeData({1, 2, 3});
                },
                [this](std::chrono::milliseconds time, const std::stop_token&) {
                    clock_.advance(time);
                }};
    }
    /// The same by the computer's clock, with real pauses.
    PlaybackEnvironment realTime() {
        auto parts = environment();
        return {parts.sink,      parts.log,         Clock::system(),
                parts.openMovie, parts.makePicture, nullptr};
    }
    std::vector<std::filesystem::path> files() {
        const std::lock_guard guard(filesLock_);
        return files_;
    }
    /// The log's messages without their dates.
    std::vector<std::string> messages() {
        std::vector<std::string> found;
        std::istringstream lines(log_.text());
        for (std::string line; std::getline(lines, line);) {
            const auto start = line.find(": ");
            found.push_back(start == std::string::npos ? line : line.substr(start + 2));
        }
        return found;
    }

    const std::vector<std::string> kDone{"PLAYBACK_DONE\n"};
    const std::vector<std::string> kNothing;

    NotingSink sink_;
    TestLog log_;
    FakeClock clock_;
    FakeMovies movies_;
    std::atomic<bool> isEncodable_ = true;

private:
    std::mutex filesLock_;
    std::vector<std::filesystem::path> files_;
};

} // namespace ovelo
