#include "alerts/MailThreads.h"

#include "platform/Threads.h"

#include <utility>

namespace ovelo {

MailThreads::~MailThreads() {
    stop();
}

bool MailThreads::start(std::size_t limit, Task task, std::function<void()> ended) {
    const std::lock_guard lock(lock_);
    entries_.remove_if([](const Entry& entry) { return entry.isOver.load(); }); // joins at once
    if (isStopping_ || running_ >= limit) {
        return false;
    }
    Entry& entry = entries_.emplace_back();
    ++running_;
    try {
        entry.thread = std::jthread([this, &entry, task = std::move(task),
                                     ended = std::move(ended)](const std::stop_token& stop) {
            settleThread("mail");
            task(stop);
            --running_;
            ended();
            entry.isOver = true;
        });
    } catch (...) {
        --running_;
        entries_.pop_back();
        throw;
    }
    return true;
}

void MailThreads::stop() {
    std::list<Entry> ending;
    {
        const std::lock_guard lock(lock_);
        isStopping_ = true;
        ending.swap(entries_);
    }
    for (Entry& entry : ending) {
        entry.thread.request_stop();
    }
    ending.clear(); // joins
}

} // namespace ovelo
