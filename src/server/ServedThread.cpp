#include "server/ServedThread.h"

#include "platform/MainThread.h"

#include <utility>

namespace ovelo {

void ServedThread::start(Run run) {
    ended_ = false;
    try {
        thread_ = std::jthread([this, run = std::move(run)](const std::stop_token& stop) {
            run(stop);
            ended_ = true;
        });
    } catch (...) {
        ended_ = true;
        throw;
    }
}

void ServedThread::finish(std::chrono::milliseconds patience) {
    if (!thread_.joinable()) {
        return;
    }
    requestStop();
    if (MainThread::isCurrent() &&
        !MainThread::serveUntil([this] { return hasEnded(); }, patience)) {
        return;
    }
    thread_.join();
}

} // namespace ovelo
