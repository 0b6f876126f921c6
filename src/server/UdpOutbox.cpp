#include "server/UdpOutbox.h"

#include "nat/UdpStream.h"
#include "server/SocketException.h"

#include <cerrno>
#include <utility>

namespace ovelo {

namespace {

Bytes blockOf(std::string_view header, const Bytes& payload) {
    Bytes block;
    block.reserve(header.size() + payload.size() + UdpStream::kHeader.size() +
                  2 * UdpStream::kTrailer.size());
    for (const std::string_view text : {UdpStream::kHeader, header, UdpStream::kTrailer}) {
        block.insert(block.end(), text.begin(), text.end());
    }
    block.insert(block.end(), payload.begin(), payload.end());
    block.insert(block.end(), UdpStream::kTrailer.begin(), UdpStream::kTrailer.end());
    return block;
}

} // namespace

bool UdpOutbox::sendBinary(UdpStream& stream, std::string_view header, const Data& payload) {
    if (isWaiting()) {
        return false;
    }
    Message message{{}, blockOf(header, *payload), 0};
    if (!transmit(stream, message)) {
        keep(std::move(message));
    }
    return true;
}

bool UdpOutbox::sendInLine(UdpStream& stream, std::string_view header, const Data& payload) {
    if (!hasRoomFor(payload->size())) {
        return false;
    }
    Message message{{}, blockOf(header, *payload), 0};
    if (isWaiting() || !transmit(stream, message)) {
        keep(std::move(message));
    }
    return true;
}

bool UdpOutbox::sendText(UdpStream& stream, std::string_view text) {
    if (text.size() > kLongestText || !hasRoomFor(text.size())) {
        return false;
    }
    Message message{std::string(text), {}, 0};
    if (isWaiting() || !transmit(stream, message)) {
        keep(std::move(message));
    }
    return true;
}

/// Whatever its size, one message alone has room.
bool UdpOutbox::hasRoomFor(std::size_t size) const {
    return !isWaiting() || bytes_ + size <= kMostWaiting;
}

void UdpOutbox::keep(Message message) {
    if (!isWaiting()) {
        lastProgress_ = clock_.steady();
    }
    bytes_ += message.size();
    messages_.push_back(std::move(message));
}

/// return  true when all of it is gone
bool UdpOutbox::transmit(UdpStream& stream, Message& message) {
    if (message.block.empty()) {
        return stream.tryWriteString(message.text);
    }
    message.sent = stream.writeSome(message.block, message.sent);
    return message.sent == message.block.size();
}

void UdpOutbox::flush(UdpStream& stream) {
    while (isWaiting()) {
        const std::size_t sentBefore = messages_.front().sent;
        const bool isGone = transmit(stream, messages_.front());
        if (isGone || messages_.front().sent > sentBefore) {
            lastProgress_ = clock_.steady();
        }
        if (!isGone) {
            break;
        }
        bytes_ -= messages_.front().size();
        messages_.pop_front();
    }
    if (isWaiting() && clock_.steady() - lastProgress_ >= kStallLimit) {
        lastProgress_ = clock_.steady(); // tell it once in a while, not at each try
        throw SocketException::fromSystem("Socket: Send failed", ETIMEDOUT);
    }
}

} // namespace ovelo
