#pragma once

#include "server/ViewerDocument.h"

#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace ovelo {

/// A document that remembers what viewers asked of it.
class FakeDocument final : public ViewerDocument {
public:
    std::string getDataSource() override { return dataSource; }
    void setDataSource(const std::string& source) override {
        note("setDataSource " + source);
        if (choosing) {
            choosing();
        }
    }
    std::string getRecordedList() override { return recordedList; }
    void setStartRecording(bool start) override {
        note(start ? "startRecording" : "stopRecording");
    }
    void startPlayback(const std::string& name) override { note("startPlayback " + name); }
    void stopPlayback() override { note("stopPlayback"); }
    std::string getAudioParameters() override { return audioParameters; }
    void setAudioFormat(int format) override { note("setAudioFormat " + std::to_string(format)); }
    void rotateLeft() override { note("rotateLeft"); }
    void rotateRight() override { note("rotateRight"); }
    void clientDisconnected() override { note("clientDisconnected"); }

    std::vector<std::string> calls() const {
        const std::lock_guard lock(lock_);
        return calls_;
    }

    std::function<void()> choosing; // what choosing a source takes, if anything
    std::string recordedList = "RECORDED_LIST\n";
    std::string audioParameters = "CONFIG_AUDIO,8000.000000\n";
    std::string dataSource = "DATA_SOURCE|Camera A|id|v|1\n";

private:
    void note(const std::string& call) {
        const std::lock_guard lock(lock_);
        calls_.push_back(call);
    }

    mutable std::mutex lock_;
    std::vector<std::string> calls_;
};

} // namespace ovelo
