#pragma once

#include "platform/MainThread.h"

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace ovelo {

/// A main thread for tests: serves until the end of the object.
class MainLoopThread {
public:
    MainLoopThread() {
        std::promise<void> ready;
        thread_ = std::jthread([this, &ready](const std::stop_token& stop) {
            MainThread::begin();
            ready.set_value();
            while (!stop.stop_requested()) {
                MainThread::serveUntil([&] { return stop.stop_requested(); },
                                       std::chrono::milliseconds(50));
            }
            MainThread::end();
        });
        ready.get_future().wait();
    }
    ~MainLoopThread() {
        thread_.request_stop();
        thread_.join();
    }
    MainLoopThread(const MainLoopThread&) = delete;
    MainLoopThread& operator=(const MainLoopThread&) = delete;

private:
    std::jthread thread_;
};

} // namespace ovelo
