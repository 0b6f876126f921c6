#pragma once

#include "nat/stunNatType.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

namespace ovelo {

/// One run of the tests that tell the kind of NAT: what was asked, and what was answered.
///
/// Requests are repeated round by round, for datagrams get lost. A datagram that tells nothing new
/// does not lengthen a round, so strangers cannot keep the run going.
///
/// thread  one
class NatProbe {
public:
    struct Request {
        StunAddress4 server;
        std::uint16_t port = 0;          // of the first socket; the second has the next one
        std::uint32_t interfaceAddr = 0; // 0: any
        bool verbose = false;
        int wakeFd = -1;
    };

    explicit NatProbe(const Request& request);

    /// Asks until everything has been repeated often enough.
    NatType run();

    /// The public address that test I told, if it was answered.
    [[nodiscard]] const std::optional<StunAddress4>& mapped() const { return mapped_; }
    [[nodiscard]] bool isPortPreserved() const { return mapped_ && mapped_->port == request_.port; }
    [[nodiscard]] bool isHairpin() const { return isHairpin_; }

private:
    using Time = std::chrono::steady_clock::time_point;
    enum class Waited { Ready, TimedOut, Failed };

    bool openSockets();
    bool ask();
    Waited wait(Time roundEnd, bool& firstReady, bool& secondReady) const;
    void sendDueTests() const;
    void send(int fd, const StunAddress4& dest, int test) const;

    // True when the datagram told something new.
    bool receive(int fd);
    bool take(const StunMessage& reply);
    bool takeTestI(const StunMessage& reply);
    bool takeTestI2(const StunMessage& reply);

    [[nodiscard]] bool isBehindNat() const;
    void sayOutcome(bool isNat) const;
    [[nodiscard]] NatType classify(bool isNat) const;

    const Request request_;
    FileDescriptor first_;
    FileDescriptor second_;
    std::optional<StunAddress4> mapped_;
    StunAddress4 testI2Dest_;
    int rounds_ = 0; // without an answer to test I, or since it
    bool isI2Answered_ = false;
    bool isIIAnswered_ = false;
    bool isIIIAnswered_ = false;
    bool isHairpin_ = false;
    bool isMappedSame_ = true; // Kept: also without an answer to test I(2)
};

} // namespace ovelo
