#pragma once

#include "nat/stun.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace ovelo {

using StunBytes = std::vector<std::uint8_t>;

/// An attribute as it goes over the wire; the length says what `body` has, unless told otherwise.
inline StunBytes stunAttribute(std::uint16_t type, const StunBytes& body, int length = -1) {
    constexpr std::size_t kHead = 4;
    StunBytes bytes(kHead + body.size());
    encode16(bytes.data(), type);
    encode16(bytes.data() + 2, static_cast<std::uint16_t>(length < 0 ? body.size() : length));
    std::copy(body.begin(), body.end(), bytes.begin() + kHead);
    return bytes;
}

/// The body of an address attribute.
inline StunBytes stunAddressBody(std::uint32_t addr, std::uint16_t port, std::uint8_t family = 1) {
    StunBytes body{0, family, 0, 0, 0, 0, 0, 0};
    encode16(body.data() + 2, port);
    encode32(body.data() + 4, addr);
    return body;
}

/// A Binding Response whose transaction id begins with `id` and is 0 otherwise.
inline StunBytes stunMessage(std::initializer_list<StunBytes> attributes, std::uint8_t id = 1) {
    StunBytes bytes(kStunHeaderSize);
    bytes[0] = 0x01;
    bytes[1] = 0x01;
    bytes[4] = id;
    for (const StunBytes& attribute : attributes) {
        bytes.insert(bytes.end(), attribute.begin(), attribute.end());
    }
    encode16(bytes.data() + 2, static_cast<std::uint16_t>(bytes.size() - kStunHeaderSize));
    return bytes;
}

inline StunAtrString stunText(const std::string& text) {
    StunAtrString atr;
    text.copy(atr.value.data(), atr.value.size());
    atr.sizeValue = static_cast<std::uint16_t>(text.size());
    return atr;
}

} // namespace ovelo
