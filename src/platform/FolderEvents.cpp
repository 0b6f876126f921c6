#include "platform/FolderEvents.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstdint>

namespace ovelo {

namespace {

/// Empties a descriptor that never waits. What is read does not matter: who was woken looks himself.
void drain(int descriptor) {
    std::array<char, 4096> bytes{};
    while (::read(descriptor, bytes.data(), bytes.size()) > 0) {
    }
}

} // namespace

FolderEvents::FolderEvents(const std::filesystem::path& folder)
    : events_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
    , woken_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (events_) {
        ::inotify_add_watch(events_.get(), folder.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO);
    }
}

void FolderEvents::wait(std::chrono::milliseconds limit) {
    // A descriptor that could not be made is negative, and poll leaves it out.
    std::array<pollfd, 2> waiting{{{events_.get(), POLLIN, 0}, {woken_.get(), POLLIN, 0}}};
    if (::poll(waiting.data(), waiting.size(), static_cast<int>(limit.count())) > 0) {
        drain(events_.get());
        drain(woken_.get());
    }
}

void FolderEvents::wake() {
    const std::uint64_t one = 1;
    // A counter that is full has been heard.
    [[maybe_unused]] const auto size = ::write(woken_.get(), &one, sizeof one);
}

} // namespace ovelo
