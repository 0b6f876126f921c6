#pragma once

#include "platform/Data.h"

#include <cstddef>
#include <string>

namespace ovelo {

/// Splits what a viewer sends into lines.
///
/// A line ends with a line feed. A carriage return stays in it, and what follows a NUL byte is
/// lost.
///
/// thread  one at a time
class LineBuffer {
public:
    /// A line has fewer bytes than this; a longer one is dropped whole.
    static constexpr std::size_t kLineBytes = 2048;

    /// A peer that sends more than this without a line feed is not speaking our language.
    static constexpr std::size_t kMostPending = std::size_t{1024} * 1024;

    enum class Result {
        None,    // no line feed yet
        Line,    // a line was taken
        TooLong, // a line was dropped for its length
        NotText, // a line was dropped because it is not UTF-8
    };

    /// Where received bytes are appended.
    Bytes& bytes() { return bytes_; }

    /// Takes the first line out, without its line feed. `line` changes only when the result is
    /// Line.
    Result next(std::string& line);

    /// True when more than kMostPending bytes wait for a line feed.
    [[nodiscard]] bool isFlooded() const { return bytes_.size() - taken_ > kMostPending; }

private:
    void compact();

    Bytes bytes_;
    std::size_t taken_ = 0;   // bytes at the front that are already lines
    std::size_t scanned_ = 0; // bytes at the front without a line feed after `taken_`
};

} // namespace ovelo
