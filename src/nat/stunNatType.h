#pragma once

#include "nat/stun.h"
#include "platform/FileDescriptor.h"

#include <cstdint>

/// What a STUN server tells about the NAT in front of this computer. Everything here waits; it runs
/// on a worker thread of its owner.
namespace ovelo {

/// How a NAT treats UDP; the values are sent to the rendezvous service.
enum NatType : int {
    NatTypeUnknown = 0,             // never the outcome
    NatTypeFailure = 1,             // the sockets failed
    NatTypeOpen = 2,                // no NAT, reachable
    NatTypeBlocked = 3,             // no answer
    NatTypeIndependentFilter = 4,   // lets everybody in
    NatTypeDependentFilter = 5,     // lets in whom was sent to
    NatTypePortDependentFilter = 6, // lets in who was sent to, from the very port
    NatTypeDependentMapping = 7,    // another public port for each destination
    NatTypeFirewall = 8,            // no NAT, but a filter
};

/// The tests; the number is the first octet of their transaction ids.
enum StunTest : int {
    StunTestI = 1,
    StunTestII = 2,
    StunTestIII = 3,
    StunTestChangeIp = 4,
    StunTestPlain = 5,
    StunTestI2 = 10,
    StunTestHairpin = 11,
};

/// Sends the request of a test, and sleeps for 10 milliseconds.
///
/// testNumber  one of StunTest; our own mistake otherwise
void stunSendTest(int fd, const StunAddress4& dest, const StunAtrString& username,
                  const StunAtrString& password, int testNumber, bool verbose);

/// Finds out the kind of NAT. Takes up to a second after the last answer that tells something.
///
/// dest          the server; must be set
/// preservePort  may be null; told once test I is answered: whether the public port is the local one
/// hairpin       may be null; whether the NAT turns back what is sent to its public address
/// port          first of two neighbouring local ports; 0: a random one
/// sAddr         may be null; in: the local interface (addr 0: any), out: the public address once
///               test I is answered
/// wakeFd        own addition: readable: ends early, with NatTypeFailure
NatType stunNatType(const StunAddress4& dest, bool verbose, bool* preservePort, bool* hairpin,
                    std::uint16_t port, StunAddress4* sAddr, int wakeFd = -1);

/// Opens a socket and learns its public address. Waits up to 10 seconds for the answer.
///
/// dest     the server; must be set
/// mapAddr  not null; out: the public address
/// port     local port; 0: a random one
/// srcAddr  may be null; its addr: the local interface
/// wakeFd   own addition: readable: ends early, without a socket
/// return   not open when there was no answer that can be understood
FileDescriptor stunOpenSocket(const StunAddress4& dest, StunAddress4* mapAddr, std::uint16_t port,
                              const StunAddress4* srcAddr, bool verbose, int wakeFd = -1);

} // namespace ovelo
