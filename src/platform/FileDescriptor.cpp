#include "platform/FileDescriptor.h"

#include <unistd.h>

namespace ovelo {

void FileDescriptor::reset(int fd) {
    const int old = std::exchange(fd_, fd);
    if (old >= 0 && old != fd) {
        ::close(old);
    }
}

} // namespace ovelo
