#include "server/SessionThreads.h"

#include "platform/Console.h"
#include "platform/Threads.h"

#include <exception>
#include <string>
#include <utility>

namespace ovelo {

SessionThreads::~SessionThreads() {
    join();
}

void SessionThreads::start(std::function<void()> run) {
    const MutexLock lock(lock_);
    const auto self = running_.emplace(running_.end());
    try {
        *self =
            std::jthread([this, self, function = std::move(run)] { this->run(function, self); });
    } catch (...) {
        running_.erase(self);
        throw;
    }
}

void SessionThreads::run(const std::function<void()>& function, Threads::iterator self) {
    settleThread("viewer-session");
    try {
        function();
    } catch (const std::exception& failure) {
        console::write(std::string("A session ended by an exception: ") + failure.what());
    }
    retire(self);
}

void SessionThreads::retire(Threads::iterator self) {
    std::jthread before; // joined at the end of this function, without the lock
    const MutexLock lock(lock_);
    before = std::exchange(ended_, std::move(*self));
    running_.erase(self);
}

std::size_t SessionThreads::running() const {
    const MutexLock lock(lock_);
    return running_.size();
}

void SessionThreads::join() {
    for (;;) {
        std::jthread thread;
        {
            const MutexLock lock(lock_);
            if (ended_.joinable()) {
                thread = std::move(ended_);
            } else if (running_.empty()) {
                return;
            }
        }
        if (!thread.joinable()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
}

} // namespace ovelo
