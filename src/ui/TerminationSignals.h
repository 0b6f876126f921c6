#pragma once

#include "platform/FileDescriptor.h"

#include <functional>
#include <memory>

class QSocketNotifier;

namespace ovelo {

/// Turns SIGTERM and SIGINT into a call on the main loop.
///
/// Make one first thing in main, before any thread: from then on neither signal ends the process by
/// itself, and one that comes before the main loop runs is kept until it does.
///
/// thread  main
class TerminationSignals {
public:
    TerminationSignals();
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

    /// Calls `asked` from the main loop for every signal that came or comes. Needs the
    /// QApplication.
    void notify(std::function<void()> asked);

    /// Stops calling; needed before the QApplication ends. Signals are ignored from here on.
    void ignore();

private:
    void drain() const;

    FileDescriptor reader_;
    FileDescriptor writer_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace ovelo
