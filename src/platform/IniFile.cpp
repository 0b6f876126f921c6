#include "platform/IniFile.h"

#include "platform/FileDescriptor.h"
#include "platform/IniText.h"

#include <QLockFile>
#include <QSettings>
#include <QString>
#include <QStringList>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>

namespace ovelo {

namespace fs = std::filesystem;

namespace {

constexpr off_t kMaxSize = 8 << 20; // a settings file has a few kilobytes
constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
constexpr int kLockTimeout = 2000; // Milliseconds.

std::string text(int error) {
    return std::strerror(error); // NOLINT(concurrency-mt-unsafe): thread-safe in glibc
}

QString qtPath(const fs::path& path) {
    return QString::fromStdString(path.string());
}

Settings::Array itemsOf(const QVariant& value) {
    const bool isList =
        value.typeId() == QMetaType::QStringList || value.typeId() == QMetaType::QVariantList;
    Settings::Array items;
    if (!isList && value.isValid()) { // not valid: how Qt writes an empty list
        items.push_back(value.toString().toStdString());
    }
    for (const QString& item : isList ? value.toStringList() : QStringList()) {
        items.push_back(item.toStdString());
    }
    return items;
}

/// An array of one is written as a plain text, for it reads back as one.
QVariant variantOf(const Settings::Array& items) {
    if (items.size() == 1) {
        return QString::fromStdString(items.front());
    }
    QStringList list;
    for (const auto& item : items) {
        list.append(QString::fromStdString(item));
    }
    return list;
}

/// Bytes of a regular file of bearable size.
Result<std::string> contentOf(int fd, const struct stat& status) {
    std::string content(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t length = 0;
    while (length < content.size()) {
        const auto count = ::read(fd, content.data() + length, content.size() - length);
        const int error = errno;
        if (count < 0 && error != EINTR) {
            return Failure{text(error)};
        }
        if (count == 0) {
            break;
        }
        length += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    content.resize(length);
    return content;
}

/// Lets Qt read `content` from a file in memory.
///
/// Qt parses a file again only when its size or its time is another one, and does not see a change
/// that keeps both. So each copy gets a time of its own.
Result<IniFile::Values> parsed(const std::string& content) {
    static std::atomic<std::time_t> uniqueTime = 1;
    const FileDescriptor copy(::memfd_create("settings", MFD_CLOEXEC));
    const timespec moment{uniqueTime++, 0};
    const timespec times[] = {moment, moment};
    if (!copy || ::write(copy.get(), content.data(), content.size()) != std::ssize(content) ||
        ::futimens(copy.get(), times) != 0) {
        return Failure{text(errno)};
    }
    const QSettings settings(QStringLiteral("/proc/self/fd/%1").arg(copy.get()),
                             QSettings::IniFormat);
    IniFile::Values values;
    for (const QString& key : settings.allKeys()) {
        values.emplace(key.toStdString(), itemsOf(settings.value(key)));
    }
    return values;
}

/// Makes an empty file for the owner alone, with its folder, when there is none.
std::optional<Failure> create(const fs::path& path) {
    const fs::path folder = path.parent_path();
    std::error_code failure;
    fs::create_directories(folder.parent_path(), failure);
    if (::mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        return Failure{folder.string() + " cannot be made: " + text(errno)};
    }
    const FileDescriptor file(
        ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, kOwnerOnly));
    if (!file && errno != EEXIST) {
        return Failure{path.string() + " cannot be made: " + text(errno)};
    }
    return std::nullopt;
}

std::string timeStamp() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char digits[16] = {};
    std::strftime(digits, sizeof digits, "%Y%m%d%H%M%S", &local);
    return digits;
}

fs::path unusedName(const fs::path& path) {
    const std::string name = path.string() + ".damaged-" + timeStamp();
    fs::path unused = name;
    for (int n = 2; fs::exists(fs::symlink_status(unused)); ++n) {
        unused = fmt::format("{}-{}", name, n);
    }
    return unused;
}

} // namespace

IniFile::Content IniFile::read() const {
    // Not blocking: something else than a file may stand there.
    const FileDescriptor file(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    const int error = errno;
    if (!file) {
        const bool missing = error == ENOENT || error == ENOTDIR;
        return {missing ? Condition::Missing : Condition::Unreadable, {}, text(error)};
    }
    struct stat status {};
    if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return {Condition::Unreadable, {}, "it is not a file"};
    }
    if (status.st_size > kMaxSize) {
        return {Condition::Damaged, {}, "it is too large"};
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        // Not ours, or on a medium that nobody writes: then it stays as it is, and is read all the
        // same.
        static_cast<void>(::fchmod(file.get(), status.st_mode & S_IRWXU));
    }
    const auto content = contentOf(file.get(), status);
    if (!content) {
        return {Condition::Unreadable, {}, content.error()};
    }
    if (const auto damage = damageOfIniText(content.value())) {
        return {Condition::Damaged, {}, *damage};
    }
    const auto values = parsed(content.value());
    return values ? Content{Condition::Good, values.value(), {}}
                  : Content{Condition::Unreadable, {}, values.error()};
}

std::optional<Failure> IniFile::write(const Changes& changes) const {
    if (auto failure = create(path_)) {
        return failure;
    }
    QSettings settings(qtPath(path_), QSettings::IniFormat);
    for (const auto& [key, items] : changes) {
        const QString name = QString::fromStdString(key);
        if (items) {
            settings.setValue(name, variantOf(*items));
        } else {
            settings.remove(name);
        }
    }
    settings.sync();
    if (settings.status() == QSettings::AccessError) {
        return Failure{path_.string() + " cannot be written"};
    }
    return std::nullopt;
}

Result<fs::path> IniFile::setAside() const {
    QLockFile lock(qtPath(path_) +
                   QLatin1String(".lock")); // the one that Qt takes to write the file
    if (!lock.tryLock(kLockTimeout)) {
        return Failure{path_.string() + " cannot be locked"};
    }
    if (read().condition != Condition::Damaged) {
        return Failure{"another process has repaired " + path_.string()};
    }
    const fs::path aside = unusedName(path_);
    if (::rename(path_.c_str(), aside.c_str()) != 0) {
        return Failure{path_.string() + " cannot be renamed: " + text(errno)};
    }
    return aside;
}

} // namespace ovelo
