#include "platform/MainThread.h"

#include "platform/Assert.h"
#include "platform/Console.h"
#include "platform/Mutex.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace ovelo {

namespace {

/// One call on its way. Each has a waiting place of its own: a thousand waiting threads must not
/// all wake for one.
struct Call {
    Call(MainThread::Task what, std::thread::id who) : task(std::move(what)), waiter(who) {}

    MainThread::Task task;
    const std::thread::id waiter; // who waits for it, if anybody
    bool finished = false;        // guarded by the queue's lock
    std::exception_ptr failure;   // likewise
    std::condition_variable done;
};

/// The calls that wait for the main thread. A leaf: nothing else is locked while its lock is held.
struct Calls {
    std::mutex lock;
    std::condition_variable added;
    std::deque<std::shared_ptr<Call>> waiting;
    MainThread::Task wake;
    std::thread::id thread;
    bool running = false;
};

Calls& calls() {
    static Calls instance;
    return instance;
}

void finish(Calls& state, Call& call, std::exception_ptr failure) {
    {
        const std::lock_guard lock(state.lock);
        call.finished = true;
        call.failure = std::move(failure);
    }
    call.done.notify_one();
}

std::size_t countOf(Calls& state) {
    const std::lock_guard lock(state.lock);
    return state.waiting.size();
}

std::shared_ptr<Call> nextCall(Calls& state) {
    const std::lock_guard lock(state.lock);
    if (state.waiting.empty()) {
        return nullptr;
    }
    auto call = state.waiting.front();
    state.waiting.pop_front();
    return call;
}

std::shared_ptr<Call> nextCallOf(Calls& state, std::thread::id waiter) {
    const std::lock_guard lock(state.lock);
    const auto found = std::find_if(state.waiting.begin(), state.waiting.end(),
                                    [&](const auto& call) { return call->waiter == waiter; });
    if (found == state.waiting.end()) {
        return nullptr;
    }
    auto call = *found;
    state.waiting.erase(found);
    return call;
}

void run(Calls& state, Call& call) {
    std::exception_ptr failure;
    try {
        call.task();
    } catch (...) {
        failure = std::current_exception();
    }
    finish(state, call, failure);
}

/// return  null when the main loop has ended
std::shared_ptr<Call> enqueue(Calls& state, MainThread::Task task, std::thread::id waiter = {}) {
    auto call = std::make_shared<Call>(std::move(task), waiter);
    MainThread::Task wake;
    {
        const std::lock_guard lock(state.lock);
        if (!state.running) {
            return nullptr;
        }
        state.waiting.push_back(call);
        wake = state.wake;
    }
    state.added.notify_one();
    if (wake) {
        wake();
    }
    return call;
}

} // namespace

void MainThread::begin(Task wake) {
    Calls& state = calls();
    const std::lock_guard lock(state.lock);
    state.wake = std::move(wake);
    state.thread = std::this_thread::get_id();
    state.running = true;
}

void MainThread::end() {
    Calls& state = calls();
    std::deque<std::shared_ptr<Call>> dropped;
    {
        const std::lock_guard lock(state.lock);
        state.running = false;
        state.wake = nullptr;
        dropped.swap(state.waiting);
        for (const auto& call : dropped) {
            call->finished = true;
        }
    }
    for (const auto& call : dropped) {
        call->done.notify_one();
    }
}

bool MainThread::isCurrent() {
    Calls& state = calls();
    const std::lock_guard lock(state.lock);
    return state.thread == std::this_thread::get_id();
}

void MainThread::performAndWait(const Task& task) {
    if (isCurrent()) {
        task();
        return;
    }
    OVELO_ASSERT(Mutex::noneHeld(), "no lock is held while waiting for the main thread");
    Calls& state = calls();
    const auto call = enqueue(state, task, std::this_thread::get_id());
    if (!call) {
        return;
    }
    std::unique_lock lock(state.lock);
    call->done.wait(lock, [&] { return call->finished; });
    if (call->failure) {
        std::rethrow_exception(call->failure);
    }
}

void MainThread::perform(Task task) {
    enqueue(calls(), [task = std::move(task)] {
        try {
            task();
        } catch (const std::exception& failure) { // nobody waits who could be told
            console::write(std::string("A call on the main thread failed: ") + failure.what());
        }
    });
}

void MainThread::serve() {
    Calls& state = calls();
    // What a call adds waits for the next turn, so that calls that breed calls cannot starve the
    // loop.
    for (std::size_t left = countOf(state); left > 0; --left) {
        const auto call = nextCall(state);
        if (!call) {
            return; // served by a call of ours, from a nested loop
        }
        run(state, *call);
    }
}

bool MainThread::serveUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    constexpr auto kTurn = std::chrono::milliseconds(5); // `done` may change without a call
    Calls& state = calls();
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        serve();
        std::unique_lock lock(state.lock);
        state.added.wait_for(lock, kTurn, [&] { return !state.waiting.empty(); });
    }
    return true;
}

void MainThread::serveCallsOf(std::thread::id waiter, const std::function<bool()>& done) {
    constexpr auto kTurn = std::chrono::milliseconds(1); // `done` may change without a call
    Calls& state = calls();
    while (!done()) {
        while (const auto call = nextCallOf(state, waiter)) {
            run(state, *call);
        }
        std::unique_lock lock(state.lock);
        state.added.wait_for(lock, kTurn);
    }
}

} // namespace ovelo
