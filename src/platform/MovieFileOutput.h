#pragma once

#include "platform/CaptureDevice.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

/// Why a recording ended by itself, or was not what it should be.
struct MovieError {
    std::string text;                  // for people
    bool finishedSuccessfully = false; // the movie is whole nevertheless
};

/// Pictures of 240 lines, as MPEG-4 video; the setting "movieCodec" chooses which.
inline constexpr const char* kMoviePictureOptions = "QTCompressionOptions240SizeMPEG4Video";

/// Speech, as AAC.
inline constexpr const char* kMovieSoundOptions = "QTCompressionOptionsVoiceQualityAACAudio";

/// Writes what a capture session delivers to a movie file.
///
/// thread    main, unless said otherwise
/// lifetime  taken out of the session before it dies; its destructor ends a recording that goes on,
///           with all its callbacks
class MovieFileOutput {
public:
    using Path = std::filesystem::path;
    using Steady = std::chrono::steady_clock::time_point;

    /// Told how a recording goes.
    ///
    /// thread  the recorder's own, which must not be kept waiting for the main thread: that one may
    ///         be waiting for the recorder's end
    class Delegate {
    public:
        virtual ~Delegate() = default;
        virtual void willStartRecording(const Path& file) = 0;
        virtual void didStartRecording(const Path& file) = 0;

        /// A part of the recording failed. return: true to end the file, false to go on without it
        virtual bool shouldChangeOutputFile(const Path& file, const MovieError& error) = 0;

        /// The file cannot be continued; its end follows.
        virtual void mustChangeOutputFile(const Path& file, const MovieError& error) = 0;

        virtual void willFinishRecording(const Path& file) = 0;

        /// The file is closed, and outputFile() is nothing.
        virtual void didFinishRecording(const Path& file,
                                        const std::optional<MovieError>& error) = 0;
    };

    /// The way of one kind of media through the output.
    struct Connection {
        MediaType mediaType = MediaType::Video;
        std::string compressionOptions; // a preset; empty: the output's own choice
    };

    MovieFileOutput() = default;
    virtual ~MovieFileOutput() = default;
    MovieFileOutput(const MovieFileOutput&) = delete;
    MovieFileOutput& operator=(const MovieFileOutput&) = delete;

    /// delegate  outlives the output; set while nothing is recorded
    virtual void setDelegate(Delegate* delegate) = 0;

    [[nodiscard]] virtual std::vector<Connection> connections() const = 0;

    /// Chooses how one kind of media is encoded in recordings that begin later; an unknown preset
    /// leaves it as it was.
    virtual void setCompressionOptions(MediaType mediaType, const std::string& preset) = 0;

    /// Begins to record to `file`, or ends the recording when there is none. Returns at once; what
    /// happens is told to the delegate, failures as well. A file while another is being recorded
    /// is ignored.
    virtual void recordToOutputFile(const std::optional<Path>& file) = 0;

    /// Returns when a recording that was told to end has ended, and the delegate is told nothing
    /// more of it; takes a few seconds at most, and what the delegate takes.
    virtual void waitForEnd() = 0;

    /// The file that is being recorded, until its end has been announced. Any thread.
    [[nodiscard]] virtual std::optional<Path> outputFile() const = 0;

    /// Bytes of the current or last file. Any thread.
    [[nodiscard]] virtual std::uint64_t recordedFileSize() const = 0;

    /// Length of the current or last movie, as "HH:MM:SS.mmm". Any thread.
    [[nodiscard]] virtual std::string recordedDuration() const = 0;

    /// Takes a picture of the session's video input, and keeps no caller waiting.
    ///
    /// time    when it arrived
    /// thread  the device's
    virtual void takePicture(const VideoFrame& frame, Steady time) = 0;

    /// Takes sound of the session's input, and keeps no caller waiting. Where none comes the movie
    /// is silent.
    ///
    /// thread  the device's
    virtual void takeSound(const SoundBlock& block) = 0;
};

} // namespace ovelo
