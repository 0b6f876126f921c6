#include "playback/PlaybackControl.h"

#include "playback/Playback.h"
#include "playback/PlaybackEnd.h"
#include "support/Logger.h"

#include <fmt/format.h>

#include <exception>
#include <string_view>
#include <utility>

namespace ovelo {

namespace {

bool isPlainName(std::string_view name) {
    constexpr std::string_view kSeparators("/\0", 2);
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(kSeparators) == std::string_view::npos;
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
    const Ticket ticket = newRequest();
    retire();
    try {
        startIfLatest(ticket, pathOf(name));
    } catch (const std::exception& failure) {
        environment_.log.write(fmt::format("startPlayback error: {}\n", failure.what()));
    }
}

void PlaybackControl::stopPlayback() {
    newRequest();
    retire();
}

bool PlaybackControl::isPlaying() const {
    const std::lock_guard lock(lock_);
    return playback_ && playback_->started();
}

PlaybackControl::Ticket PlaybackControl::newRequest() {
    const std::lock_guard lock(lock_);
    return ++latest_;
}

/// Releases the playback, if there is one, and waits for those that others are releasing.
void PlaybackControl::retire() {
    if (auto playback = takePlayback()) {
        if (playback->started()) {
            playback->stop();
        }
        playback.reset(); // without the lock, for it takes its time
    }
    while (const auto end = someEnding()) {
        end->wait();
    }
}

void PlaybackControl::startIfLatest(Ticket ticket, const std::filesystem::path& movieFilePath) {
    const std::lock_guard lock(lock_);
    if (ticket != latest_) {
        return;
    }
    // Nobody else has started one: that would have been a later request.
    playback_ = std::make_unique<Playback>(environment_, movieFilePath);
    playback_->start();
}

std::unique_ptr<Playback> PlaybackControl::takePlayback() {
    const std::lock_guard lock(lock_);
    if (playback_) {
        ending_.push_back(playback_->end());
    }
    return std::move(playback_);
}

/// Whoever takes a playback may be waiting further down on the main thread's stack, so others look
/// for its end, not for that one.
std::shared_ptr<PlaybackEnd> PlaybackControl::someEnding() {
    const std::lock_guard lock(lock_);
    std::erase_if(ending_, [](const auto& end) { return end->isSet(); });
    return ending_.empty() ? nullptr : ending_.front();
}

std::filesystem::path PlaybackControl::pathOf(const std::string& name) const {
    return isPlainName(name) ? folder_() / name : std::filesystem::path();
}

} // namespace ovelo
