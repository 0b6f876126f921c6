#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace ovelo::aacencoders {

/// An encoder of AAC that may be installed.
struct Candidate {
    const char* elements; // take samples of 16 bits
    std::size_t delay;    // samples that a decoder gives before the first one that went in
    bool givesAtOnce;     // each packet comes out before the next block goes in
};

/// The better one first.
inline constexpr std::array kCandidates = {
    Candidate{"voaacenc", 1600, true},
    Candidate{"audioconvert ! avenc_aac", 1024, false},
};

/// What to do when none works.
inline constexpr const char* kAdvice =
    "Sound cannot be encoded: install the package gstreamer1.0-plugins-bad or gstreamer1.0-libav.";

/// Elements that give packets without headers, as text.
[[nodiscard]] inline std::string chain(const Candidate& candidate, int bitsPerSecond) {
    return std::string(candidate.elements) + " bitrate=" + std::to_string(bitsPerSecond) +
           " ! capsfilter caps=audio/mpeg,mpegversion=4,stream-format=raw";
}

} // namespace ovelo::aacencoders
