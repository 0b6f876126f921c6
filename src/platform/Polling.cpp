#include "platform/Polling.h"

#include <algorithm>
#include <cerrno>
#include <limits>

namespace ovelo {

namespace {

int milliseconds(std::chrono::nanoseconds time) {
    const auto rounded = std::chrono::ceil<std::chrono::milliseconds>(time).count();
    return static_cast<int>(std::clamp<std::int64_t>(rounded, 0, std::numeric_limits<int>::max()));
}

} // namespace

int pollFor(std::span<pollfd> descriptors, std::chrono::nanoseconds timeout) {
    const auto begin = std::chrono::steady_clock::now();
    auto left = timeout;
    for (;;) {
        const int count = ::poll(descriptors.data(), descriptors.size(), milliseconds(left));
        const int error = errno;
        if (count >= 0) {
            return 0;
        }
        for (pollfd& descriptor : descriptors) {
            descriptor.revents = 0;
        }
        left = timeout - (std::chrono::steady_clock::now() - begin);
        if (error != EINTR) {
            return error;
        }
        if (left <= std::chrono::nanoseconds(0)) {
            return 0;
        }
    }
}

} // namespace ovelo
