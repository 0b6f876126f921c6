#pragma once

#include "fakes/TemporaryFolder.h"
#include "platform/MemorySettings.h"
#include "support/Logger.h"

#include <string>

namespace ovelo {

/// An event log that is on, in a scratch folder.
class TestLog {
public:
    TestLog() { settings_.setBoolean("log_events", true); }

    Logger& log() { return log_; }

    /// All that was written, dates included.
    std::string text() const { return readFile(folder_.path() / "ovelo.log"); }
    bool contains(const std::string& part) const { return text().find(part) != std::string::npos; }

private:
    TemporaryFolder folder_;
    MemorySettings settings_;
    Logger log_{folder_.path() / "ovelo.log", settings_};
};

} // namespace ovelo
