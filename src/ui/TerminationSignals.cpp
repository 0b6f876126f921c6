#include "ui/TerminationSignals.h"

#include "platform/Assert.h"

#include <QSocketNotifier>

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <utility>

namespace ovelo {

namespace {

/// Where the handler writes; a handler can reach nothing but statics.
std::atomic<int> signalDescriptor{-1};
static_assert(std::atomic<int>::is_always_lock_free);

void handleSignal(int /*number*/) {
    const int kept = errno;
    const char byte = 1;
    // A full pipe has told the main loop already, and a closed one nobody listens to.
    [[maybe_unused]] const ssize_t written = ::write(signalDescriptor, &byte, 1);
    errno = kept;
}

} // namespace

TerminationSignals::TerminationSignals() {
    std::array<int, 2> ends{};
    const int failed =
        ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data());
    OVELO_ASSERT(failed == 0, "no descriptors for the termination signals");
    reader_.reset(ends[0]);
    writer_.reset(ends[1]);
    signalDescriptor = writer_.get();

    struct sigaction action {};
    action.sa_handler = handleSignal;
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
}

TerminationSignals::~TerminationSignals() {
    // The handlers stay: a late signal must not change the exit status.
    signalDescriptor = -1;
}

void TerminationSignals::notify(std::function<void()> asked) {
    notifier_ = std::make_unique<QSocketNotifier>(reader_.get(), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [this, asked = std::move(asked)] {
                         drain();
                         asked();
                     });
}

void TerminationSignals::ignore() {
    notifier_.reset();
}

void TerminationSignals::drain() const {
    std::array<char, 16> bytes{};
    while (::read(reader_.get(), bytes.data(), bytes.size()) > 0) {
    }
}

} // namespace ovelo
