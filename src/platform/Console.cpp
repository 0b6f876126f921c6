#include "platform/Console.h"

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <string>

namespace ovelo::console {

namespace {

std::atomic<bool> silent = false;

} // namespace

void silence() {
    silent = true;
}

void write(std::string_view line) {
    if (silent) {
        return;
    }
    pollfd console{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&console, 1, 0) != 1 || (console.revents & POLLOUT) == 0) {
        return;
    }
    const std::string text = std::string(line) + '\n';
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
}

} // namespace ovelo::console
