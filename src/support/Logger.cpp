#include "support/Logger.h"

#include "platform/FileDescriptor.h"
#include "platform/Folders.h"
#include "platform/Settings.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <string>
#include <system_error>

namespace ovelo {

namespace {

/// As in 2010-03-01 14:05:09 +0100.
std::string dateText() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    std::array<char, 40> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S %z", &local)};
}

/// Writes all that the disk takes; a full one loses the rest of the entry.
void appendTo(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace

Logger& Logger::sharedInstance() {
    static Logger instance(pathIn(folders::documents()), Settings::sharedInstance());
    return instance;
}

std::filesystem::path Logger::pathIn(const std::filesystem::path& documents) {
    // The bare file name would be a file in whatever folder the program was started from.
    return documents.empty() ? std::filesystem::path() : documents / "ovelo.log";
}

Logger::Logger(std::filesystem::path file, const Settings& settings)
    : path_(std::move(file))
    , settings_(settings) {
}

void Logger::write(std::string_view message) {
    if (!settings_.boolean("log_events")) {
        return;
    }
    const MutexLock lock(lock_);
    const std::string entry = dateText() + ": " + std::string(message);
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY;
    const FileDescriptor file(::open(path_.c_str(), kFlags, S_IRUSR | S_IWUSR));
    if (file) {
        appendTo(file.get(), entry);
    }
}

void Logger::clear() {
    const MutexLock lock(lock_);
    std::error_code ignored; // a log that is not there is clear
    std::filesystem::remove(path_, ignored);
}

} // namespace ovelo
