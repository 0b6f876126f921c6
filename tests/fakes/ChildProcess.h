#pragma once

#include "platform/FileDescriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace ovelo::fakes {

/// A program that a test starts; killed at the end, by its id.
class ChildProcess {
public:
    explicit ChildProcess(std::vector<std::string> arguments) {
        int ends[2] = {-1, -1};
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            return;
        }
        output_.reset(ends[0]);
        const FileDescriptor itsEnd(ends[1]);
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, itsEnd.get(), STDOUT_FILENO);
        std::vector<char*> argv;
        for (auto& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        if (::posix_spawnp(&id_, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
            id_ = -1;
        }
        ::posix_spawn_file_actions_destroy(&actions);
    }
    ~ChildProcess() { kill(); }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    [[nodiscard]] bool isRunning() const { return id_ > 0; }

    /// Waits until its standard output holds `text`. return: false when it ended or the time was
    /// over before
    [[nodiscard]] bool waitForOutput(const std::string& text,
                                     std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (seen_.find(text) == std::string::npos) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            pollfd waiting{output_.get(), POLLIN, 0};
            char bytes[256];
            if (left.count() <= 0 || ::poll(&waiting, 1, static_cast<int>(left.count())) <= 0) {
                return false;
            }
            const ssize_t size = ::read(output_.get(), bytes, sizeof bytes);
            if (size <= 0) {
                return false;
            }
            seen_.append(bytes, static_cast<std::size_t>(size));
        }
        return true;
    }

    /// What waitForOutput() has read.
    [[nodiscard]] const std::string& output() const { return seen_; }

    /// Waits until it ends by itself.
    void wait() {
        if (id_ > 0) {
            ::waitpid(std::exchange(id_, -1), nullptr, 0);
        }
    }

    void signal(int number) const {
        if (id_ > 0) {
            ::kill(id_, number);
        }
    }

    void kill() {
        if (id_ > 0) {
            ::kill(id_, SIGKILL);
            ::waitpid(std::exchange(id_, -1), nullptr, 0);
        }
    }

private:
    pid_t id_ = -1;
    FileDescriptor output_;
    std::string seen_;
};

} // namespace ovelo::fakes

namespace ovelo {

using fakes::ChildProcess;

} // namespace ovelo
