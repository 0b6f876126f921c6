#pragma once

#include "platform/FileDescriptor.h"

#include <sys/types.h>

#include <cstdint>
#include <span>
#include <string>

/// A few steps around one UDP socket. Addresses and ports are in host byte order; what fails is
/// said on the console.
namespace ovelo {

inline constexpr int INVALID_SOCKET = -1;

/// Opens a socket whose reads wait for 10 seconds at most.
///
/// port         0: any that is free
/// interfaceIp  the local address to bind; 0 and 0x0100007F: every one
/// return       not open when it failed
FileDescriptor openPort(std::uint16_t port, std::uint32_t interfaceIp, bool verbose);

/// Sends one datagram.
///
/// dstIp, dstPort  both 0: to whom the socket is connected
/// return          true when every byte was sent
bool sendMessage(int fd, std::span<const std::uint8_t> message, std::uint32_t dstIp,
                 std::uint16_t dstPort, bool verbose);

/// Waits for one datagram, and ends it with a zero byte.
///
/// length  in: the buffer's size; out: bytes received
/// return  true when one came that is at least 2 bytes shorter than the buffer
bool getMessage(int fd, std::uint8_t* buffer, int& length, std::uint32_t& srcIp,
                std::uint16_t& srcPort, bool verbose);

/// The texts about what failed; an empty one is not to be said. error: errno
namespace udptext {

std::string bindFailure(int error, std::uint16_t port, bool verbose);
std::string sendFailure(int error);
std::string receiveFailure(ssize_t received, int error);

} // namespace udptext

} // namespace ovelo
