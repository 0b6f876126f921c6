#include "server/LineBuffer.h"

#include "platform/Utf8.h"

#include <algorithm>
#include <cstring>

namespace ovelo {

LineBuffer::Result LineBuffer::next(std::string& line) {
    const auto begin = bytes_.begin() + static_cast<std::ptrdiff_t>(taken_);
    const auto from = bytes_.begin() + static_cast<std::ptrdiff_t>(std::max(taken_, scanned_));
    const auto end = std::find(from, bytes_.end(), '\n');
    if (end == bytes_.end()) {
        compact();
        scanned_ = bytes_.size();
        return Result::None;
    }
    const auto length = static_cast<std::size_t>(end - begin);
    const std::size_t start = taken_;
    taken_ += length + 1;
    if (length >= kLineBytes) {
        return Result::TooLong;
    }
    const char* text = reinterpret_cast<const char*>(bytes_.data() + start);
    std::string candidate(text, ::strnlen(text, length)); // Kept: a NUL ends the text.
    if (!isUtf8(candidate)) {
        return Result::NotText;
    }
    line = std::move(candidate);
    return Result::Line;
}

void LineBuffer::compact() {
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(taken_));
    taken_ = 0;
    if (bytes_.empty() && bytes_.capacity() > kLineBytes) {
        bytes_.shrink_to_fit();
    }
}

} // namespace ovelo
