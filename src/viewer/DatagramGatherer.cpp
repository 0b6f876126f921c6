#include "viewer/DatagramGatherer.h"

#include <algorithm>
#include <string>
#include <utility>

namespace ovelo {

namespace {

std::string_view textOf(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

} // namespace

std::span<const std::uint8_t> DatagramGatherer::take(std::span<const std::uint8_t> datagram) {
    std::string_view text = textOf(datagram);
    if (text == kProbe || datagram.empty()) {
        return {};
    }
    if (whole_ != 0 && isKnownPart(datagram)) {
        return {}; // it came twice
    }
    if (!text.starts_with(kHeader)) {
        return continueBlock(datagram);
    }
    text.remove_prefix(kHeader.size());
    if (announcesBlock(text)) {
        return beginBlock(text, datagram) ? continueBlock(datagram) : View();
    }
    return takeLine(text);
}

/// Servers cut the end of a line off by as many bytes as it has letters beyond ASCII, and that may
/// be a part of the trailer, or all of it and more.
DatagramGatherer::View DatagramGatherer::takeLine(std::string_view text) {
    const auto end = std::min(text.find_last_of('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    // A line feed in the middle, or a zero byte, is not ours: it would be two lines of the stream.
    if (line.find('\n') != std::string_view::npos) {
        return {};
    }
    output_.assign(line.begin(), line.end());
    output_.push_back('\n');
    return output_;
}

/// return  false when the datagram is to be ignored
bool DatagramGatherer::beginBlock(std::string_view text, View datagram) {
    const auto end = text.find('\n');
    const auto header = end == std::string_view::npos ? Result<FrameHeader>(Failure{"no line"})
                                                      : parseFrameHeader(text.substr(0, end));
    if (!header || header.value().length == 0 || header.value().length > kLongestBlock ||
        !text.substr(end + 1).starts_with(kTrailer)) {
        return false;
    }
    if (header_ == header.value() && whole_ == 0) {
        return false; // the beginning of the last block once more
    }
    giveUp();
    header_ = header.value();
    begin_ = kHeader.size() + end + 1 + kTrailer.size();
    whole_ = begin_ + header_->length + kTrailer.size();
    message_.clear();
    message_.reserve(whole_);
    return datagram.size() <= whole_;
}

DatagramGatherer::View DatagramGatherer::continueBlock(View datagram) {
    if (whole_ == 0) {
        return {}; // of a block whose beginning is lost
    }
    if (datagram.size() != std::min(kDatagram, whole_ - message_.size())) {
        giveUp(); // one before it is lost, or it belongs to another block
        return {};
    }
    message_.insert(message_.end(), datagram.begin(), datagram.end());
    return message_.size() == whole_ ? finishBlock() : View();
}

DatagramGatherer::View DatagramGatherer::finishBlock() {
    const View message(message_);
    const View block = message.subspan(begin_, header_->length);
    const bool hasEnd = textOf(message.last(kTrailer.size())) == kTrailer;
    const bool isPicture = header_->kind == BlockKind::Picture;
    if (!hasEnd || (isPicture && isWholePicture_ && !isWholePicture_(block))) {
        giveUp();
        return {};
    }
    const View line = message.subspan(kHeader.size(), begin_ - kHeader.size() - kTrailer.size());
    output_.assign(line.begin(), line.end());
    output_.insert(output_.end(), block.begin(), block.end());
    whole_ = 0;
    return output_;
}

void DatagramGatherer::giveUp() {
    damaged_ += whole_ == 0 ? 0 : 1;
    whole_ = 0;
}

bool DatagramGatherer::isKnownPart(View datagram) const {
    const View known(message_);
    for (std::size_t at = 0; at + datagram.size() <= known.size(); at += kDatagram) {
        if (std::equal(datagram.begin(), datagram.end(), known.begin() + static_cast<long>(at))) {
            return true;
        }
    }
    return false;
}

} // namespace ovelo
