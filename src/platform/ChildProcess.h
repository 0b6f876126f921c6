#pragma once

#include "platform/Data.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ovelo {

/// A program that runs beside ours for a while: it is given bytes, it may fail, and it ends at the
/// latest when its time is over.
///
/// What it prints is dropped, but for the last line of its standard error. It has a process group
/// of its own, which ends with it when it is made to end, and none of our open files.
///
/// thread  main, with a running event loop
class ChildProcess {
public:
    struct Request {
        /// The program, found in PATH, and its arguments: split at blanks outside quotation marks
        /// ("); three of them are one mark itself. No shell sees it.
        std::string command;
        /// Added to our environment.
        std::vector<std::pair<std::string, std::string>> environment;
        /// Its standard input; it need not read it. May be null.
        Data input;
        /// After which it is told to end (SIGTERM), and two seconds later made to (SIGKILL).
        std::chrono::milliseconds limit;
    };

    /// How it ended.
    struct Ending {
        std::optional<std::string> failure; // nothing when its exit status was 0
        std::string lastErrorLine;          // printable; at most 200 bytes
    };

    ChildProcess() = default;
    /// Kills it when it still runs.
    virtual ~ChildProcess() = default;
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Starts it, without waiting for anything.
    ///
    /// ended  called once, on the main thread, unless the object is destroyed before; perhaps before
    ///        start() returns. Does not throw, and does not destroy the object
    static std::unique_ptr<ChildProcess> start(const Request& request,
                                               std::function<void(const Ending&)> ended);

    /// The program that a command names; empty when it names none. Any thread.
    static std::string programOf(const std::string& command);

    /// Tells it to end. Harmless when it has.
    virtual void terminate() = 0;

    /// Waits, and tells whether it has ended.
    virtual bool waitUntilEnded(std::chrono::milliseconds limit) = 0;
};

} // namespace ovelo
