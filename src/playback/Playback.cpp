#include "playback/Playback.h"

#include "platform/MainThread.h"
#include "platform/Threads.h"
#include "playback/PlaybackSink.h"
#include "support/Logger.h"

#include <fmt/format.h>

#include <condition_variable>
#include <exception>
#include <mutex>
#include <utility>

namespace ovelo {

namespace {

constexpr std::chrono::milliseconds kPause{50}; // between pictures

void plainPause(std::chrono::milliseconds time, const std::stop_token& stop) {
    std::mutex lock;
    std::condition_variable_any never;
    std::unique_lock guard(lock);
    never.wait_for(guard, stop, time, [] { return false; });
}

} // namespace

Playback::Playback(PlaybackEnvironment environment, std::filesystem::path movieFilePath)
    : environment_(std::move(environment))
    , movieFilePath_(std::move(movieFilePath)) {
}

Playback::~Playback() {
    environment_.log.write("Playback dealloc\n");
    if (thread_.joinable()) {
        setStarted(false);
        end_->wait();
        thread_.join();
    }
}

void Playback::start() {
    if (started_.exchange(true)) {
        return;
    }
    stopped_ = false;
    try {
        thread_ = std::jthread([this] { playMovieThread(); });
    } catch (...) {
        stopped_ = true;
        started_ = false;
        end_->set();
        throw;
    }
}

void Playback::setStarted(bool started) {
    started_ = started;
    if (!started) {
        stop_.request_stop();
    }
}

void Playback::playMovieThread() {
    settleThread("playback");
    environment_.log.write("Playback playMovieThread\n");
    attempt([this] { play(); });
    attempt([this] {
        if (started_) { // after a failure too, for viewers wait for it
            environment_.sink.sendText("PLAYBACK_DONE\n");
        }
    });
    picture_.reset();
    movie_.reset();
    stopped_ = true;
    started_ = false;
    environment_.log.write("Playback playMovieThread done\n");
    end_->set();
}

/// The edge of the thread, which no exception crosses.
void Playback::attempt(const std::function<void()>& step) {
    try {
        step();
    } catch (const std::exception& failure) {
        environment_.log.write(fmt::format("Playback playMovieThread error: {}\n", failure.what()));
    }
}

void Playback::play() {
    openMovie();
    startTime_ = MovieTime::at(Movie::Time::zero());
    const Movie::Time duration = movie_ ? movie_->duration() : Movie::Time::zero();
    environment_.log.write("Playback playMovieThread: in the beginning\n");
    while (started_ && startTime_.time() < duration) {
        playPicture();
    }
}

void Playback::openMovie() {
    if (movieFilePath_.empty()) {
        return;
    }
    auto movie = environment_.openMovie(movieFilePath_, stop_.get_token());
    if (!movie) {
        environment_.log.write(
            fmt::format("Playback playMovieThread: not opened: {}\n", movie.error()));
        return;
    }
    movie_ = std::move(movie).value();
}

void Playback::playPicture() {
    const auto before = environment_.clock.steady();
    picture_ = movie_->pictureAt(startTime_.time(), stop_.get_token());
    MainThread::performAndWait([this] {
        if (started_) {
            sendFrameAt();
        }
    });
    pause();
    startTime_ = MovieTime::at(startTime_.time() + (environment_.clock.steady() - before));
}

void Playback::sendFrameAt() {
    if (!picture_) {
        return;
    }
    environment_.log.write("Playback sendFrameAt: got image\n");
    const auto jpeg = environment_.makePicture(*picture_);
    if (!jpeg) {
        environment_.log.write(fmt::format("Playback sendFrameAt: {}\n", jpeg.error()));
        return;
    }
    environment_.sink.sendImageData(jpeg.value());
}

void Playback::pause() {
    if (environment_.pause) {
        environment_.pause(kPause, stop_.get_token());
    } else {
        plainPause(kPause, stop_.get_token());
    }
}

} // namespace ovelo
