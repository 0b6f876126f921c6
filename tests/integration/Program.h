#pragma once

#include "fakes/TemporaryFolder.h"

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

/// The real ovelo in a home folder of its own, without a display.
class Program {
public:
    Program();

    /// Ends the program hard if it still runs.
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Adds lines to the settings file, as a user's editor would. Before start().
    void setting(const std::string& line);

    /// Adds a variable, NAME=VALUE. Before start().
    void variable(const std::string& assignment);

    /// Starts the program; its port is chosen by the system unless a setting says otherwise.
    void start();

    /// Starts the program with these bytes for a settings file.
    void start(const std::string& settings);

    /// Waits until viewers are accepted.
    bool waitUntilListening(std::chrono::milliseconds limit = std::chrono::seconds(10));

    /// The port that it listens on.
    [[nodiscard]] std::uint16_t port() const { return port_; }

    void signal(int number) const;

    /// The exit status, -signal when a signal ended it; nothing when it does not end in time.
    std::optional<int> waitForExit(std::chrono::milliseconds limit);

    /// SIGTERM, and the exit status within 3 seconds.
    std::optional<int> terminate();

    [[nodiscard]] bool isRunning();
    [[nodiscard]] pid_t pid() const { return pid_; }

    /// What it wrote on standard error and output.
    [[nodiscard]] std::string output() const;

    /// The event log.
    [[nodiscard]] std::string log() const;

    [[nodiscard]] std::filesystem::path home() const { return folder_.path(); }
    [[nodiscard]] std::filesystem::path settingsFile() const;

    /// The value of a key in the settings file, as it stands there.
    [[nodiscard]] std::string stored(const std::string& key) const;

private:
    [[nodiscard]] std::vector<std::string> environment() const;
    void spawn();

    TemporaryFolder folder_;
    std::vector<std::string> variables_;
    pid_t pid_ = -1;
    std::uint16_t port_ = 0;
    std::optional<int> status_;
};

/// A port on loopback that nobody listens on now.
std::uint16_t freePort();

} // namespace ovelo
