#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace ovelo {

class Logger;

/// What has been received of framed lines and is not taken yet.
///
/// A line is "HEADER", the text, "TRAILER"; everything before a header is skipped. A zero byte hides
/// what is behind it from every search until what is before it has been taken.
///
/// thread  one at a time
class LineQueue {
public:
    static constexpr std::string_view kHeader = "HEADER";
    static constexpr std::string_view kTrailer = "TRAILER";
    static constexpr std::size_t kCapacity = 20240;

    /// How far the search for one line has come; bytes may be received between its steps.
    struct Search {
        int state = 0;            // 0 looks for the header, 1 for a line feed, 2 for the trailer
        std::size_t searched = 0; // bytes at the front in which that does not begin
    };

    explicit LineQueue(Logger& log) : log_(log) {}

    /// Goes on with a search as far as what is queued allows. return: true when `line` was taken
    bool takeLine(std::string& line, Search& search);

    /// Where received bytes are put; noteReceived() then tells how many. Not empty after
    /// resetOverflow().
    [[nodiscard]] std::span<std::uint8_t> room();
    void noteReceived(std::size_t count) { queue_buf_size_ += count; }

    /// Keeps only the last 100 bytes if the queue is full. return: whether it was
    bool resetOverflow(Search& search);

    /// Takes bytes from the front, as many as `block` has room for and the queue holds.
    std::size_t takeBytes(std::span<std::uint8_t> block);

    [[nodiscard]] std::size_t size() const { return queue_buf_size_; }

private:
    bool dropToHeader(Search& search);
    bool removeLineFeed(Search& search);
    bool takeToTrailer(std::string& line, Search& search);
    [[nodiscard]] std::size_t find(std::string_view text, Search& search) const;
    void erase(std::size_t at, std::size_t count);

    std::array<char, kCapacity> queue_buf_{}; // only the used part is ever looked at
    std::size_t queue_buf_size_ = 0;
    Logger& log_;
};

} // namespace ovelo
