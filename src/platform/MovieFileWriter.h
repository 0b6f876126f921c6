#pragma once

#include "platform/FileDescriptor.h"
#include "platform/MovieTrack.h"
#include "platform/Result.h"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace ovelo {

/// Ticks of a second, in which pictures are placed.
inline constexpr std::uint32_t kPictureTimescale = 90000;

/// Writes one QuickTime movie: pictures of 320 x 240 and a track of speech.
///
/// While it is written the file is a movie of fragments, so that it plays up to the last few seconds
/// even when the process is killed. At the end a whole index follows, and one write of 16 bytes at
/// the front turns all before it into plain data: from then on it is an ordinary movie, which
/// every player seeks in.
///
/// errors  the first failed write cuts the file back to its last whole fragment; failure() tells,
///         and nothing is written any more
/// thread  one
class MovieFileWriter final {
public:
    struct Format {
        PictureCodec codec = PictureCodec::H264;
        std::vector<std::uint8_t> pictureConfig;
        std::vector<std::uint8_t> soundConfig;
    };

    /// file      empty and open for writing
    /// createdAt seconds since 1970
    MovieFileWriter(FileDescriptor file, const Format& format, std::int64_t createdAt);

    /// Adds a picture, which stands until the next one.
    ///
    /// start  in ticks since the beginning, more than the one before; that of the first is 0
    void addPicture(std::span<const std::uint8_t> packet, std::int64_t start, bool isKey);

    /// Adds the next packet of sound.
    void addSound(std::span<const std::uint8_t> packet);

    /// Ends the movie. A movie whose track of sound is not wanted is left without one.
    ///
    /// end  in ticks; the last picture stands until then
    void finish(std::int64_t end, bool withSound);

    [[nodiscard]] const std::optional<Failure>& failure() const { return failure_; }

    /// Bytes in the file.
    [[nodiscard]] std::uint64_t size() const { return size_; }

private:
    void closePicture(std::int64_t end);
    void flush();
    bool write(std::span<const std::uint8_t> bytes);
    void writeHead();
    void writeMovie(MovieBytes& out, bool withSamples, bool withSound) const;
    void fail(int error);

    FileDescriptor file_;
    const std::int64_t createdAt_;
    MovieTrack pictures_;
    MovieTrack sound_;
    std::optional<Failure> failure_;
    std::uint64_t size_ = 0;
    std::uint32_t fragments_ = 0;

    // What the next fragment gets.
    std::vector<std::uint8_t> pictureData_;
    std::vector<std::uint8_t> soundData_;
    std::int64_t flushedUntil_ = 0; // in ticks

    // The picture that stands until the next one.
    struct OpenPicture {
        std::vector<std::uint8_t> packet;
        std::int64_t start;
        bool isKey;
    };
    std::optional<OpenPicture> open_;
};

} // namespace ovelo
