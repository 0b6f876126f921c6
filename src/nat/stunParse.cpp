#include "nat/stun.h"
#include "nat/stunAttributes.h"
#include "platform/Console.h"

#include <fmt/format.h>

#include <algorithm>

namespace ovelo {

namespace {

using namespace stun;
using Body = std::span<const std::uint8_t>;

constexpr std::size_t kAttributeHead = 4; // type and length
constexpr std::size_t kAddressBody = 8;
constexpr std::size_t kChangeRequestBody = 4;
constexpr std::size_t kIntegrityBody = 20;
constexpr std::size_t kErrorHead = 4; // pad, class, number
constexpr std::size_t kErrorLimit = 262;
constexpr std::size_t kUnknownLimit = 16;
constexpr std::uint16_t kFirstOptionalType = 0x8000; // RFC 3489, 11.2

std::uint16_t decode16(const std::uint8_t* position) {
    return static_cast<std::uint16_t>(position[0] << 8U | position[1]);
}

std::uint32_t decode32(const std::uint8_t* position) {
    return static_cast<std::uint32_t>(decode16(position)) << 16U | decode16(position + 2);
}

void say(bool verbose, std::string_view text) {
    if (verbose) {
        console::write(text);
    }
}

bool failed(bool verbose, std::string_view text) {
    say(verbose, text);
    return false;
}

/// Reads the attributes of one message, one by one.
class Parser {
public:
    Parser(StunMessage& msg, bool verbose) : msg_(msg), verbose_(verbose) {}

    bool attributes(Body rest) {
        while (!rest.empty()) {
            const std::size_t size = kAttributeHead + bodySize(rest);
            if (rest.size() < size) {
                console::write(fmt::format("claims attribute is larger than size of message "
                                           "(attribute type={})",
                                           typeOf(rest)));
                return false;
            }
            if (!attribute(typeOf(rest), rest.subspan(kAttributeHead, size - kAttributeHead))) {
                return false;
            }
            rest = rest.subspan(size); // no padding
        }
        return true;
    }

private:
    static std::uint16_t typeOf(Body rest) { return rest.size() < 2 ? 0 : decode16(rest.data()); }
    static std::size_t bodySize(Body rest) {
        return rest.size() < kAttributeHead ? 0 : decode16(rest.data() + 2);
    }

    bool attribute(std::uint16_t type, Body body) {
        switch (type) {
        case MappedAddress:
            return address(kMappedAddress, body);
        case ResponseAddress:
            return address(kResponseAddress, body);
        case ChangeRequest:
            return changeRequest(body);
        case SourceAddress:
            return address(kSourceAddress, body);
        case ChangedAddress:
            return address(kChangedAddress, body);
        case Username:
            return string(kUsername, body);
        case Password:
            return string(kPassword, body);
        case MessageIntegrity:
            return messageIntegrity(body);
        case ErrorCode:
            return errorCode(body);
        case UnknownAttribute:
            return unknownAttributes(body);
        case ReflectedFrom:
            return address(kReflectedFrom, body);
        case XorOnly:
            msg_.xorOnly = true;
            say(verbose_, "xorOnly = true");
            return true;
        case XorMappedAddress:
            return address(kXorMappedAddress, body);
        case ServerName:
            return string(kServerName, body);
        case SecondaryAddress:
            return address(kSecondaryAddress, body);
        default:
            return unknown(type);
        }
    }

    [[nodiscard]] bool unknown(std::uint16_t type) const {
        if (verbose_) {
            console::write(fmt::format("Unknown attribute: {}", type));
        }
        return type >= kFirstOptionalType;
    }

    bool address(const AddressAttribute& attribute, Body body) {
        msg_.*attribute.present = true;
        StunAtrAddress4& value = msg_.*attribute.value;
        if (!stunParseAtrAddress(body, value, verbose_)) {
            return failed(verbose_, attribute.problem);
        }
        if (verbose_ && attribute.shownDecoded) {
            console::write(fmt::format("{} = {}", attribute.name, toString(value.ipv4)));
        }
        return true;
    }

    bool string(const StringAttribute& attribute, Body body) {
        msg_.*attribute.present = true;
        StunAtrString& value = msg_.*attribute.value;
        if (!stunParseAtrString(body, value, verbose_)) {
            return failed(verbose_, attribute.problem);
        }
        if (verbose_) {
            console::write(fmt::format("{} = {}", attribute.name, value.value.data()));
        }
        return true;
    }

    bool changeRequest(Body body) {
        msg_.hasChangeRequest = true;
        if (body.size() != kChangeRequestBody) {
            if (verbose_) {
                console::write(
                    fmt::format("hdr length = {} expecting {}", body.size(), kChangeRequestBody));
                console::write("Incorrect size for ChangeRequest");
            }
            return failed(verbose_, "problem parsing ChangeRequest");
        }
        msg_.changeRequest.value = decode32(body.data());
        if (verbose_) {
            console::write(fmt::format("ChangeRequest = {}", msg_.changeRequest.value));
        }
        return true;
    }

    bool messageIntegrity(Body body) {
        msg_.hasMessageIntegrity = true;
        if (body.size() != kIntegrityBody) {
            say(verbose_, "MessageIntegrity must be 20 bytes");
            return failed(verbose_, "problem parsing MessageIntegrity");
        }
        std::copy(body.begin(), body.end(), msg_.messageIntegrity.hash.begin()); // never checked
        return true;
    }

    bool errorCode(Body body) {
        msg_.hasErrorCode = true;
        if (body.size() >= kErrorLimit) {
            say(verbose_, "head on Error too large");
            return failed(verbose_, "problem parsing ErrorCode");
        }
        if (body.size() < kErrorHead) {
            return failed(verbose_, "problem parsing ErrorCode");
        }
        StunAtrError& error = msg_.errorCode;
        error.pad = decode16(body.data());
        error.errorClass = body[2];
        error.number = body[3];
        error.sizeReason = static_cast<std::uint16_t>(body.size() - kErrorHead);
        std::copy(body.begin() + kErrorHead, body.end(), error.reason.begin());
        error.reason[error.sizeReason] = '\0';
        if (verbose_) {
            console::write(fmt::format("ErrorCode = {} {} {}", error.errorClass, error.number,
                                       error.reason.data()));
        }
        return true;
    }

    bool unknownAttributes(Body body) {
        msg_.hasUnknownAttributes = true;
        if (body.size() > kUnknownLimit || body.size() % 4 != 0) {
            return failed(verbose_, "problem parsing UnknownAttribute");
        }
        // Kept: a quarter of the bytes as the count, though each entry has two of them.
        StunAtrUnknown& list = msg_.unknownAttributes;
        list.numAttributes = static_cast<std::uint16_t>(body.size() / 4);
        for (std::size_t i = 0; i < list.numAttributes; ++i) {
            list.attrType[i] = decode16(body.data() + 2 * i);
        }
        return true;
    }

    StunMessage& msg_;
    const bool verbose_;
};

} // namespace

bool stunParseAtrAddress(std::span<const std::uint8_t> body, StunAtrAddress4& result,
                         bool verbose) {
    if (body.size() != kAddressBody) {
        return failed(verbose, "hdrLen wrong for Address");
    }
    result.pad = body[0];
    result.family = body[1];
    if (result.family == 1) {
        result.ipv4.port = decode16(body.data() + 2);
        result.ipv4.addr = decode32(body.data() + 4);
        return true;
    }
    if (result.family == 2) {
        return failed(verbose, "ipv6 not supported");
    }
    if (verbose) {
        console::write(fmt::format("bad address family: {}", result.family));
    }
    return false;
}

bool stunParseAtrString(std::span<const std::uint8_t> body, StunAtrString& result, bool verbose) {
    if (body.size() >= STUN_MAX_STRING) {
        return failed(verbose, "String is too large");
    }
    if (body.size() % 4 != 0) {
        if (verbose) {
            console::write(fmt::format("Bad length string {}", body.size()));
        }
        return false;
    }
    result.sizeValue = static_cast<std::uint16_t>(body.size());
    std::copy(body.begin(), body.end(), result.value.begin());
    result.value[body.size()] = '\0';
    return true;
}

bool stunParseMessage(std::span<const std::uint8_t> datagram, StunMessage& msg, bool verbose) {
    if (verbose) {
        console::write(fmt::format("Received stun message: {} bytes", datagram.size()));
    }
    msg = StunMessage{};
    if (datagram.size() < kStunHeaderSize) {
        console::write("Bad message");
        return false;
    }
    msg.msgHdr.msgType = decode16(datagram.data());
    msg.msgHdr.msgLength = decode16(datagram.data() + 2);
    std::copy_n(datagram.data() + 4, msg.msgHdr.id.octet.size(), msg.msgHdr.id.octet.begin());
    if (msg.msgHdr.msgLength + kStunHeaderSize != datagram.size()) {
        console::write(fmt::format("Message header length doesn't match message size: {} - {}",
                                   msg.msgHdr.msgLength, datagram.size()));
        return false;
    }
    return Parser(msg, verbose).attributes(datagram.subspan(kStunHeaderSize));
}

} // namespace ovelo
