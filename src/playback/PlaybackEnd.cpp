#include "playback/PlaybackEnd.h"

#include "platform/MainThread.h"

#include <chrono>

namespace ovelo {

void PlaybackEnd::set() {
    const std::lock_guard lock(lock_);
    isSet_ = true;
    changed_.notify_all();
}

void PlaybackEnd::wait() {
    if (MainThread::isCurrent()) {
        while (!MainThread::serveUntil([this] { return isSet(); }, std::chrono::seconds(1))) {
        }
        return;
    }
    std::unique_lock lock(lock_);
    changed_.wait(lock, [this] { return isSet(); });
}

} // namespace ovelo
