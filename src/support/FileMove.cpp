#include "support/FileMove.h"

#include "platform/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace ovelo {

namespace {

namespace fs = std::filesystem;

Failure failed(const fs::path& file, int error) {
    return Failure{file.string() + ": " + std::strerror(error)};
}

/// Renames where nothing has the new name. return: 0 or what errno says
int renameToFree(const fs::path& from, const fs::path& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    const int error = errno;
    if (error != EINVAL && error != ENOSYS) {
        return error;
    }
    // A file system that cannot do both at once: a second name is never given to one in use.
    if (::link(from.c_str(), to.c_str()) == 0) {
        ::unlink(from.c_str());
        return 0;
    }
    if (errno != EPERM && errno != EOPNOTSUPP) {
        return errno;
    }
    // Nor does it know second names.
    struct stat there {};
    if (::lstat(to.c_str(), &there) == 0) {
        return EEXIST;
    }
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

bool writeAll(int fd, const char* bytes, std::size_t size) {
    while (size > 0) {
        const ssize_t count = ::write(fd, bytes, size);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        if (count > 0) {
            bytes += count;
            size -= static_cast<std::size_t>(count);
        }
    }
    return true;
}

/// return: 0 or what errno says
int copyContent(int from, int to, const std::stop_token& stop) {
    constexpr std::size_t kStep = 1U << 20U;
    std::vector<char> bytes(kStep);
    while (true) {
        if (stop.stop_requested()) {
            return ECANCELED;
        }
        const ssize_t count = ::read(from, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0 ||
            (count > 0 && !writeAll(to, bytes.data(), static_cast<std::size_t>(count)))) {
            return errno;
        }
        if (count == 0) {
            return ::fsync(to) == 0 ? 0 : errno;
        }
    }
}

void syncFolder(const fs::path& folder) {
    const FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ::fsync(descriptor.get()); // best effort: the file is there in any case
}

std::optional<Failure> copyAcross(const fs::path& from, const fs::path& to,
                                  const std::stop_token& stop) {
    const FileDescriptor source(::open(from.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!source.isOpen()) {
        return failed(from, errno);
    }
    const fs::path part = to.string() + ".part";
    ::unlink(part.c_str()); // of a copy that was killed
    const FileDescriptor target(::open(
        part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!target.isOpen()) {
        return failed(part, errno);
    }
    int error = copyContent(source.get(), target.get(), stop);
    if (error == 0) {
        error = renameToFree(part, to);
    }
    if (error != 0) {
        ::unlink(part.c_str());
        return failed(to, error);
    }
    syncFolder(to.parent_path());
    ::unlink(from.c_str());
    return std::nullopt;
}

} // namespace

std::optional<Failure> moveFile(const fs::path& from, const fs::path& to,
                                const std::stop_token& stop) {
    const int error = renameToFree(from, to);
    if (error == EXDEV) {
        return copyAcross(from, to, stop);
    }
    return error == 0 ? std::nullopt : std::optional(failed(to, error));
}

} // namespace ovelo
