#include "nat/udp.h"

#include "fakes/ConsoleText.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

namespace ovelo {
namespace {

constexpr std::uint32_t kLoopback = 0x7F000001;

sockaddr_in nameOf(int fd) {
    sockaddr_in name{};
    socklen_t size = sizeof name;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&name), &size);
    return name;
}

std::uint16_t portOf(const FileDescriptor& socket) {
    return ntohs(nameOf(socket.get()).sin_port);
}

std::uint32_t ipOf(const FileDescriptor& socket) {
    return ntohl(nameOf(socket.get()).sin_addr.s_addr);
}

std::vector<std::uint8_t> bytes(std::size_t size) {
    return std::vector<std::uint8_t>(size, 'x');
}

TEST(UdpTest, PortIsOpenOnEveryInterfaceOrTheOneThatIsAskedFor) {
    EXPECT_EQ(ipOf(openPort(0, 0, false)), INADDR_ANY);
    EXPECT_EQ(ipOf(openPort(0, kLoopback, false)), kLoopback);
    EXPECT_EQ(ipOf(openPort(0, 0x0100007F, false)), INADDR_ANY) << "the exempt value";
}

TEST(UdpTest, ReadsOfAnOpenPortWaitTenSeconds) {
    const FileDescriptor socket = openPort(0, kLoopback, false);
    timeval limit{};
    socklen_t size = sizeof limit;

    ::getsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, &size);

    EXPECT_EQ(limit.tv_sec, 10);
}

TEST(UdpTest, OpeningIsSaidWhenAsked) {
    FileDescriptor socket;

    const std::string said = consoleText([&] { socket = openPort(0, kLoopback, true); });

    EXPECT_EQ(said, "Binding to interface 0x7f000001\nOpened port 0 with fd " +
                        std::to_string(socket.get()) + "\n");
    EXPECT_EQ(consoleText([] { openPort(0, kLoopback, false); }), "");
}

TEST(UdpTest, PortInUseIsSaid) {
    const FileDescriptor first = openPort(0, kLoopback, false);
    FileDescriptor second;

    const std::string said =
        consoleText([&] { second = openPort(portOf(first), kLoopback, false); });

    EXPECT_FALSE(second);
    EXPECT_EQ(second.get(), -1);
    EXPECT_EQ(said, "Port " + std::to_string(portOf(first)) + " for receiving UDP is in use\n");
}

TEST(UdpTest, ForeignAddressIsSaidOnlyWhenAsked) {
    constexpr std::uint32_t kForeign = 0xC0000201; // 192.0.2.1, for documents only

    EXPECT_EQ(consoleText([] { EXPECT_FALSE(openPort(0, kForeign, false)); }), "");
    EXPECT_EQ(consoleText([] { EXPECT_FALSE(openPort(0, kForeign, true)); }),
              "Binding to interface 0xc0000201\nCannot assign requested address\n");
}

TEST(UdpTest, TextsOfOtherFailures) {
    EXPECT_EQ(udptext::bindFailure(0, 1, false), "Could not bind socket");
    EXPECT_EQ(udptext::bindFailure(EACCES, 1, false),
              "Could not bind UDP receive port 13 Permission denied");
    EXPECT_EQ(udptext::sendFailure(EHOSTDOWN), "");
    EXPECT_EQ(udptext::sendFailure(EHOSTUNREACH), "");
    EXPECT_EQ(udptext::sendFailure(ECONNREFUSED), "");
    EXPECT_EQ(udptext::sendFailure(EAFNOSUPPORT), "err EAFNOSUPPORT in send");
    EXPECT_EQ(udptext::sendFailure(EMSGSIZE), "err 90 Message too long in send");
    EXPECT_EQ(udptext::receiveFailure(-1, ENOTSOCK), "Error fd not a socket");
    EXPECT_EQ(udptext::receiveFailure(-1, ECONNRESET),
              "Error connection reset - host not reachable");
    EXPECT_EQ(udptext::receiveFailure(-1, EAGAIN), "Socket Error=11");
    EXPECT_EQ(udptext::receiveFailure(-1, 0), "socket closed? negative len");
    EXPECT_EQ(udptext::receiveFailure(0, EAGAIN), "socket closed? zero len");
}

class UdpPairTest : public ::testing::Test {
protected:
    bool send(std::size_t size) {
        return sendMessage(sender.get(), bytes(size), kLoopback, portOf(receiver), true);
    }
    bool receive() {
        return getMessage(receiver.get(), buffer.data(), length, srcIp, srcPort, true);
    }

    FileDescriptor sender = openPort(0, kLoopback, false);
    FileDescriptor receiver = openPort(0, kLoopback, false);
    std::array<std::uint8_t, 2048> buffer{};
    int length = 2048;
    std::uint32_t srcIp = 0;
    std::uint16_t srcPort = 0;
};

TEST_F(UdpPairTest, DatagramArrivesTerminatedAndWithItsSender) {
    buffer.fill('?');

    EXPECT_TRUE(send(48));
    EXPECT_TRUE(receive());

    EXPECT_EQ(length, 48);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data())), std::string(48, 'x'));
    EXPECT_EQ(srcIp, kLoopback);
    EXPECT_EQ(srcPort, portOf(sender));
}

TEST_F(UdpPairTest, DatagramMustBeTwoBytesShorterThanTheBuffer) {
    send(2046);
    EXPECT_TRUE(receive());
    for (const std::size_t size : {2047U, 2048U, 3000U}) {
        length = 2048;
        send(size);
        EXPECT_EQ(consoleText([&] { EXPECT_FALSE(receive()); }),
                  "Received a message that was too large\n");
    }
}

TEST_F(UdpPairTest, BufferWithoutRoomReceivesNothing) {
    for (const int capacity : {0, -1}) {
        length = capacity;
        EXPECT_FALSE(receive());
    }
}

TEST_F(UdpPairTest, EmptyDatagramIsRefusedOnBothSides) {
    EXPECT_EQ(consoleText([&] { EXPECT_FALSE(send(0)); }), "no data sent in send\n");
    EXPECT_EQ(consoleText([&] { EXPECT_FALSE(receive()); }), "socket closed? zero len\n");
}

TEST_F(UdpPairTest, TooLargeADatagramIsSaid) {
    EXPECT_EQ(consoleText([&] { EXPECT_FALSE(send(70000)); }), "err 90 Message too long in send\n");
}

TEST_F(UdpPairTest, ConnectedSocketSendsToItsPeerAndIsSilentAboutARefusal) {
    const sockaddr_in peer = nameOf(receiver.get());
    ASSERT_EQ(::connect(sender.get(), reinterpret_cast<const sockaddr*>(&peer), sizeof peer), 0);

    EXPECT_TRUE(sendMessage(sender.get(), bytes(4), 0, 0, false));
    EXPECT_TRUE(receive());

    receiver.reset();
    sendMessage(sender.get(), bytes(4), 0, 0, false); // provokes the refusal
    EXPECT_EQ(consoleText([&] { EXPECT_FALSE(sendMessage(sender.get(), bytes(4), 0, 0, false)); }),
              "");
}

using UdpDeathTest = UdpPairTest;

TEST_F(UdpDeathTest, OurOwnMistakesStopTheProgram) {
    EXPECT_DEATH(sendMessage(-1, bytes(4), kLoopback, 1, false), "fd != INVALID_SOCKET");
    EXPECT_DEATH(sendMessage(sender.get(), bytes(4), 0, 1, false), "dstIp != 0");
    EXPECT_DEATH(sendMessage(sender.get(), bytes(4), kLoopback, 0, false), "dstIp == 0");
    EXPECT_DEATH(getMessage(-1, buffer.data(), length, srcIp, srcPort, false),
                 "fd != INVALID_SOCKET");
}

} // namespace
} // namespace ovelo
