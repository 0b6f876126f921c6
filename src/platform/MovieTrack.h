#pragma once

#include "platform/MovieBytes.h"

#include <cstdint>
#include <vector>

namespace ovelo {

/// How the pictures of a movie are encoded.
enum class PictureCodec { H264, Mpeg4 };

/// The index of one track: what was written, where, and how long each sample lasts.
class MovieTrack final {
public:
    enum class Kind { Pictures, Sound };

    /// id          1 for the first track
    /// timescale   units of a second
    /// config      the decoder's configuration as the encoder gives it
    MovieTrack(Kind kind, PictureCodec codec, std::uint32_t id, std::uint32_t timescale,
               std::vector<std::uint8_t> config);

    /// isKey  it can be decoded without those before it; sound always can
    void addSample(std::uint32_t size, std::uint32_t duration, bool isKey);

    /// Says that the samples since the last call stand one after another from `offset` on.
    void closeChunk(std::uint64_t offset);

    /// Changes the length of the last sample, when there is one.
    void setLastDuration(std::uint32_t duration);

    [[nodiscard]] std::uint32_t id() const { return id_; }
    [[nodiscard]] std::uint32_t timescale() const { return timescale_; }
    [[nodiscard]] std::uint64_t duration() const { return duration_; }
    [[nodiscard]] std::size_t samples() const { return sizes_.size(); }

    /// Samples that closeChunk() has not placed yet.
    [[nodiscard]] std::size_t unplaced() const { return sizes_.size() - placed_; }

    /// The box of the whole track.
    ///
    /// movieTimescale  units of the movie's durations
    /// withSamples     false for the head of a movie whose index stands in its fragments
    void writeTrack(MovieBytes& out, std::uint32_t movieTimescale, bool withSamples) const;

    /// The box that describes the unplaced samples to readers of fragments.
    ///
    /// return  where in `out` the offset of their data is to be patched
    [[nodiscard]] std::size_t writeFragment(MovieBytes& out) const;

private:
    struct Chunk {
        std::uint64_t offset;
        std::uint32_t samples;
    };

    struct Run { // of samples that last equally long
        std::uint32_t samples;
        std::uint32_t duration;
    };

    void addDuration(std::uint32_t duration);
    [[nodiscard]] bool isKey(std::size_t sample) const;
    [[nodiscard]] std::vector<std::uint32_t> unplacedDurations() const;
    void writeMediaHeader(MovieBytes& out, std::uint64_t duration) const;
    void writeHandler(MovieBytes& out) const;
    void writeInformation(MovieBytes& out, bool withSamples) const;
    void writeSampleTable(MovieBytes& out, bool withSamples) const;
    void writeDescription(MovieBytes& out) const;
    void writePictureEntry(MovieBytes& out) const;
    void writeSoundEntry(MovieBytes& out) const;
    void writeDecoderConfig(MovieBytes& out) const;
    void writeDurations(MovieBytes& out, bool withSamples) const;
    void writeKeys(MovieBytes& out) const;
    void writeChunks(MovieBytes& out, bool withSamples) const;
    void writeSizes(MovieBytes& out, bool withSamples) const;

    const Kind kind_;
    const PictureCodec codec_;
    const std::uint32_t id_;
    const std::uint32_t timescale_;
    const std::vector<std::uint8_t> config_;
    std::vector<std::uint32_t> sizes_;
    std::vector<Run> runs_;
    std::vector<std::uint32_t> keys_; // numbers of pictures, from 1
    std::vector<Chunk> chunks_;
    std::size_t placed_ = 0;
    std::uint64_t duration_ = 0;
    std::uint64_t placedDuration_ = 0;
};

} // namespace ovelo
