#pragma once

#include <utility>

namespace ovelo {

/// Owns one descriptor of the operating system and closes it at the end.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }

    [[nodiscard]] int get() const { return fd_; }
    [[nodiscard]] bool isOpen() const { return fd_ >= 0; }
    explicit operator bool() const { return isOpen(); }

    /// Gives the descriptor away; the caller closes it.
    [[nodiscard]] int release() { return std::exchange(fd_, -1); }

    /// Closes what is held and takes `fd`.
    void reset(int fd = -1);

private:
    int fd_ = -1;
};

} // namespace ovelo
