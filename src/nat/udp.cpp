#include "nat/udp.h"

#include "platform/Assert.h"
#include "platform/Console.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <system_error>

namespace ovelo {

namespace {

constexpr timeval kReceiveTimeout{10, 0};
// Kept: compared as it stands, so in host byte order it is 1.0.0.127 and not the loopback address.
constexpr std::uint32_t kEveryInterface = 0x0100007F;

std::string systemText(int error) {
    return std::generic_category().message(error);
}

void say(const std::string& text) {
    if (!text.empty()) {
        console::write(text);
    }
}

sockaddr_in socketAddress(std::uint32_t ip, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(ip);
    address.sin_port = htons(port);
    return address;
}

std::uint32_t bindAddress(std::uint32_t interfaceIp, bool verbose) {
    if (interfaceIp == 0 || interfaceIp == kEveryInterface) {
        return INADDR_ANY;
    }
    if (verbose) {
        console::write(fmt::format("Binding to interface 0x{:x}", interfaceIp));
    }
    return interfaceIp;
}

ssize_t sendDatagram(int fd, std::span<const std::uint8_t> message, std::uint32_t dstIp,
                     std::uint16_t dstPort) {
    if (dstPort == 0) {
        OVELO_ASSERT(dstIp == 0, "dstIp == 0");
        return ::send(fd, message.data(), message.size(), MSG_NOSIGNAL);
    }
    OVELO_ASSERT(dstIp != 0, "dstIp != 0");
    const sockaddr_in to = socketAddress(dstIp, dstPort);
    return ::sendto(fd, message.data(), message.size(), MSG_NOSIGNAL,
                    reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

} // namespace

std::string udptext::bindFailure(int error, std::uint16_t port, bool verbose) {
    switch (error) {
    case 0:
        return "Could not bind socket";
    case EADDRINUSE:
        return fmt::format("Port {} for receiving UDP is in use", port);
    case EADDRNOTAVAIL:
        return verbose ? "Cannot assign requested address" : "";
    default:
        return fmt::format("Could not bind UDP receive port {} {}", error, systemText(error));
    }
}

std::string udptext::sendFailure(int error) {
    switch (error) {
    case EHOSTDOWN:
    case EHOSTUNREACH:
    case ECONNREFUSED:
        return {};
    case EAFNOSUPPORT:
        return "err EAFNOSUPPORT in send";
    default:
        return fmt::format("err {} {} in send", error, systemText(error));
    }
}

std::string udptext::receiveFailure(ssize_t received, int error) {
    if (received == 0) {
        return "socket closed? zero len";
    }
    switch (error) {
    case 0:
        return "socket closed? negative len";
    case ENOTSOCK:
        return "Error fd not a socket";
    case ECONNRESET:
        return "Error connection reset - host not reachable";
    default:
        return fmt::format("Socket Error={}", error);
    }
}

FileDescriptor openPort(std::uint16_t port, std::uint32_t interfaceIp, bool verbose) {
    FileDescriptor created(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP));
    if (!created) {
        const int error = errno;
        say(fmt::format("Could not create a UDP socket:{} {}", error, systemText(error)));
        return {};
    }
    ::setsockopt(created.get(), SOL_SOCKET, SO_RCVTIMEO, &kReceiveTimeout, sizeof kReceiveTimeout);
    const sockaddr_in local = socketAddress(bindAddress(interfaceIp, verbose), port);
    if (::bind(created.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        const int error = errno;
        say(udptext::bindFailure(error, port, verbose));
        return {};
    }
    if (verbose) {
        say(fmt::format("Opened port {} with fd {}", port, created.get()));
    }
    return created;
}

bool sendMessage(int fd, std::span<const std::uint8_t> message, std::uint32_t dstIp,
                 std::uint16_t dstPort, bool verbose) {
    OVELO_ASSERT(fd != INVALID_SOCKET, "fd != INVALID_SOCKET");
    const ssize_t sent = sendDatagram(fd, message, dstIp, dstPort);
    const int error = errno;
    if (sent < 0) {
        say(udptext::sendFailure(error));
        return false;
    }
    if (sent == 0) {
        say("no data sent in send");
        return false;
    }
    if (static_cast<std::size_t>(sent) != message.size()) {
        say(verbose ? fmt::format("only {} out of {} bytes sent", sent, message.size()) : "");
        return false;
    }
    return true;
}

bool getMessage(int fd, std::uint8_t* buffer, int& length, std::uint32_t& srcIp,
                std::uint16_t& srcPort, bool verbose) {
    OVELO_ASSERT(fd != INVALID_SOCKET, "fd != INVALID_SOCKET");
    const int capacity = length;
    if (capacity <= 0) {
        return false;
    }
    sockaddr_in from{};
    socklen_t size = sizeof from;
    const ssize_t received = ::recvfrom(fd, buffer, static_cast<std::size_t>(capacity), 0,
                                        reinterpret_cast<sockaddr*>(&from), &size);
    const int error = errno;
    if (received <= 0) {
        say(udptext::receiveFailure(received, error));
        return false;
    }
    length = static_cast<int>(received);
    if (capacity <= length + 1) {
        say(verbose ? "Received a message that was too large" : "");
        return false;
    }
    buffer[length] = 0;
    srcIp = ntohl(from.sin_addr.s_addr);
    srcPort = ntohs(from.sin_port);
    return true;
}

} // namespace ovelo
