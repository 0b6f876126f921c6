#include "viewer/SoundSaver.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace ovelo {

namespace {

constexpr std::uint32_t kMostMissing = 16;  // blocks; more are a new beginning
constexpr std::uint32_t kHeaderRest = 36;   // bytes behind the file's length in its header
constexpr std::uint32_t kFormatLength = 16; // bytes
constexpr std::uint16_t kPlainSamples = 1;  // WAVE_FORMAT_PCM
constexpr std::uint16_t kBytesOfSample = 2;

template <typename Number>
void put(std::string& text, Number number) {
    for (std::size_t i = 0; i < sizeof number; ++i) {
        text.push_back(static_cast<char>((number >> (8 * i)) & 0xFFU));
    }
}

} // namespace

SoundSaver::SoundSaver(std::filesystem::path file, double seconds,
                       SoundDecoder::Create createDecoder)
    : file_(std::move(file))
    , seconds_(seconds)
    , blocks_(std::move(createDecoder)) {
}

double SoundSaver::written() const {
    return rate_ == 0 ? 0 : static_cast<double>(samples_) / rate_;
}

std::optional<Failure> SoundSaver::handleLine(std::string_view line) {
    if (!AudioFormat::announces(line)) {
        return std::nullopt;
    }
    const auto format = AudioFormat::parse(line);
    if (!format) {
        return Failure{format.error()};
    }
    if (auto failure = blocks_.configure(format.value())) {
        return failure;
    }
    if (rate_ == 0) {
        return open();
    }
    return rate_ == blocks_.rate()
               ? std::nullopt
               : std::optional(Failure{"the server's sound has another rate now"});
}

std::optional<Failure> SoundSaver::open() {
    rate_ = blocks_.rate();
    out_.open(file_, std::ios::binary | std::ios::trunc);
    const int error = errno;
    if (!out_) {
        return Failure{fmt::format("cannot write {}: {}", file_.string(), std::strerror(error))};
    }
    writeHeader();
    return std::nullopt;
}

std::optional<Failure> SoundSaver::handleBlock(const ViewerBlock& block) {
    if (complete_) {
        return std::nullopt;
    }
    const auto samples = blocks_.decode(block.bytes);
    if (!samples) {
        return Failure{samples.error()};
    }
    const std::uint32_t missing = block.header.frameID - expected_.value_or(block.header.frameID);
    expected_ = block.header.frameID + 1;
    if (missing > 0 && missing <= kMostMissing) {
        if (auto failure = append(std::vector<std::int16_t>(missing * lastLength_))) {
            return failure;
        }
    }
    lastLength_ = samples.value().size();
    return append(samples.value());
}

std::optional<Failure> SoundSaver::append(const std::vector<std::int16_t>& samples) {
    std::string bytes;
    bytes.reserve(samples.size() * kBytesOfSample);
    for (const std::int16_t sample : samples) {
        put(bytes, static_cast<std::uint16_t>(sample));
    }
    out_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    samples_ += static_cast<std::uint32_t>(samples.size());
    // Each time, for nobody knows how the program ends: the file can be read so far.
    writeHeader();
    out_.flush();
    complete_ = written() >= seconds_;
    if (complete_) {
        out_.close();
    }
    return out_ ? std::nullopt
                : std::optional(Failure{fmt::format("cannot write {}", file_.string())});
}

/// The 44 bytes in front of the samples, with the number of them so far.
void SoundSaver::writeHeader() {
    const std::uint32_t length = samples_ * kBytesOfSample;
    const auto rate = static_cast<std::uint32_t>(rate_);
    std::string header = "RIFF";
    put(header, length + kHeaderRest);
    header += "WAVEfmt ";
    put(header, kFormatLength);
    put(header, kPlainSamples);
    put(header, std::uint16_t{1}); // channel
    put(header, rate);
    put(header, rate * kBytesOfSample);
    put(header, kBytesOfSample);
    put(header, static_cast<std::uint16_t>(8 * kBytesOfSample));
    header += "data";
    put(header, length);
    out_.seekp(0);
    out_.write(header.data(), static_cast<std::streamsize>(header.size()));
    out_.seekp(0, std::ios::end);
}

} // namespace ovelo
