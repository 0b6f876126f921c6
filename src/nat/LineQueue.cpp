#include "nat/LineQueue.h"

#include "support/Logger.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace ovelo {

bool LineQueue::takeLine(std::string& line, Search& search) {
    if (search.state == 0 && dropToHeader(search)) {
        search.state = 1;
    }
    if (search.state == 1 && removeLineFeed(search)) {
        search.state = 2;
    }
    return search.state == 2 && takeToTrailer(line, search);
}

bool LineQueue::dropToHeader(Search& search) {
    const std::size_t at = find(kHeader, search);
    if (at == std::string_view::npos) {
        return false;
    }
    log_.write(fmt::format("ReadLine(): header skip <{}>\n", at));
    erase(0, at);
    return true;
}

bool LineQueue::removeLineFeed(Search& search) {
    // Kept: the first line feed of the queue, which may belong to the line after this one.
    const std::size_t at = find("\n", search);
    if (at == std::string_view::npos) {
        return false;
    }
    erase(at, 1);
    return true;
}

bool LineQueue::takeToTrailer(std::string& line, Search& search) {
    const std::size_t at = find(kTrailer, search);
    if (at == std::string_view::npos) {
        return false;
    }
    // After an overflow the header may be gone, and the trailer stand in its place.
    const std::size_t begin = std::min(kHeader.size(), at);
    line.assign(queue_buf_.data() + begin, at - begin);
    erase(0, at + kTrailer.size());
    log_.write(fmt::format("ReadLine <{}>\n", line));
    log_.write(fmt::format("QueueBufSize <{}>\n", queue_buf_size_));
    return true;
}

/// Where a text begins. When it is not there yet, the search remembers up to where; when it is, the
/// next search is for another text and begins at the front.
std::size_t LineQueue::find(std::string_view text, Search& search) const {
    const std::string_view queue(queue_buf_.data(), ::strnlen(queue_buf_.data(), queue_buf_size_));
    const std::size_t at = queue.find(text, std::min(search.searched, queue.size()));
    search.searched = 0;
    if (at == std::string_view::npos && queue.size() >= text.size()) {
        search.searched = queue.size() - text.size() + 1;
    }
    return at;
}

void LineQueue::erase(std::size_t at, std::size_t count) {
    char* const queue = queue_buf_.data();
    std::copy(queue + at + count, queue + queue_buf_size_, queue + at);
    queue_buf_size_ -= count;
}

std::span<std::uint8_t> LineQueue::room() {
    const std::span<char> room = std::span(queue_buf_).subspan(queue_buf_size_);
    return {reinterpret_cast<std::uint8_t*>(room.data()), room.size()};
}

bool LineQueue::resetOverflow(Search& search) {
    constexpr std::size_t kKept = 100;
    if (queue_buf_size_ < kCapacity) {
        return false;
    }
    erase(0, kCapacity - kKept);
    search.searched = 0;
    log_.write("ReadLine(): reset overflow\n");
    return true;
}

std::size_t LineQueue::takeBytes(std::span<std::uint8_t> block) {
    const std::size_t count = std::min(block.size(), queue_buf_size_);
    std::copy_n(queue_buf_.data(), count, block.data());
    erase(0, count);
    return count;
}

} // namespace ovelo
