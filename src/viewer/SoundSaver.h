#pragma once

#include "viewer/SoundBlockDecoder.h"
#include "viewer/ViewerStream.h"

#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>

namespace ovelo {

/// Writes the server's sound to a WAV file: signed samples of 16 bits, one channel, at the server's
/// rate. Missing blocks become silence of the length of the last one. After each block the file is
/// one that can be read.
class SoundSaver {
public:
    /// seconds  of sound that are wanted; the last block is written whole
    SoundSaver(std::filesystem::path file, double seconds, SoundDecoder::Create createDecoder);

    /// Hears a line of the server; only those that tell a sound format count.
    ///
    /// return  none, or why the sound cannot be saved
    [[nodiscard]] std::optional<Failure> handleLine(std::string_view line);

    /// return  none, or why the sound cannot be saved
    [[nodiscard]] std::optional<Failure> handleBlock(const ViewerBlock& block);

    [[nodiscard]] bool complete() const { return complete_; }

    /// Seconds of sound in the file.
    [[nodiscard]] double written() const;

private:
    [[nodiscard]] std::optional<Failure> open();
    [[nodiscard]] std::optional<Failure> append(const std::vector<std::int16_t>& samples);
    void writeHeader();

    const std::filesystem::path file_;
    const double seconds_;
    SoundBlockDecoder blocks_;
    std::ofstream out_;
    int rate_ = 0; // of the file
    std::uint32_t samples_ = 0;
    std::optional<std::uint32_t> expected_; // the next block's number
    std::size_t lastLength_ = 0;            // samples
    bool complete_ = false;
};

} // namespace ovelo
