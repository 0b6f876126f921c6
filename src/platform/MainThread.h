#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace ovelo {

/// Runs calls on the main thread, where the window, the devices and the timers live.
///
/// Knows no event loop: whoever owns one calls begin() with a function that wakes it, and serve()
/// when woken. After end() nobody waits for the main thread any more.
class MainThread {
public:
    using Task = std::function<void()>;

    MainThread() = delete;

    /// Makes the calling thread the main thread.
    ///
    /// wake  called from any thread when serve() has something to do; empty for a thread that polls
    static void begin(Task wake = {});

    /// Gives up all waiting and future calls: they return without having run.
    static void end();

    [[nodiscard]] static bool isCurrent();

    /// Runs `task` on the main thread and waits until it is done; at once when already there.
    ///
    /// Returns without running it when the main loop has ended, so that nobody waits for ever at
    /// shutdown.
    ///
    /// errors  what the task throws is thrown here
    /// thread  any that holds no Mutex: the main thread may want it
    static void performAndWait(const Task& task);

    /// Runs `task` on the main thread soon, without waiting; at the next turn of the loop when
    /// already there.
    static void perform(Task task);

    /// Runs what waits. Main thread only.
    static void serve();

    /// Serves until `done` holds or the time is over, and tells whether it holds: how the main
    /// thread waits for threads that may be waiting for it. Main thread only.
    static bool serveUntil(const std::function<bool()>& done, std::chrono::milliseconds limit);

    /// Serves the calls that one thread waits for, and nobody else's, until `done` holds: how the
    /// main thread waits in the middle of something for a thread that may be waiting for it. Main
    /// thread only.
    static void serveCallsOf(std::thread::id waiter, const std::function<bool()>& done);
};

} // namespace ovelo
