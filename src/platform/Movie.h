#pragma once

#include "platform/Result.h"
#include "platform/VideoFrame.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <stop_token>

namespace ovelo {

/// A movie file whose pictures are asked for by their time. Its sound is not looked at.
///
/// thread  any, one at a time
class Movie {
public:
    using Time = std::chrono::nanoseconds; // from the movie's beginning

    Movie() = default;
    virtual ~Movie() = default;
    Movie(const Movie&) = delete;
    Movie& operator=(const Movie&) = delete;

    /// Opens a file in any format that the computer can decode. Takes a few milliseconds, for a
    /// damaged file up to three seconds.
    ///
    /// stop    gives up early
    /// errors  no regular file, nothing that can be read, no pictures or no length in it
    static Result<std::unique_ptr<Movie>> open(const std::filesystem::path& file,
                                               const std::stop_token& stop = {});

    /// Of the longer of picture and sound.
    [[nodiscard]] virtual Time duration() const = 0;

    /// The picture shown at a time: 320 x 240, stretched, never letter-boxed. The last one that can
    /// be read stays until the movie's end. Times that go forward in small steps cost least.
    ///
    /// Waits five seconds for a decoder; one that gives nothing for so long is given up.
    ///
    /// stop    gives up early
    /// return  nothing before the first picture, at and behind the movie's end, and where a damaged
    ///         file shows none
    virtual std::optional<VideoFrame> pictureAt(Time time, const std::stop_token& stop = {}) = 0;
};

} // namespace ovelo
