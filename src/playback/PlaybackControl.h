#pragma once

#include "playback/PlaybackEnvironment.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace ovelo {

class Playback;
class PlaybackEnd;

/// Plays recordings to the viewers, at most one at a time: the last one asked for.
///
/// thread    any that holds no lock, many at once, but never from within a PlaybackSink's calls
/// lifetime  the destructor ends the playback; nobody may call any more then
class PlaybackControl final {
public:
    using Folder = std::function<std::filesystem::path()>;

    /// folder  tells where recordings are; called by who starts a playback, without a lock
    PlaybackControl(PlaybackEnvironment environment, Folder folder);
    ~PlaybackControl();
    PlaybackControl(const PlaybackControl&) = delete;
    PlaybackControl& operator=(const PlaybackControl&) = delete;

    /// Ends a running playback, waits until its thread has ended, and starts one of the recording.
    /// Does not wait for the recording to be opened. Starts nothing when there is a later request
    /// by then.
    ///
    /// name    a plain file name; another one, that could lead out of the folder, is treated like
    ///         that of a file which does not exist
    /// errors  none: they go to the log
    void startPlayback(const std::string& name);

    /// Ends a running playback and waits until its thread has ended: nothing of it comes after.
    void stopPlayback();

    /// True while live pictures shall rest. Cheap enough for every frame.
    [[nodiscard]] bool isPlaying() const;

private:
    using Ticket = std::uint64_t;

    Ticket newRequest();
    void retire();
    void startIfLatest(Ticket ticket, const std::filesystem::path& movieFilePath);
    [[nodiscard]] std::unique_ptr<Playback> takePlayback();
    [[nodiscard]] std::shared_ptr<PlaybackEnd> someEnding();
    [[nodiscard]] std::filesystem::path pathOf(const std::string& name) const;

    const PlaybackEnvironment environment_;
    const Folder folder_;

    mutable std::mutex lock_; // a leaf
    // Guarded by lock_.
    std::unique_ptr<Playback> playback_;
    std::vector<std::shared_ptr<PlaybackEnd>> ending_; // of those that were taken out of playback_
    Ticket latest_ = 0; // a request that is not the latest any more starts nothing
};

} // namespace ovelo
