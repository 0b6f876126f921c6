#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <stop_token>
#include <thread>

namespace ovelo {

/// A few threads, one for each mail, none of them left behind.
///
/// thread    any
/// lifetime  the destructor asks all to stop and waits for them
class MailThreads final {
public:
    using Task = std::function<void(const std::stop_token&)>;

    MailThreads() = default;
    ~MailThreads();
    MailThreads(const MailThreads&) = delete;
    MailThreads& operator=(const MailThreads&) = delete;

    /// Runs `task`, which does not throw, on a thread; `ended` follows on it, when the task does
    /// not count as running any more.
    ///
    /// return  false when `limit` tasks are running, or threads are no longer wanted
    /// errors  std::system_error when the system gives no more threads
    [[nodiscard]] bool start(std::size_t limit, Task task, std::function<void()> ended);

    /// Tasks that have not returned.
    [[nodiscard]] std::size_t running() const { return running_.load(); }

    /// Asks all threads to stop and waits for them; no more are started.
    void stop();

private:
    struct Entry {
        std::atomic<bool> isOver = false;
        std::jthread thread;
    };

    std::mutex lock_; // a leaf, so that who starts a mail may hold any lock
    // Guarded by lock_.
    std::list<Entry> entries_; // they stay where they are, for their threads
    bool isStopping_ = false;

    std::atomic<std::size_t> running_ = 0;
};

} // namespace ovelo
