#include "platform/PictureFile.h"

#include "platform/Assert.h"
#include "platform/Data.h"
#include "platform/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <system_error>

namespace ovelo::picturefile {

namespace {

Failure failureOf(const std::filesystem::path& path, const char* what, int error) {
    return Failure{path.string() + " " + what + ": " + std::generic_category().message(error)};
}

/// Red, green, blue, alpha to alpha, red, green, blue.
Bytes alphaFirst(std::span<const std::uint8_t> rgba) {
    Bytes argb(rgba.size());
    for (std::size_t i = 0; i < rgba.size(); i += 4) {
        argb[i] = rgba[i + 3];
        argb[i + 1] = rgba[i];
        argb[i + 2] = rgba[i + 1];
        argb[i + 3] = rgba[i + 2];
    }
    return argb;
}

/// And back, over black: a camera's picture is opaque.
void opaqueAlphaLast(Bytes& pixels) {
    for (std::size_t i = 0; i < pixels.size(); i += 4) {
        pixels[i] = pixels[i + 1];
        pixels[i + 1] = pixels[i + 2];
        pixels[i + 2] = pixels[i + 3];
        pixels[i + 3] = 0xff;
    }
}

/// return  0, or the reason
int writeAll(int file, std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(file, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        bytes = bytes.subspan(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return 0;
}

bool readAll(int file, Bytes& bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
        const ssize_t count = ::read(file, bytes.data() + at, bytes.size() - at);
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return false;
        }
        at += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return true;
}

Stamp stampOf(const struct stat& status) {
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
            status.st_mtim.tv_nsec};
}

} // namespace

std::optional<Failure> write(const std::filesystem::path& path,
                             std::span<const std::uint8_t> rgba) {
    OVELO_ASSERT(rgba.size() == kSize, "a picture fills its file");
    std::string draft = path.string() + ".XXXXXX";
    const FileDescriptor file(::mkostemp(draft.data(), O_CLOEXEC));
    if (!file) {
        return failureOf(path, "cannot be written", errno);
    }
    int error = writeAll(file.get(), alphaFirst(rgba));
    if (error == 0 && ::rename(draft.c_str(), path.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(draft.c_str());
        return failureOf(path, "cannot be written", error);
    }
    return std::nullopt;
}

Stamp stampOf(const std::filesystem::path& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 ? stampOf(status) : Stamp();
}

Result<Picture> read(const std::filesystem::path& path) {
    // Without a wait for the other end, should it be a pipe.
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) {
        return failureOf(path, "cannot be read", errno);
    }
    if (!S_ISREG(status.st_mode) || status.st_uid != ::geteuid()) {
        return Failure{path.string() + " is no file of ours"};
    }
    const Stamp before = stampOf(status);
    auto pixels = std::make_shared<Bytes>(kSize);
    if (status.st_size != kSize || !readAll(file.get(), *pixels) ||
        ::fstat(file.get(), &status) != 0 || stampOf(status) != before) {
        return Failure{path.string() + " is being written"};
    }
    opaqueAlphaLast(*pixels);
    const std::uint8_t* data = pixels->data();
    return Picture{{kWidth, kHeight, kBytesPerRow, data, std::move(pixels)}, before};
}

} // namespace ovelo::picturefile
