#pragma once

#include "fakes/FrameWatcher.h"
#include "platform/GstRuntime.h"
#include "platform/GstVideoDevice.h"
#include "platform/MainThread.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace ovelo {

/// Makes devices of source texts, on a main thread without an event loop.
class GstVideoFixture : public testing::Test {
protected:
    using Device = std::shared_ptr<GstVideoDevice>;

    void SetUp() override {
        GstRuntime::begin();
        MainThread::begin();
    }
    void TearDown() override { MainThread::end(); }

    /// The device's ended() texts go into ends.
    Device make(const std::string& source) {
        auto device = GstVideoDevice::make(
            {MediaType::Video, "Test source", source, {source, nullptr}},
            {disposal, [this](const std::string& line) { addLog(line); }, patience});
        device->ended().connect([this](const std::string& reason) { ends.push_back(reason); });
        return device;
    }

    [[nodiscard]] std::vector<std::string> log() {
        const std::lock_guard guard(logLock);
        return lines;
    }

    bool serveUntil(const std::function<bool()>& done,
                    std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        return MainThread::serveUntil(done, limit);
    }

    /// Serves the main thread for a while, for what must not happen.
    void serveFor(std::chrono::milliseconds time) {
        serveUntil([] { return false; }, time);
    }

    static std::size_t entriesOf(const char* folder) {
        std::size_t entries = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) {
            ++entries;
        }
        return entries;
    }

    GstPatience patience;
    std::vector<std::string> ends;
    FrameWatcher watcher;
    std::shared_ptr<GstDisposal> disposal = std::make_shared<GstDisposal>();

private:
    void addLog(const std::string& line) {
        const std::lock_guard guard(logLock);
        lines.push_back(line);
    }

    std::mutex logLock;
    std::vector<std::string> lines;
};

} // namespace ovelo
