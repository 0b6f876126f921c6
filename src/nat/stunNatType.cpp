#include "nat/stunNatType.h"

#include "nat/NatProbe.h"
#include "nat/udp.h"
#include "platform/Assert.h"
#include "platform/Console.h"
#include "platform/Polling.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr auto kPauseAfterSending = 10ms; // so that a burst does not overrun a small router
constexpr auto kAnswerLimit = 10s;

struct Change {
    bool port = false;
    bool ip = false;
};

Change changeOf(int testNumber) {
    switch (testNumber) {
    case StunTestI:
    case StunTestI2:
    case StunTestHairpin:
    case StunTestPlain:
        return {};
    case StunTestII:
    case StunTestChangeIp:
        return {false, true};
    case StunTestIII:
        return {true, false};
    default:
        console::write(fmt::format("Test {} is unkown", testNumber)); // sic
        OVELO_ASSERT(false, "a test of the table");
        return {};
    }
}

/// Kept: who sent the first datagram, and in answer to what, is not looked at.
bool learnMapping(int fd, StunAddress4& mapAddr, bool verbose) {
    std::array<std::uint8_t, STUN_MAX_MESSAGE_SIZE> buffer{};
    int length = buffer.size();
    StunAddress4 from;
    StunMessage reply;
    if (!getMessage(fd, buffer.data(), length, from.addr, from.port, verbose) ||
        !stunParseMessage({buffer.data(), static_cast<std::size_t>(length)}, reply, verbose)) {
        return false;
    }
    mapAddr = reply.mappedAddress.ipv4;
    return true;
}

/// The same limit as the socket's own, but it can be ended from outside.
bool waitForAnswer(int fd, int wakeFd) {
    std::array<pollfd, 2> waiting{pollfd{fd, POLLIN, 0}, pollfd{wakeFd, POLLIN, 0}};
    pollFor(waiting, kAnswerLimit);
    if (waiting[1].revents != 0) {
        return false;
    }
    if (waiting[0].revents == 0) {
        console::write(udptext::receiveFailure(-1, EAGAIN));
        return false;
    }
    return true;
}

} // namespace

void stunSendTest(int fd, const StunAddress4& dest, const StunAtrString& username,
                  const StunAtrString& password, int testNumber, bool verbose) {
    const Change change = changeOf(testNumber);
    StunMessage request;
    stunBuildReqSimple(&request, username, change.port, change.ip,
                       static_cast<std::uint32_t>(testNumber));
    std::array<std::uint8_t, STUN_MAX_MESSAGE_SIZE> buffer{};
    const std::size_t length = stunEncodeMessage(request, buffer, password, verbose);
    if (verbose) {
        console::write(fmt::format("About to send msg of len {} to {}", length, toString(dest)));
    }
    sendMessage(fd, std::span(buffer).first(length), dest.addr, dest.port, verbose);
    std::this_thread::sleep_for(kPauseAfterSending);
}

NatType stunNatType(const StunAddress4& dest, bool verbose, bool* preservePort, bool* hairpin,
                    std::uint16_t port, StunAddress4* sAddr, int wakeFd) {
    OVELO_ASSERT(dest.addr != 0, "dest.addr != 0");
    OVELO_ASSERT(dest.port != 0, "dest.port != 0");
    if (hairpin != nullptr) {
        *hairpin = false;
    }
    NatProbe probe({dest, port == 0 ? stunRandomPort() : port, sAddr == nullptr ? 0 : sAddr->addr,
                    verbose, wakeFd});
    const NatType type = probe.run();
    if (hairpin != nullptr) {
        *hairpin = probe.isHairpin();
    }
    if (probe.mapped()) {
        if (preservePort != nullptr) {
            *preservePort = probe.isPortPreserved();
        }
        if (sAddr != nullptr) {
            *sAddr = *probe.mapped();
        }
    }
    return type;
}

FileDescriptor stunOpenSocket(const StunAddress4& dest, StunAddress4* mapAddr, std::uint16_t port,
                              const StunAddress4* srcAddr, bool verbose, int wakeFd) {
    OVELO_ASSERT(dest.addr != 0, "dest.addr != 0");
    OVELO_ASSERT(dest.port != 0, "dest.port != 0");
    OVELO_ASSERT(mapAddr != nullptr, "mapAddr");
    FileDescriptor socket = openPort(port == 0 ? stunRandomPort() : port,
                                     srcAddr == nullptr ? 0 : srcAddr->addr, verbose);
    if (!socket) {
        return {};
    }
    stunSendTest(socket.get(), dest, {}, {}, StunTestI, false);
    if (!waitForAnswer(socket.get(), wakeFd) || !learnMapping(socket.get(), *mapAddr, verbose)) {
        return {};
    }
    return socket;
}

} // namespace ovelo
