#pragma once

#include "platform/Clock.h"
#include "platform/MovieFileOutput.h"
#include "platform/MovieInbox.h"
#include "platform/MovieTrack.h"
#include "platform/Result.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace ovelo {

class MovieComposer;

/// Records QuickTime movies of 320 x 240 with AAC speech, through GStreamer's encoders.
///
/// A thread of its own takes what the devices deliver, encodes and writes it; nobody waits for it,
/// and no change of the sources touches it. The file plays up to the last few seconds even when the
/// process is killed.
class GstMovieFileOutput final : public MovieFileOutput {
public:
    /// Takes a complete line; any thread.
    using Log = std::function<void(const std::string&)>;

    /// How the setting "movieCodec" is meant: "mpeg4", or anything else for H.264.
    [[nodiscard]] static PictureCodec codecNamed(std::string_view name);

    /// clock  where "now" comes from; what is delivered bears its steady times
    GstMovieFileOutput(PictureCodec codec, const Clock& clock, Log log);
    ~GstMovieFileOutput() override;

    void setDelegate(Delegate* delegate) override { delegate_ = delegate; }
    [[nodiscard]] std::vector<Connection> connections() const override { return connections_; }
    void setCompressionOptions(MediaType mediaType, const std::string& preset) override;
    void recordToOutputFile(const std::optional<Path>& file) override;
    void waitForEnd() override;
    [[nodiscard]] std::optional<Path> outputFile() const override;
    [[nodiscard]] std::uint64_t recordedFileSize() const override { return size_; }
    [[nodiscard]] std::string recordedDuration() const override;
    void takePicture(const VideoFrame& frame, Steady time) override;
    void takeSound(const SoundBlock& block) override { inbox_.add(block); }

    /// Pictures that wait for the recorder. Any thread.
    [[nodiscard]] std::size_t waiting() const { return inbox_.waiting(); }

private:
    void record(const Path& file, Steady begun);
    std::optional<MovieError> compose(const Path& file, Steady begun);
    std::optional<MovieError> troubleOf(const Path& file, MovieComposer& composer);
    [[nodiscard]] Result<std::unique_ptr<MovieComposer>> makeComposer(const Path& file,
                                                                      Steady begun) const;
    void publish(const MovieComposer& composer);
    void noteDrops(bool isEnd);
    void setOutputFile(const std::optional<Path>& file);

    // Given.
    const PictureCodec codec_;
    const Clock& clock_;
    const Log log_;
    Delegate* delegate_ = nullptr;

    // Owned.
    std::vector<Connection> connections_{{MediaType::Video, {}}, {MediaType::Sound, {}}};
    mutable std::mutex fileLock_; // a leaf
    std::optional<Path> outputFile_;
    std::atomic<std::uint64_t> size_{0};
    std::atomic<std::int64_t> milliseconds_{0};
    MovieInbox inbox_;
    bool toldDrops_ = false;
    bool goesOnSilent_ = false;
    std::jthread thread_; // of the recording that goes on, or of the last one
};

} // namespace ovelo
