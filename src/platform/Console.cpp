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
    std::string text(line);
    std::replace_if(text.begin(), text.end(), isControl,
                    '?'); // a peer's bytes must not steer the terminal
    text += '\n';
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
}

} // namespace ovelo::console
