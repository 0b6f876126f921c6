#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

/// Classic STUN messages (RFC 3489, with the XOR-mapped address that came later): a client's half.
///
/// Plain records and functions. Addresses and ports are in host byte order throughout. What cannot
/// be understood is said on the console, mostly when `verbose` is set, and makes a result false.
namespace ovelo {

inline constexpr std::size_t STUN_MAX_STRING = 256;
inline constexpr std::size_t STUN_MAX_MESSAGE_SIZE = 2048; // size of the buffers that callers pass
inline constexpr std::size_t kStunHeaderSize = 20;         // RFC 3489, 11.1
inline constexpr std::uint16_t kStunBindingRequest = 0x0001;
inline constexpr std::uint32_t kStunChangeIp = 0x04;
inline constexpr std::uint32_t kStunChangePort = 0x02;

/// An address; unset while one of its two halves is 0.
struct StunAddress4 {
    std::uint16_t port = 0;
    std::uint32_t addr = 0;

    [[nodiscard]] bool isSet() const { return addr != 0 && port != 0; }
    friend bool operator==(const StunAddress4&, const StunAddress4&) = default;
};

struct StunAtrAddress4 {
    std::uint8_t pad = 0;
    std::uint8_t family = 0; // 1: IPv4
    StunAddress4 ipv4;
};

/// A text; terminated by a zero byte after parsing.
struct StunAtrString {
    std::array<char, STUN_MAX_STRING> value{};
    std::uint16_t sizeValue = 0; // bytes used

    [[nodiscard]] std::string_view text() const { return {value.data(), sizeValue}; }
};

/// A transaction id.
struct UInt128 {
    std::array<std::uint8_t, 16> octet{};
};

struct StunMsgHdr {
    std::uint16_t msgType = 0;
    std::uint16_t msgLength = 0; // bytes after the header
    UInt128 id;
};

struct StunAtrChangeRequest {
    std::uint32_t value = 0;
};

struct StunAtrError {
    static constexpr std::size_t kMostReason = 257; // of the largest body that is parsed

    std::uint16_t pad = 0;
    std::uint8_t errorClass = 0;
    std::uint8_t number = 0;
    std::array<char, kMostReason + 1> reason{}; // terminated by a zero byte
    std::uint16_t sizeReason = 0;
};

struct StunAtrUnknown {
    std::array<std::uint16_t, 8> attrType{};
    std::uint16_t numAttributes = 0;
};

struct StunAtrIntegrity {
    std::array<std::uint8_t, 20> hash{};
};

/// A message: its header and, for each attribute, whether it is there and its value.
struct StunMessage {
    StunMsgHdr msgHdr;

    bool hasMappedAddress = false;
    StunAtrAddress4 mappedAddress;
    bool hasResponseAddress = false;
    StunAtrAddress4 responseAddress;
    bool hasChangeRequest = false;
    StunAtrChangeRequest changeRequest;
    bool hasSourceAddress = false;
    StunAtrAddress4 sourceAddress;
    bool hasChangedAddress = false;
    StunAtrAddress4 changedAddress;
    bool hasUsername = false;
    StunAtrString username;
    bool hasPassword = false;
    StunAtrString password;
    bool hasMessageIntegrity = false;
    StunAtrIntegrity messageIntegrity;
    bool hasErrorCode = false;
    StunAtrError errorCode;
    bool hasUnknownAttributes = false;
    StunAtrUnknown unknownAttributes;
    bool hasReflectedFrom = false;
    StunAtrAddress4 reflectedFrom;
    bool hasXorMappedAddress = false;
    StunAtrAddress4 xorMappedAddress; // as received, the XOR not undone
    bool xorOnly = false;
    bool hasServerName = false;
    StunAtrString serverName;
    bool hasSecondaryAddress = false;
    StunAtrAddress4 secondaryAddress;
};

/// Writes a value in network byte order. return: the position after it
inline std::uint8_t* encode16(std::uint8_t* position, std::uint16_t value) {
    position[0] = static_cast<std::uint8_t>(value >> 8U);
    position[1] = static_cast<std::uint8_t>(value);
    return position + 2;
}

inline std::uint8_t* encode32(std::uint8_t* position, std::uint32_t value) {
    return encode16(encode16(position, static_cast<std::uint16_t>(value >> 16U)),
                    static_cast<std::uint16_t>(value));
}

/// Writes one attribute, 12 bytes. return: the position after it
std::uint8_t* encodeAtrAddress4(std::uint8_t* position, std::uint16_t type,
                                const StunAtrAddress4& atr);

/// Writes one attribute, `sizeValue` + 4 bytes; sizeValue must be a multiple of 4.
/// return: the position after it
std::uint8_t* encodeAtrString(std::uint8_t* position, std::uint16_t type, const StunAtrString& atr);

/// Makes a Binding Request of `msg`, which must not be null.
///
/// id  not 0: the first octet of the transaction id, which a reply is recognised by; the next three
///     octets are then its higher ones, else all 16 are random
void stunBuildReqSimple(StunMessage* msg, const StunAtrString& username, bool changePort,
                        bool changeIp, std::uint32_t id);

/// Writes a message.
///
/// buffer    at least as long as the message; the largest one has 1203 bytes
/// password  not empty: a MessageIntegrity attribute is appended
/// return    bytes written
std::size_t stunEncodeMessage(const StunMessage& msg, std::span<std::uint8_t> buffer,
                              const StunAtrString& password, bool verbose);

/// Reads a whole datagram.
///
/// return  true when all of it was understood; else `msg` must not be relied on
bool stunParseMessage(std::span<const std::uint8_t> datagram, StunMessage& msg, bool verbose);

/// Read the body of one attribute.
bool stunParseAtrAddress(std::span<const std::uint8_t> body, StunAtrAddress4& result, bool verbose);
bool stunParseAtrString(std::span<const std::uint8_t> body, StunAtrString& result, bool verbose);

/// A pseudo-random number; none to keep secrets with. Any thread.
std::uint32_t stunRand();

/// A local port from 16384 to 32767. Any thread.
std::uint16_t stunRandomPort();

/// As in 192.0.2.1:3478.
std::string toString(const StunAddress4& address);

/// 16 decimal octets joined by colons.
std::string toString(const UInt128& id);

} // namespace ovelo
