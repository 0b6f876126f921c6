#pragma once

#include "nat/stun.h"

/// What the encoder and the parser both know of the attributes; for them alone.
namespace ovelo::stun {

enum Type : std::uint16_t {
    MappedAddress = 0x0001,
    ResponseAddress = 0x0002,
    ChangeRequest = 0x0003,
    SourceAddress = 0x0004,
    ChangedAddress = 0x0005,
    Username = 0x0006,
    Password = 0x0007,
    MessageIntegrity = 0x0008,
    ErrorCode = 0x0009,
    UnknownAttribute = 0x000A,
    ReflectedFrom = 0x000B,
    XorOnly = 0x0021,
    XorMappedAddress = 0x8020,
    ServerName = 0x8022,
    SecondaryAddress = 0x8050,
};

/// An attribute whose value is of kind Value.
template <typename Value>
struct Attribute {
    Type type{};
    bool StunMessage::*present = nullptr;
    Value StunMessage::*value = nullptr;
    const char* name = nullptr;
    const char* problem = nullptr; // said after the parser's own diagnostic
    bool shownDecoded = true;      // in verbose mode
};

using AddressAttribute = Attribute<StunAtrAddress4>;
using StringAttribute = Attribute<StunAtrString>;

inline constexpr AddressAttribute kMappedAddress{MappedAddress, &StunMessage::hasMappedAddress,
                                                 &StunMessage::mappedAddress, "MappedAddress",
                                                 "problem parsing MappedAddress"};
inline constexpr AddressAttribute kResponseAddress{
    ResponseAddress, &StunMessage::hasResponseAddress, &StunMessage::responseAddress,
    "ResponseAddress", "problem parsing ResponseAddress"};
inline constexpr AddressAttribute kSourceAddress{SourceAddress, &StunMessage::hasSourceAddress,
                                                 &StunMessage::sourceAddress, "SourceAddress",
                                                 "problem parsing SourceAddress"};
inline constexpr AddressAttribute kChangedAddress{ChangedAddress, &StunMessage::hasChangedAddress,
                                                  &StunMessage::changedAddress, "ChangedAddress",
                                                  "problem parsing ChangedAddress"};
inline constexpr AddressAttribute kReflectedFrom{
    ReflectedFrom,   &StunMessage::hasReflectedFrom,  &StunMessage::reflectedFrom,
    "ReflectedFrom", "problem parsing ReflectedFrom", false};
inline constexpr AddressAttribute kXorMappedAddress{
    XorMappedAddress, &StunMessage::hasXorMappedAddress, &StunMessage::xorMappedAddress,
    "XorMappedAddress", "problem parsing XorMappedAddress"};
inline constexpr AddressAttribute kSecondaryAddress{
    SecondaryAddress, &StunMessage::hasSecondaryAddress, &StunMessage::secondaryAddress,
    "SecondaryAddress", "problem parsing secondaryAddress"}; // sic

inline constexpr StringAttribute kUsername{Username, &StunMessage::hasUsername,
                                           &StunMessage::username, "Username",
                                           "problem parsing Username"};
inline constexpr StringAttribute kPassword{Password, &StunMessage::hasPassword,
                                           &StunMessage::password, "Password",
                                           "problem parsing Password"};
inline constexpr StringAttribute kServerName{ServerName, &StunMessage::hasServerName,
                                             &StunMessage::serverName, "ServerName",
                                             "problem parsing ServerName"};

} // namespace ovelo::stun
