#pragma once

#include "platform/Clock.h"
#include "platform/Data.h"
#include "platform/Movie.h"
#include "platform/Result.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <stop_token>

namespace ovelo {

class Logger;
class PlaybackSink;

/// What a playback works with; all of it outlives the playback.
struct PlaybackEnvironment {
    using OpenMovie = std::function<Result<std::unique_ptr<Movie>>(const std::filesystem::path&,
                                                                   const std::stop_token&)>;
    using Pause = std::function<void(std::chrono::milliseconds, const std::stop_token&)>;

    PlaybackSink& sink;
    Logger& log;
    const Clock& clock;

    /// Movie::open. Called on the playback's thread.
    OpenMovie openMovie;

    /// Makes what viewers get of a movie's picture. Called on the main thread.
    std::function<Result<Data>(const VideoFrame&)> makePicture;

    /// Waits, or ends early when it is asked to stop; empty for a plain wait. Called on the
    /// playback's thread.
    Pause pause;
};

} // namespace ovelo
