#include "viewer/LineInput.h"

#include "platform/Polling.h"
#include "platform/Threads.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

namespace ovelo {

namespace {

constexpr std::chrono::seconds kTurn{1}; // between looks at who has the terminal

bool mayRead(int fd) {
    return ::isatty(fd) == 0 || ::tcgetpgrp(fd) == ::getpgrp();
}

} // namespace

LineInput::LineInput(int fd, std::function<void(const std::string&)> line)
    : fd_(fd)
    , line_(std::move(line))
    , wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , thread_([this](const std::stop_token& stop) {
        settleThread("viewer-input");
        run(stop);
    }) {
}

LineInput::~LineInput() {
    thread_.request_stop();
    ::eventfd_write(wake_.get(), 1);
    thread_.join();
}

void LineInput::run(const std::stop_token& stop) {
    while (!stop.stop_requested() && readSome(stop)) {
    }
    if (!stop.stop_requested() && !begun_.empty()) {
        finishLine();
    }
}

/// return  false when there will be nothing more
bool LineInput::readSome(const std::stop_token& stop) {
    const bool mine = mayRead(fd_);
    std::array<pollfd, 2> waiting{pollfd{wake_.get(), POLLIN, 0},
                                  pollfd{mine ? fd_ : -1, POLLIN, 0}};
    pollFor(waiting, kTurn);
    if (stop.stop_requested() || waiting[1].revents == 0) {
        return true;
    }
    return take();
}

bool LineInput::take() {
    std::array<char, 4096> buffer{};
    const ssize_t count = ::read(fd_, buffer.data(), buffer.size());
    const int error = errno;
    if (count <= 0) {
        return count < 0 && (error == EINTR || error == EAGAIN);
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
        if (buffer[i] == '\n') {
            finishLine();
        } else if (begun_.size() < kMaxLine) {
            begun_.push_back(buffer[i]);
        } else {
            tooLong_ = true;
        }
    }
    return true;
}

void LineInput::finishLine() {
    const std::string line = std::exchange(begun_, {});
    if (!std::exchange(tooLong_, false)) {
        line_(line);
    }
}

} // namespace ovelo
