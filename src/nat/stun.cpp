#include "nat/stun.h"

#include "nat/stunAttributes.h"
#include "platform/Assert.h"
#include "platform/Console.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#else
#include <chrono>
#endif

namespace ovelo {

namespace {

using namespace stun;

constexpr std::size_t kIntegritySize = 20;
// Kept: nothing is computed; no server that we ask wants to see more.
constexpr std::string_view kIntegrityText = "hmac-not-implemented";
static_assert(kIntegrityText.size() == kIntegritySize);

constexpr std::size_t kAttributeHead = 4; // type and length
constexpr std::size_t kAddressBody = 8;
constexpr std::size_t kLargestMessage =
    kStunHeaderSize + 7 * (kAttributeHead + kAddressBody) + (kAttributeHead + 4) +
    3 * (kAttributeHead + STUN_MAX_STRING) + (kAttributeHead + 4 + StunAtrError::kMostReason) +
    (kAttributeHead + 16) + 2 + (kAttributeHead + kIntegritySize);
static_assert(kLargestMessage <= STUN_MAX_MESSAGE_SIZE);

std::uint64_t timeStampCounter() {
#if defined(__x86_64__) || defined(__i386__)
    return __rdtsc();
#else
    return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
#endif
}

/// Writes the attributes of one message into a buffer that is large enough for any.
class Encoder {
public:
    Encoder(const StunMessage& msg, bool verbose) : msg_(msg), verbose_(verbose) {}

    std::span<const std::uint8_t> encode(const StunAtrString& password) {
        say("Encoding stun message: ");
        header();
        attributes();
        integrity(password);
        const auto size = static_cast<std::size_t>(position_ - bytes_.data());
        encode16(bytes_.data() + 2, static_cast<std::uint16_t>(size - kStunHeaderSize));
        return {bytes_.data(), size};
    }

private:
    void say(std::string_view text) const {
        if (verbose_) {
            console::write(text);
        }
    }

    void header() {
        position_ = encode16(position_, msg_.msgHdr.msgType);
        position_ = encode16(position_, 0); // patched at the end
        position_ =
            std::copy_n(msg_.msgHdr.id.octet.data(), msg_.msgHdr.id.octet.size(), position_);
    }

    void attributes() {
        address(kMappedAddress);
        address(kResponseAddress);
        changeRequest();
        address(kSourceAddress);
        address(kChangedAddress);
        string(kUsername);
        string(kPassword);
        errorCode();
        unknownAttributes();
        address(kReflectedFrom);
        address(kXorMappedAddress);
        xorOnly();
        string(kServerName);
        address(kSecondaryAddress);
    }

    void address(const AddressAttribute& attribute) {
        if (!(msg_.*attribute.present)) {
            return;
        }
        const StunAtrAddress4& value = msg_.*attribute.value;
        if (verbose_) {
            say(fmt::format("Encoding {}: {}", attribute.name, toString(value.ipv4)));
        }
        position_ = encodeAtrAddress4(position_, attribute.type, value);
    }

    void string(const StringAttribute& attribute) {
        if (!(msg_.*attribute.present)) {
            return;
        }
        const StunAtrString& value = msg_.*attribute.value;
        if (verbose_) {
            say(fmt::format("Encoding {}: {}", attribute.name, value.text()));
        }
        position_ = encodeAtrString(position_, attribute.type, value);
    }

    void changeRequest() {
        if (!msg_.hasChangeRequest) {
            return;
        }
        if (verbose_) {
            say(fmt::format("Encoding ChangeRequest: {}", msg_.changeRequest.value));
        }
        position_ = encode16(encode16(position_, ChangeRequest), 4);
        position_ = encode32(position_, msg_.changeRequest.value);
    }

    void errorCode() {
        if (!msg_.hasErrorCode) {
            return;
        }
        const StunAtrError& error = msg_.errorCode;
        OVELO_ASSERT(error.sizeReason <= StunAtrError::kMostReason, "reason fits into its buffer");
        const std::string_view reason(error.reason.data(), error.sizeReason);
        if (verbose_) {
            say(fmt::format("Encoding ErrorCode: class={} number={} reason={}", error.errorClass,
                            error.number, reason));
        }
        // Kept: the length says two bytes more than follow.
        const auto length = static_cast<std::uint16_t>(error.sizeReason + 6);
        position_ = encode16(encode16(position_, ErrorCode), length);
        position_ = encode16(position_, error.pad);
        *position_++ = error.errorClass;
        *position_++ = error.number;
        position_ = std::copy(reason.begin(), reason.end(), position_);
    }

    void unknownAttributes() {
        if (!msg_.hasUnknownAttributes) {
            return;
        }
        const StunAtrUnknown& unknown = msg_.unknownAttributes;
        OVELO_ASSERT(unknown.numAttributes <= unknown.attrType.size(), "types fit into their list");
        // Kept: two bytes more than the types that follow.
        const auto length = static_cast<std::uint16_t>(2 + 2 * unknown.numAttributes);
        position_ = encode16(encode16(position_, UnknownAttribute), length);
        for (std::size_t i = 0; i < unknown.numAttributes; ++i) {
            position_ = encode16(position_, unknown.attrType[i]);
        }
    }

    void xorOnly() {
        if (!msg_.xorOnly) {
            return;
        }
        say("Encoding xorOnly: ");
        position_ = encode16(position_, XorOnly); // Kept: the type alone, without a length.
    }

    void integrity(const StunAtrString& password) {
        if (password.sizeValue == 0) {
            return;
        }
        if (verbose_) {
            say(fmt::format("HMAC with password: {}", password.text()));
        }
        position_ = encode16(encode16(position_, MessageIntegrity), kIntegritySize);
        position_ = std::copy(kIntegrityText.begin(), kIntegrityText.end(), position_);
    }

    const StunMessage& msg_;
    const bool verbose_;
    std::array<std::uint8_t, kLargestMessage> bytes_{};
    std::uint8_t* position_ = bytes_.data();
};

} // namespace

std::uint8_t* encodeAtrAddress4(std::uint8_t* position, std::uint16_t type,
                                const StunAtrAddress4& atr) {
    position = encode16(encode16(position, type), kAddressBody);
    *position++ = atr.pad;
    *position++ = 1; // IPv4
    return encode32(encode16(position, atr.ipv4.port), atr.ipv4.addr);
}

std::uint8_t* encodeAtrString(std::uint8_t* position, std::uint16_t type,
                              const StunAtrString& atr) {
    OVELO_ASSERT(atr.sizeValue % 4 == 0, "atr.sizeValue % 4 == 0");
    OVELO_ASSERT(atr.sizeValue <= STUN_MAX_STRING, "atr.sizeValue <= STUN_MAX_STRING");
    position = encode16(encode16(position, type), atr.sizeValue);
    return std::copy_n(atr.value.data(), atr.sizeValue, position);
}

void stunBuildReqSimple(StunMessage* msg, const StunAtrString& username, bool changePort,
                        bool changeIp, std::uint32_t id) {
    OVELO_ASSERT(msg != nullptr, "msg");
    *msg = StunMessage{};
    msg->msgHdr.msgType = kStunBindingRequest;
    auto& octets = msg->msgHdr.id.octet;
    for (std::size_t i = 0; i < octets.size(); i += 4) {
        const std::uint32_t word = (i == 0 && id != 0) ? id : stunRand();
        for (std::size_t j = 0; j < 4; ++j) {
            octets[i + j] = static_cast<std::uint8_t>(word >> (8 * j)); // low octet first
        }
    }
    msg->hasChangeRequest = true;
    msg->changeRequest.value = (changeIp ? kStunChangeIp : 0) | (changePort ? kStunChangePort : 0);
    if (username.sizeValue > 0) {
        msg->hasUsername = true;
        msg->username = username;
    }
}

std::size_t stunEncodeMessage(const StunMessage& msg, std::span<std::uint8_t> buffer,
                              const StunAtrString& password, bool verbose) {
    OVELO_ASSERT(buffer.size() >= kStunHeaderSize, "bufLen >= sizeof(StunMsgHdr)");
    Encoder encoder(msg, verbose);
    const auto bytes = encoder.encode(password);
    OVELO_ASSERT(bytes.size() <= buffer.size(), "buffer holds the message");
    std::copy(bytes.begin(), bytes.end(), buffer.begin());
    return bytes.size();
}

std::uint32_t stunRand() {
    static std::once_flag seeded;
    std::call_once(seeded, [] { ::srandom(static_cast<unsigned>(timeStampCounter())); });
    return static_cast<std::uint32_t>(::random());
}

std::uint16_t stunRandomPort() {
    const std::uint32_t r = stunRand();
    return static_cast<std::uint16_t>(((r & 0xFFU) | ((((r >> 8U) | 0x40U) & 0xFFU) << 8U)) &
                                      0x7FFFU);
}

std::string toString(const StunAddress4& address) {
    const std::uint32_t a = address.addr;
    return fmt::format("{}.{}.{}.{}:{}", a >> 24U, (a >> 16U) & 0xFFU, (a >> 8U) & 0xFFU, a & 0xFFU,
                       address.port);
}

std::string toString(const UInt128& id) {
    return fmt::format("{}", fmt::join(id.octet, ":"));
}

} // namespace ovelo
