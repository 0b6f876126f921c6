#include "server/Outbox.h"

#include "server/AbstractSocket.h"
#include "server/SocketException.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace ovelo {

namespace {

iovec part(const void* bytes, std::size_t size) {
    return {const_cast<void*>(bytes), size}; // the system only reads it
}

} // namespace

const void* Outbox::Segment::rest() const {
    return data ? static_cast<const void*>(data->data() + sent)
                : static_cast<const void*>(text.data() + sent);
}

std::size_t Outbox::Segment::restSize() const {
    return (data ? data->size() : text.size()) - sent;
}

bool Outbox::sendBinary(AbstractSocket& socket, std::string_view header, const Data& payload) {
    return !isWaiting() && transmit(socket, header, payload);
}

bool Outbox::sendInLine(AbstractSocket& socket, std::string_view header, const Data& payload) {
    if (!isWaiting() && transmit(socket, header, payload)) {
        return true;
    }
    if (soundBytes_ + payload->size() > kMostSound) {
        return false;
    }
    keep({std::string(header), nullptr});
    keep({{}, payload, 0, payload->size()});
    return true;
}

/// return  false when nothing of it is gone
bool Outbox::transmit(AbstractSocket& socket, std::string_view header, const Data& payload) {
    const std::array<iovec, 2> parts{part(header.data(), header.size()),
                                     part(payload->data(), payload->size())};
    const std::size_t sent = socket.writeSome(parts);
    if (sent == 0) {
        noteRefusal(socket);
        return false; // no room at all: as if it had not been writable
    }
    refused_ = false;
    if (sent < header.size()) {
        keep({std::string(header.substr(sent)), nullptr});
    }
    const std::size_t payloadSent = sent - std::min(sent, header.size());
    if (payloadSent < payload->size()) {
        keep({{}, payload, payloadSent});
    }
    return true;
}

void Outbox::sendText(AbstractSocket& socket, std::string_view text) {
    socket.logText(text);
    if (textBytes_ > kMostText) { // before any of it is gone: the stream stays whole
        throw SocketException::fromSystem("Socket: Send failed", ENOBUFS);
    }
    std::size_t sent = 0;
    if (!isWaiting() && !text.empty()) {
        const std::array<iovec, 1> parts{part(text.data(), text.size())};
        sent = socket.writeSome(parts);
    }
    if (sent == text.size()) {
        return;
    }
    keep({std::string(text.substr(sent)), nullptr});
}

void Outbox::keep(Segment segment) {
    if (!isWaiting()) {
        lastProgress_ = clock_.steady();
        unacknowledged_ = 0;
    }
    textBytes_ += segment.text.size();
    soundBytes_ += segment.sound;
    segments_.push_back(std::move(segment));
}

void Outbox::flush(AbstractSocket& socket) {
    bool sentSomething = false;
    while (isWaiting()) {
        std::array<iovec, 8> parts{};
        const std::size_t count = std::min(parts.size(), segments_.size());
        for (std::size_t index = 0; index < count; ++index) {
            parts.at(index) = part(segments_[index].rest(), segments_[index].restSize());
        }
        const std::size_t sent = socket.writeSome({parts.data(), count});
        if (sent == 0) {
            break;
        }
        sentSomething = true;
        drop(sent);
    }
    if (isWaiting()) {
        checkProgress(socket, sentSomething);
    }
}

void Outbox::drop(std::size_t sent) {
    while (sent > 0) {
        Segment& first = segments_.front();
        const std::size_t step = std::min(sent, first.restSize());
        first.sent += step;
        sent -= step;
        if (first.restSize() == 0) {
            textBytes_ -= first.text.size();
            soundBytes_ -= first.sound;
            segments_.pop_front();
        }
    }
}

/// The buffer may be full to the brim with nothing kept: that can last as well.
void Outbox::noteRefusal(AbstractSocket& socket) {
    if (std::exchange(refused_, true)) {
        checkProgress(socket, false);
        return;
    }
    lastProgress_ = clock_.steady();
    unacknowledged_ = socket.unacknowledged();
}

void Outbox::checkProgress(AbstractSocket& socket, bool sentSomething) {
    const std::size_t unacknowledged = socket.unacknowledged();
    const bool acknowledgedSome = unacknowledged < std::exchange(unacknowledged_, unacknowledged);
    if (sentSomething || acknowledgedSome) {
        lastProgress_ = clock_.steady();
        return;
    }
    if (clock_.steady() - lastProgress_ >= kStallLimit) {
        lastProgress_ = clock_.steady(); // tell it once in a while, not at each try
        throw SocketException::fromSystem("Socket: Send failed", ETIMEDOUT);
    }
}

} // namespace ovelo
