#pragma once

#include "platform/VideoFrame.h"
#include "playback/MovieTime.h"
#include "playback/PlaybackEnd.h"
#include "playback/PlaybackEnvironment.h"

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <thread>

namespace ovelo {

/// Plays one recording to the viewers, once, in real time: at most twenty pictures a second, and
/// "PLAYBACK_DONE\n" at the end. A recording that cannot be opened ends at once.
///
/// The movie is opened, decoded and closed on the playback's thread, so that the main thread, on
/// which pictures are made and sent, never waits for a decoder.
///
/// thread    start() on one thread; stop(), started() and setStarted() on any
/// lifetime  the destructor waits for the thread, on any thread but the playback's own; on the main
///           thread it serves calls meanwhile, so one of them may come before it returns
class Playback final {
public:
    /// movieFilePath  empty for a recording that does not exist
    Playback(PlaybackEnvironment environment, std::filesystem::path movieFilePath);
    ~Playback();
    Playback(const Playback&) = delete;
    Playback& operator=(const Playback&) = delete;

    /// Starts the thread and returns at once; nothing when started already. Once only.
    ///
    /// errors  std::system_error when the system gives no more threads; it is not started then
    void start();

    /// Lets the thread end soon, without "PLAYBACK_DONE\n". What waits in it waits no longer.
    void stop() { setStarted(false); }

    /// True from start() until the thread ends or is to end. Live pictures rest so long.
    [[nodiscard]] bool started() const { return started_.load(); }
    void setStarted(bool started);

    /// True while no thread plays.
    [[nodiscard]] bool stopped() const { return stopped_.load(); }

    /// Sends the picture that was found at startTime_; nothing when there was none. Main thread.
    void sendFrameAt();

    /// Set by the thread as its very last act, or by a start() that fails.
    [[nodiscard]] std::shared_ptr<PlaybackEnd> end() const { return end_; }

private:
    void playMovieThread();
    void attempt(const std::function<void()>& step);
    void play();
    void openMovie();
    void playPicture();
    void pause();

    const PlaybackEnvironment environment_; // the viewer server is its sink
    std::unique_ptr<Movie> movie_;          // the thread's; null when it could not be opened
    std::atomic<bool> started_ = false;
    std::atomic<bool> stopped_ = true;
    MovieTime startTime_; // of the next picture; the thread's, and the main thread's while it waits

    const std::filesystem::path movieFilePath_;
    std::optional<VideoFrame> picture_; // at startTime_; used like it
    std::stop_source stop_;             // wakes what waits when started_ becomes false
    const std::shared_ptr<PlaybackEnd> end_ = std::make_shared<PlaybackEnd>();
    std::jthread thread_;
};

} // namespace ovelo
