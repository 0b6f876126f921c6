#include "viewer/ViewerStream.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace ovelo {

std::optional<ViewerStream::Item> ViewerStream::take(std::span<const std::uint8_t>& input) {
    while (error_.empty() && !input.empty()) {
        auto item = header_ ? takeBlock(input) : takeLine(input);
        if (item) {
            return item;
        }
    }
    return std::nullopt;
}

std::optional<ViewerStream::Item> ViewerStream::takeLine(std::span<const std::uint8_t>& input) {
    const auto lineFeed = std::find(input.begin(), input.end(), std::uint8_t{'\n'});
    const auto length = static_cast<std::size_t>(lineFeed - input.begin());
    if (line_.size() + length > kMaxLine) {
        error_ = fmt::format("a line is longer than {} bytes", kMaxLine);
        return std::nullopt;
    }
    line_.append(input.begin(), lineFeed);
    const bool complete = lineFeed != input.end();
    input = input.subspan(complete ? length + 1 : length);
    return complete ? finishLine() : std::nullopt;
}

std::optional<ViewerStream::Item> ViewerStream::finishLine() {
    std::string line = std::exchange(line_, {});
    if (!announcesBlock(line)) {
        return Item(std::move(line));
    }
    const auto header = parseFrameHeader(line);
    if (!header) {
        error_ = header.error();
        return std::nullopt;
    }
    header_ = header.value();
    return header_->length == 0 ? finishBlock() : std::nullopt;
}

std::optional<ViewerStream::Item> ViewerStream::takeBlock(std::span<const std::uint8_t>& input) {
    // Grows with what really comes: a length that is only claimed takes no memory.
    const std::size_t missing = header_->length - block_.size();
    const auto part = input.first(std::min(missing, input.size()));
    block_.insert(block_.end(), part.begin(), part.end());
    input = input.subspan(part.size());
    return part.size() == missing ? finishBlock() : std::nullopt;
}

std::optional<ViewerStream::Item> ViewerStream::finishBlock() {
    ViewerBlock block{*std::exchange(header_, std::nullopt), std::exchange(block_, {})};
    return Item(std::move(block));
}

} // namespace ovelo
