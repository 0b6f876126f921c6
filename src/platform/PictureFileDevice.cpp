#include "platform/PictureFileDevice.h"

#include "platform/FolderEvents.h"
#include "platform/MainThread.h"
#include "platform/Threads.h"

#include <chrono>
#include <utility>

namespace ovelo {

namespace {

// Where the system tells nothing of a folder, as on some network file systems.
constexpr auto kPoll = std::chrono::milliseconds(200);

} // namespace

PictureFileDevice::PictureFileDevice(std::filesystem::path picture) : picture_(std::move(picture)) {
}

PictureFileDevice::~PictureFileDevice() {
    stop();
}

std::optional<Failure> PictureFileDevice::open() {
    if (isRetired_) {
        return Failure{"The device was removed."};
    }
    isOpen_ = true;
    return std::nullopt;
}

void PictureFileDevice::close() {
    stop();
    isOpen_ = false;
}

void PictureFileDevice::start(FrameHandler handler) {
    if (thread_.joinable()) {
        return;
    }
    hasEnded_ = false;
    thread_ = std::jthread([this, handler = std::move(handler),
                            seen = picturefile::stampOf(picture_)](const std::stop_token& stop) {
        run(stop, handler, seen);
        hasEnded_ = true;
    });
}

void PictureFileDevice::stop() {
    if (!thread_.joinable()) {
        return;
    }
    thread_.request_stop();
    if (MainThread::isCurrent()) { // for which the handler may be waiting
        MainThread::serveCallsOf(thread_.get_id(), [this] { return hasEnded_.load(); });
    }
    thread_.join();
}

std::vector<std::string> PictureFileDevice::formatSummaries() const {
    return thread_.joinable() ? std::vector<std::string>{"320 x 240, from a network camera"}
                              : std::vector<std::string>{};
}

void PictureFileDevice::retire(const std::string& reason) {
    isRetired_ = true;
    if (isOpen_) {
        ended().emit(reason);
    }
}

void PictureFileDevice::run(const std::stop_token& stop, const FrameHandler& handler,
                            picturefile::Stamp seen) const {
    settleThread("picture file");
    FolderEvents folder(picture_.parent_path());
    const std::stop_callback wake(stop, [&] { folder.wake(); });
    while (!stop.stop_requested()) {
        if (picturefile::stampOf(picture_) != seen) {
            // One that is still being written is looked at again at the next event.
            if (const auto picture = picturefile::read(picture_)) {
                seen = picture.value().stamp;
                handler(picture.value().frame);
                continue; // the next one may have come meanwhile
            }
        }
        folder.wait(kPoll);
    }
}

} // namespace ovelo
