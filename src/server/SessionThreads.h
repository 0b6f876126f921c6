#pragma once

#include "platform/Mutex.h"

#include <cstddef>
#include <functional>
#include <list>
#include <thread>

namespace ovelo {

/// Runs sessions, each on a thread of its own, and joins every one of them.
///
/// A thread that ends joins the one that ended before it, so that at most one ended thread waits to
/// be joined.
///
/// thread  any
class SessionThreads {
public:
    SessionThreads() = default;

    /// Waits for all.
    ~SessionThreads();
    SessionThreads(const SessionThreads&) = delete;
    SessionThreads& operator=(const SessionThreads&) = delete;

    /// errors  std::system_error when the system gives no more threads
    void start(std::function<void()> run);

    /// Threads whose function has not returned.
    [[nodiscard]] std::size_t running() const;

    /// Waits until no thread is left. No more are started meanwhile.
    void join();

private:
    using Threads = std::list<std::jthread>;

    void run(const std::function<void()>& function, Threads::iterator self);
    void retire(Threads::iterator self);

    mutable Mutex lock_{LockRank::Threads};
    Threads running_ OVELO_GUARDED_BY(lock_);
    std::jthread ended_ OVELO_GUARDED_BY(lock_);
};

} // namespace ovelo
