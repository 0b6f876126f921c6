#include "platform/Console.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <string>

namespace ovelo::console {

namespace {

std::atomic<bool> silent = false;

bool isControl(char letter) {
    return static_cast<unsigned char>(letter) < ' ' || letter == '\x7f';
}

void writeTo(int fd, std::string_view line) {
    if (silent) {
        return;
    }
    pollfd console{fd, POLLOUT, 0};
    if (::poll(&console, 1, 0) != 1 || (console.revents & POLLOUT) == 0) {
        return;
    }
    std::string text(line);
    std::replace_if(text.begin(), text.end(), isControl,
                    '?'); // a peer's bytes must not steer the terminal
    text += '\n';
    [[maybe_unused]] const ssize_t written = ::write(fd, text.data(), text.size());
}

} // namespace

void silence() {
    silent = true;
}

void write(std::string_view line) {
    writeTo(STDERR_FILENO, line);
}

void writeOutput(std::string_view line) {
    writeTo(STDOUT_FILENO, line);
}

} // namespace ovelo::console
