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
    void stopPlayback() override { note("stopPlayback"); }
    void rotateLeft() override { note("rotateLeft"); }
    void rotateRight() override { note("rotateRight"); }
    void clientDisconnected() override { note("clientDisconnected"); }

    std::vector<std::string> calls() const {
        const std::lock_guard lock(lock_);
        return calls_;
    }

    std::function<void()> choosing; // what choosing a source takes, if anything
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
