#include "playback/PlaybackControl.h"

#include "platform/MainThread.h"
#include "playback/Playback.h"
#include "support/Logger.h"

#include <fmt/format.h>

#include <chrono>
#include <string_view>
#include <utility>

namespace ovelo {

namespace {

bool isPlainName(std::string_view name) {
    constexpr std::string_view kSeparators("/\0", 2);
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(kSeparators) == std::string_view::npos;
}

std::filesystem::path pathOf(const std::string& name, const std::filesystem::path& folder) {
    // Without a folder the name alone would be a file of the working directory.
    return isPlainName(name) && !folder.empty() ? folder / name : std::filesystem::path();
}

} // namespace

PlaybackControl::PlaybackControl(PlaybackEnvironment environment, Folder folder)
    : environment_(std::move(environment))
    , folder_(std::move(folder)) {
}

PlaybackControl::~PlaybackControl() {
    stopPlayback();
}

void PlaybackControl::startPlayback(const std::string& name) {
    request(name);
}

void PlaybackControl::stopPlayback() {
    request(std::nullopt);
}

bool PlaybackControl::isPlaying() const {
    const std::lock_guard lock(lock_);
    return playback_ && playback_->started();
}

void PlaybackControl::request(std::optional<std::string> wanted) {
    const Ticket ticket = leaveWord(std::move(wanted));
    if (MainThread::isCurrent()) {
        carryOutOnMainThread(ticket);
    } else {
        carryOut(ticket);
    }
}

/// Who settles by now or begins to from now on heeds it.
PlaybackControl::Ticket PlaybackControl::leaveWord(std::optional<std::string> wanted) {
    const std::lock_guard lock(lock_);
    wanted_ = std::move(wanted);
    return ++latest_;
}

void PlaybackControl::carryOut(Ticket ticket) {
    if (beginSettling()) {
        settle();
    }
    std::unique_lock lock(lock_);
    settledChanged_.wait(lock, [&] { return settled_ >= ticket; });
}

void PlaybackControl::carryOutOnMainThread(Ticket ticket) {
    if (mainThreadWaits_) {
        // Never a wait within a wait: the outer one would last as long as viewers go on asking.
        return;
    }
    mainThreadWaits_ = true;
    if (beginSettling()) {
        settle();
    } else {
        while (
            !MainThread::serveUntil([&] { return isSettled(ticket); }, std::chrono::seconds(1))) {
        }
        if (beginSettling()) { // a call left word when the other thread had settled already
            settle();
        }
    }
    mainThreadWaits_ = false;
}

/// return  false when there is nothing to do, or somebody else is at it
bool PlaybackControl::beginSettling() {
    const std::lock_guard lock(lock_);
    if (isSettling_ || settled_ == latest_) {
        return false;
    }
    isSettling_ = true;
    return true;
}

/// One end of one playback, and one start.
void PlaybackControl::settle() {
    if (auto playback = takePlayback()) {
        if (playback->started()) {
            playback->stop();
        }
        playback.reset(); // without the lock, for it takes its time
    }
    try {
        std::optional<Path> folder;
        while (!startLatest(folder)) {
            folder = lookUpFolder();
        }
    } catch (const std::exception& failure) {
        writeError(failure);
    }
}

/// return  false when it needs the folder
bool PlaybackControl::startLatest(const std::optional<Path>& folder) {
    const std::lock_guard lock(lock_);
    if (wanted_ && !folder) {
        return false;
    }
    isSettling_ = false;
    settled_ = latest_;
    settledChanged_.notify_all();
    if (const auto name = std::exchange(wanted_, std::nullopt)) {
        playback_ = std::make_unique<Playback>(environment_, pathOf(*name, *folder));
        playback_->start();
    }
    return true;
}

/// Without the lock, for it may ask the disk. When it fails nothing is wanted any more.
std::optional<PlaybackControl::Path> PlaybackControl::lookUpFolder() {
    try {
        return folder_();
    } catch (const std::exception& failure) {
        writeError(failure);
    }
    const std::lock_guard lock(lock_);
    wanted_.reset();
    return std::nullopt;
}

bool PlaybackControl::isSettled(Ticket ticket) const {
    const std::lock_guard lock(lock_);
    return settled_ >= ticket;
}

std::unique_ptr<Playback> PlaybackControl::takePlayback() {
    const std::lock_guard lock(lock_);
    return std::move(playback_);
}

void PlaybackControl::writeError(const std::exception& failure) const {
    environment_.log.write(fmt::format("startPlayback error: {}\n", failure.what()));
}

} // namespace ovelo
