#pragma once

#include "playback/PlaybackEnvironment.h"

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace ovelo {

class Playback;

/// Plays recordings to the viewers, at most one at a time: the last one asked for.
///
/// A request ends what plays, waits until its thread has ended, and starts what is the latest
/// request by then. One that comes meanwhile is carried out by that end as well, so that requests
/// wait for one end and never for each other.
///
/// The main thread serves calls while it waits, and one of them may be a request. That one only
/// leaves word and returns at once, while the playback of before may still be ending (it shows
/// nothing any more); the request further down on the stack carries it out. Thus the main thread
/// comes back to its loop after the end of one playback, or of two when another thread was ending
/// the first, however many viewers ask.
///
/// thread    any that holds no lock, many at once, but never from within a PlaybackSink's calls
/// lifetime  the destructor ends the playback; nobody may call any more then
class PlaybackControl final {
public:
    using Folder = std::function<std::filesystem::path()>;

    /// folder  tells where recordings are, empty: nowhere; called by who starts a playback, without
    ///         a lock
    PlaybackControl(PlaybackEnvironment environment, Folder folder);
    ~PlaybackControl();
    PlaybackControl(const PlaybackControl&) = delete;
    PlaybackControl& operator=(const PlaybackControl&) = delete;

    /// Ends a running playback, waits until its thread has ended, and starts one of the recording.
    /// Does not wait for the recording to be opened. Starts nothing when there is a later request
    /// by then. Within another request on the main thread: see above.
    ///
    /// name    a plain file name; another one, that could lead out of the folder, is treated like
    ///         that of a file which does not exist
    /// errors  none: they go to the log
    void startPlayback(const std::string& name);

    /// Ends a running playback and waits until its thread has ended: nothing of it comes after.
    /// Within another request on the main thread: see above.
    void stopPlayback();

    /// True while live pictures shall rest. Cheap enough for every frame.
    [[nodiscard]] bool isPlaying() const;

private:
    using Path = std::filesystem::path;
    using Ticket = std::uint64_t;

    void request(std::optional<std::string> wanted);
    Ticket leaveWord(std::optional<std::string> wanted);
    void carryOut(Ticket ticket);
    void carryOutOnMainThread(Ticket ticket);
    [[nodiscard]] bool beginSettling();
    void settle();
    [[nodiscard]] bool startLatest(const std::optional<Path>& folder);
    [[nodiscard]] std::optional<Path> lookUpFolder();
    [[nodiscard]] bool isSettled(Ticket ticket) const;
    [[nodiscard]] std::unique_ptr<Playback> takePlayback();
    void writeError(const std::exception& failure) const;

    const PlaybackEnvironment environment_;
    const Folder folder_;

    mutable std::mutex lock_; // a leaf
    std::condition_variable settledChanged_;
    // Guarded by lock_.
    std::unique_ptr<Playback> playback_;
    std::optional<std::string> wanted_; // by the latest request; nothing: no playback
    Ticket latest_ = 0;
    Ticket settled_ = 0;      // this request and those before it are done with
    bool isSettling_ = false; // somebody ends what played, and then starts the latest
    // The main thread's.
    bool mainThreadWaits_ = false;
};

} // namespace ovelo
