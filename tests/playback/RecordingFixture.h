#pragma once

#include "capture/ViewerPicture.h"
#include "fakes/TemporaryFolder.h"
#include "fakes/TestMovies.h"
#include "platform/Clock.h"
#include "platform/Jpeg.h"
#include "platform/MemorySettings.h"
#include "platform/Movie.h"
#include "playback/PlaybackControl.h"
#include "playback/PlaybackSink.h"
#include "support/Logger.h"

#include <gtest/gtest.h>

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

namespace ovelo {

/// Notes which pictures and texts viewers get, and when.
class ReadingSink final : public PlaybackSink {
public:
    using Moment = std::chrono::steady_clock::time_point;

    struct Sent {
        int number; // of the picture; -1 when it cannot be read
        Moment when;
    };

    void sendText(const std::string& text) override {
        const std::lock_guard guard(lock_);
        texts_.push_back(text);
        end_ = std::chrono::steady_clock::now();
    }
    void sendImageData(const Data& jpeg) override {
        const auto picture = jpeg::decode(*jpeg);
        EXPECT_TRUE(picture);
        const std::lock_guard guard(lock_);
        sent_.push_back(
            {NumberedPicture::numberOf(picture.value()), std::chrono::steady_clock::now()});
        last_ = picture.value();
    }

    [[nodiscard]] std::vector<Sent> sent() const {
        const std::lock_guard guard(lock_);
        return sent_;
    }
    [[nodiscard]] std::vector<std::string> texts() const {
        const std::lock_guard guard(lock_);
        return texts_;
    }
    [[nodiscard]] Moment end() const {
        const std::lock_guard guard(lock_);
        return end_;
    }
    [[nodiscard]] VideoFrame last() const {
        const std::lock_guard guard(lock_);
        return last_;
    }
    void clear() {
        const std::lock_guard guard(lock_);
        sent_.clear();
        texts_.clear();
    }

private:
    mutable std::mutex lock_;
    std::vector<Sent> sent_;
    std::vector<std::string> texts_;
    Moment end_;
    VideoFrame last_;
};

/// Plays real movies. The user chooses the main thread.
class RecordingFixture : public ::testing::Test {
protected:
    PlaybackControl makeControl() {
        return PlaybackControl(
            {sink_, log_, Clock::system(), Movie::open,
             [this](const VideoFrame& picture) { return viewerpicture::plain(picture, settings_); },
             nullptr},
            [this] { return folder_.path(); });
    }
    void makeRecording(const std::string& name, int pictures, int rate,
                       const std::string& options) {
        ASSERT_TRUE(makeMovie(folder_.path() / name, pictures, rate, options));
    }

    TemporaryFolder folder_;
    MemorySettings settings_;
    Logger log_{folder_.path() / "ovelo.log", settings_};
    ReadingSink sink_;
};

} // namespace ovelo
