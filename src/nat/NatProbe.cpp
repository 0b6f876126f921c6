#include "nat/NatProbe.h"

#include "nat/udp.h"
#include "platform/Console.h"
#include "platform/Polling.h"

#include <fmt/format.h>

#include <array>
#include <system_error>
#include <utility>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr int kRounds = 7;
constexpr auto kRound = 150ms;
constexpr std::uint8_t kTestLimit = 12;

void sayFlag(const char* name, bool flag) {
    console::write(fmt::format("{}{:d}", name, flag));
}

} // namespace

NatProbe::NatProbe(const Request& request) : request_(request), testI2Dest_(request.server) {
}

NatType NatProbe::run() {
    if (!openSockets() || !ask()) {
        return NatTypeFailure;
    }
    first_.reset();
    second_.reset();
    const bool isNat = isBehindNat();
    if (request_.verbose) {
        sayOutcome(isNat);
    }
    return classify(isNat);
}

bool NatProbe::openSockets() {
    const auto nextPort = static_cast<std::uint16_t>(request_.port + 1);
    first_ = openPort(request_.port, request_.interfaceAddr, request_.verbose);
    second_ = openPort(nextPort, request_.interfaceAddr, request_.verbose);
    console::writeOutput(fmt::format("fd {} {}", first_.get(), second_.get()));
    if (!first_ || !second_) {
        console::write("Some problem opening port/interface to send on");
        return false;
    }
    return true;
}

/// return  false when it was ended before its time
bool NatProbe::ask() {
    Time roundEnd = std::chrono::steady_clock::now() + kRound;
    while (rounds_ < kRounds) {
        bool isFirstReady = false;
        bool isSecondReady = false;
        switch (wait(roundEnd, isFirstReady, isSecondReady)) {
        case Waited::Failed:
            return false;
        case Waited::TimedOut:
            ++rounds_;
            sendDueTests();
            roundEnd = std::chrono::steady_clock::now() + kRound;
            continue;
        case Waited::Ready:
            break;
        }
        const bool isFirstNews = isFirstReady && receive(first_.get());
        const bool isSecondNews = isSecondReady && receive(second_.get());
        if (isFirstNews || isSecondNews) {
            roundEnd = std::chrono::steady_clock::now() + (rounds_ == 0 ? 0ms : kRound);
        }
    }
    return true;
}

NatProbe::Waited NatProbe::wait(Time roundEnd, bool& firstReady, bool& secondReady) const {
    std::array<pollfd, 3> waiting{pollfd{first_.get(), POLLIN, 0}, pollfd{second_.get(), POLLIN, 0},
                                  pollfd{request_.wakeFd, POLLIN, 0}};
    const auto now = std::chrono::steady_clock::now();
    // The first round only looks, so that nothing is asked again that is answered already.
    const int error = pollFor(waiting, rounds_ == 0 ? 0ns : roundEnd - now);
    if (error != 0) {
        console::write(
            fmt::format("Error {} {} in select", error, std::generic_category().message(error)));
        return Waited::Failed;
    }
    if (waiting[2].revents != 0) {
        return Waited::Failed;
    }
    firstReady = waiting[0].revents != 0;
    secondReady = waiting[1].revents != 0;
    const bool isOver = now > roundEnd; // also while datagrams keep coming
    return (firstReady || secondReady) && !isOver ? Waited::Ready : Waited::TimedOut;
}

void NatProbe::sendDueTests() const {
    const StunAddress4& server = request_.server;
    if (!mapped_) {
        send(first_.get(), server, StunTestI);
    }
    if (mapped_ && !isI2Answered_ && testI2Dest_.isSet()) {
        send(first_.get(), testI2Dest_, StunTestI2);
    }
    if (!isIIAnswered_) {
        send(second_.get(), server, StunTestII);
    }
    if (!isIIIAnswered_) {
        send(second_.get(), server, StunTestIII);
    }
    if (mapped_ && !isHairpin_ && mapped_->isSet()) {
        send(first_.get(), *mapped_, StunTestHairpin);
    }
}

void NatProbe::send(int fd, const StunAddress4& dest, int test) const {
    stunSendTest(fd, dest, {}, {}, test, request_.verbose);
}

bool NatProbe::receive(int fd) {
    std::array<std::uint8_t, STUN_MAX_MESSAGE_SIZE> buffer{};
    int length = buffer.size();
    StunAddress4 from;
    StunMessage reply;
    return getMessage(fd, buffer.data(), length, from.addr, from.port, request_.verbose) &&
           stunParseMessage({buffer.data(), static_cast<std::size_t>(length)}, reply,
                            request_.verbose) &&
           take(reply);
}

bool NatProbe::take(const StunMessage& reply) {
    const std::uint8_t test = reply.msgHdr.id.octet[0];
    if (test >= kTestLimit) {
        return false;
    }
    switch (test) {
    case StunTestI:
        return takeTestI(reply);
    case StunTestII:
        return !std::exchange(isIIAnswered_, true);
    case StunTestIII:
        return !std::exchange(isIIIAnswered_, true);
    case StunTestI2:
        return takeTestI2(reply);
    case StunTestHairpin:
        return !std::exchange(isHairpin_, true);
    default:
        return false;
    }
}

bool NatProbe::takeTestI(const StunMessage& reply) {
    if (mapped_) {
        return false;
    }
    mapped_ = reply.mappedAddress.ipv4;
    testI2Dest_.addr = reply.changedAddress.ipv4.addr; // the port stays the server's
    rounds_ = 0;                                       // the other tests get all their rounds
    return true;
}

bool NatProbe::takeTestI2(const StunMessage& reply) {
    if (std::exchange(isI2Answered_, true)) {
        return false;
    }
    if (!mapped_ || reply.mappedAddress.ipv4 != *mapped_) {
        isMappedSame_ = false;
    }
    return true;
}

/// An address that we can bind is ours.
bool NatProbe::isBehindNat() const {
    const std::uint32_t address = mapped_ ? mapped_->addr : 0;
    return !openPort(0, address, request_.verbose).isOpen();
}

void NatProbe::sayOutcome(bool isNat) const {
    sayFlag("test I = ", mapped_.has_value());
    sayFlag("test II = ", isIIAnswered_);
    sayFlag("test III = ", isIIIAnswered_);
    sayFlag("test I(2) = ", isI2Answered_);
    sayFlag("is nat  = ", isNat);
    sayFlag("mapped IP same = ", isMappedSame_);
    sayFlag("hairpin = ", isHairpin_);
    sayFlag("preserver port = ", isPortPreserved()); // sic
}

NatType NatProbe::classify(bool isNat) const {
    if (!mapped_) {
        return NatTypeBlocked;
    }
    if (!isNat) {
        return isIIAnswered_ ? NatTypeOpen : NatTypeFirewall;
    }
    if (!isMappedSame_) {
        return NatTypeDependentMapping;
    }
    if (isIIAnswered_) {
        return NatTypeIndependentFilter;
    }
    return isIIIAnswered_ ? NatTypeDependentFilter : NatTypePortDependentFilter;
}

} // namespace ovelo
