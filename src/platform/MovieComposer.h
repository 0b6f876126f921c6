#pragma once

#include "platform/GstMovieEncoders.h"
#include "platform/MovieFileWriter.h"
#include "platform/MovieInbox.h"
#include "platform/SoundTimeline.h"

#include <deque>
#include <memory>
#include <optional>

namespace ovelo {

/// Makes one movie of what the devices deliver: encodes it, puts it in its time, and writes it.
///
/// The first picture stands from the beginning, or black when none comes in two seconds; a picture
/// that is not followed by another is repeated every two seconds. Sound from before the beginning is
/// cut.
///
/// thread  one
class MovieComposer final {
public:
    using Steady = std::chrono::steady_clock::time_point;

    /// What a movie is made with.
    struct Parts {
        PictureCodec codec = PictureCodec::H264;
        std::unique_ptr<GstEncoder> pictures;
        movieencoders::Sound sound;
        FileDescriptor file;                      // empty
        std::int64_t createdAt = 0;               // seconds since 1970
        std::chrono::milliseconds patience{2000}; // with an encoder that does not answer
    };

    /// begun  where the movie's time begins, whatever comes and when
    MovieComposer(Parts parts, Steady begun);

    /// Takes what has come, and does what is due at `now`.
    void take(const MovieInbox::Batch& batch, Steady now);

    /// Ends the movie within a few seconds. A movie that got nothing is black.
    void finish(Steady end);

    /// Why the movie cannot go on.
    [[nodiscard]] std::optional<Failure> failure();

    /// Why the rest of the movie is silent.
    [[nodiscard]] std::optional<Failure> soundFailure();

    [[nodiscard]] std::uint64_t size() const { return writer_ ? writer_->size() : 0; }
    [[nodiscard]] std::chrono::milliseconds duration() const;

private:
    void takePicture(const VideoFrame& frame, Steady time);
    [[nodiscard]] bool waitForEncoder();
    void standIn(Steady now);
    void drainPictures(std::chrono::nanoseconds patience);
    void drainRest();
    void writePicture(const EncodedPacket& packet);
    void beginFile(const std::vector<std::uint8_t>& pictureConfig);
    void encodeSound();
    void drainSound(std::chrono::nanoseconds patience);
    void addSound(std::vector<std::uint8_t> packet);
    void finishSound(std::int64_t end);
    [[nodiscard]] std::int64_t ticks(Steady moment) const;

    Parts parts_;
    const Steady begun_;
    SoundTimeline timeline_;
    std::optional<MovieFileWriter> writer_; // from the first encoded picture on
    std::optional<Failure> failure_;
    std::optional<Failure> soundFailure_;

    // Pictures.
    std::optional<VideoFrame> last_;
    Steady lastTime_;
    std::int64_t lastTicks_ = -1;
    std::int64_t lastKey_ = 0;

    // Sound: what each block of the timeline became, oldest first, until its packet is there.
    enum class Block { Encoded, Silent };
    std::deque<Block> blocks_;
    std::size_t silentRun_ = 0;
    std::int64_t encodedBlocks_ = 0;
    std::size_t toDiscard_;
    std::deque<std::vector<std::uint8_t>> early_; // packets that wait for the first picture
    std::int64_t soundPackets_ = 0;
    std::optional<std::int64_t> mostSoundPackets_; // known at the end
};

} // namespace ovelo
