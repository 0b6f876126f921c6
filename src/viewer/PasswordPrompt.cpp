#include "viewer/PasswordPrompt.h"

#include "platform/FileDescriptor.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

namespace ovelo {

namespace {

constexpr char kCtrlC = 3;
constexpr char kCtrlD = 4;
constexpr char kBackspace = 8;
constexpr char kClearLine = 21; // Ctrl+U
constexpr char kDelete = 127;

/// Key by key and unseen as long as it lives. Ctrl+C arrives as a key, so that no way out leaves
/// the terminal mute.
class SilentTerminal {
public:
    explicit SilentTerminal(int fd) : fd_(fd) {
        valid_ = ::tcgetattr(fd, &before_) == 0;
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | ISIG);
        silent.c_cc[VMIN] = 1;
        silent.c_cc[VTIME] = 0;
        valid_ = valid_ && ::tcsetattr(fd, TCSAFLUSH, &silent) == 0;
    }
    ~SilentTerminal() {
        if (valid_) {
            ::tcsetattr(fd_, TCSAFLUSH, &before_);
        }
    }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

    [[nodiscard]] bool isValid() const { return valid_; }

private:
    int fd_;
    bool valid_ = false;
    termios before_{};
};

void print(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(fd, text.data(), text.size());
        if (count <= 0) {
            return; // the question is not seen; the answer still counts
        }
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

/// Removes the last character, which may be several bytes of UTF-8.
void removeLast(std::string& text) {
    while (!text.empty() && (static_cast<unsigned char>(text.back()) & 0xC0U) == 0x80U) {
        text.pop_back();
    }
    if (!text.empty()) {
        text.pop_back();
    }
}

std::optional<std::string> readAnswer(int fd) {
    std::string answer;
    char key = 0;
    for (;;) {
        const ssize_t count = ::read(fd, &key, 1);
        const int error = errno;
        if (count < 0 && error == EINTR) {
            continue;
        }
        if (count <= 0 || key == kCtrlC || key == kCtrlD) {
            return std::nullopt;
        }
        if (key == '\n' || key == '\r') {
            return answer.empty() ? std::nullopt : std::optional(answer);
        }
        if (key == kBackspace || key == kDelete) {
            removeLast(answer);
        } else if (key == kClearLine) {
            answer.clear();
        } else {
            answer.push_back(key);
        }
    }
}

} // namespace

std::optional<std::string> askPassword(const std::string& question) {
    const FileDescriptor terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (!terminal) {
        return std::nullopt;
    }
    const SilentTerminal silent(terminal.get());
    if (!silent.isValid()) {
        return std::nullopt;
    }
    print(terminal.get(), question);
    auto answer = readAnswer(terminal.get());
    print(terminal.get(), "\n");
    return answer;
}

} // namespace ovelo
