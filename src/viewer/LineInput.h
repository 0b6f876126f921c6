#pragma once

#include "platform/FileDescriptor.h"

#include <functional>
#include <stop_token>
#include <string>
#include <thread>

namespace ovelo {

/// Reads lines from a terminal or a pipe, on a thread of its own.
///
/// A terminal is only read while this process is in its foreground: else it would be stopped.
class LineInput {
public:
    /// The longest line; what is longer is left out.
    static constexpr std::size_t kMaxLine = 64 * 1024;

    /// fd    stays the caller's and outlives this
    /// line  called with each line, without its line feed, on the reader's thread; the last one may
    ///       do without a line feed
    LineInput(int fd, std::function<void(const std::string&)> line);
    ~LineInput();
    LineInput(const LineInput&) = delete;
    LineInput& operator=(const LineInput&) = delete;

private:
    void run(const std::stop_token& stop);
    bool readSome(const std::stop_token& stop);
    bool take();
    void finishLine();

    const int fd_;
    const std::function<void(const std::string&)> line_;
    FileDescriptor wake_;
    std::string begun_;    // the beginning of a line
    bool tooLong_ = false; // it is
    std::jthread thread_;  // last: uses the rest
};

} // namespace ovelo
