#include "nat/stunNatType.h"

#include "fakes/ConsoleText.h"
#include "fakes/UdpPeer.h"
#include "nat/StunServer.h"
#include "nat/udp.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <chrono>
#include <thread>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

constexpr std::uint16_t kPort = 20000; // of the network that is the tests' own
constexpr StunAddress4 kHere{kPort, 0x7F000001};
constexpr StunAddress4 kElsewhere{4711, 0xC0000201}; // 192.0.2.1 is nobody's

/// An answer to a test: the public address and another one of the server.
StunBytes answer(int test, const StunAddress4& mapped,
                 const StunAddress4& changed = {3479, 0x7F000001}) {
    return stunMessage({stunAttribute(0x0001, stunAddressBody(mapped.addr, mapped.port)),
                        stunAttribute(0x0005, stunAddressBody(changed.addr, changed.port))},
                       static_cast<std::uint8_t>(test));
}

/// Answers the tests below `limit` that are not in `silent`, always with the same public address.
StunServer::Answer answering(const StunAddress4& mapped, std::initializer_list<int> silent = {}) {
    return [mapped, quiet = std::vector<int>(silent)](int test, int) {
        const bool isQuiet = std::find(quiet.begin(), quiet.end(), test) != quiet.end();
        return isQuiet ? StunBytes{} : answer(test, mapped);
    };
}

NatType natType(const StunServer& server, StunAddress4* mapped = nullptr) {
    return stunNatType(server.address(), false, nullptr, nullptr, kPort, mapped);
}

TEST(StunNatTypeTest, WithoutAnAnswerItIsBlockedAfterSevenRoundsOfThreeTests) {
    const StunServer server([](int, int) { return StunBytes{}; });
    bool hairpin = true;
    bool preserve = true;
    const auto begin = Steady::now();

    EXPECT_EQ(stunNatType(server.address(), false, &preserve, &hairpin, kPort, nullptr),
              NatTypeBlocked);

    const auto took = Steady::now() - begin;
    EXPECT_EQ(server.count(StunTestI), 7);
    EXPECT_EQ(server.count(StunTestII), 7);
    EXPECT_EQ(server.count(StunTestIII), 7);
    EXPECT_EQ(server.count(StunTestI2), 0);
    EXPECT_EQ(server.count(StunTestHairpin), 0);
    EXPECT_GT(took, 800ms);
    EXPECT_LT(took, 3s);
    EXPECT_FALSE(hairpin);
    EXPECT_TRUE(preserve) << "nothing was learned of it";
}

TEST(StunNatTypeTest, OwnAddressIsOpenWhenAStrangerGetsThrough) {
    const StunServer server(answering(kHere));
    StunAddress4 mapped;
    bool hairpin = false;
    bool preserve = false;

    EXPECT_EQ(stunNatType(server.address(), false, &preserve, &hairpin, kPort, &mapped),
              NatTypeOpen);

    EXPECT_EQ(mapped, kHere);
    EXPECT_TRUE(preserve);
    EXPECT_TRUE(hairpin) << "what is sent to ourselves arrives";
}

TEST(StunNatTypeTest, OwnAddressIsAFirewallWhenNoStrangerGetsThrough) {
    const StunServer server(answering(kHere, {StunTestII, StunTestIII}));

    EXPECT_EQ(natType(server), NatTypeFirewall);
}

TEST(StunNatTypeTest, ForeignAddressIsANatOfTheKindThatItsFilterShows) {
    EXPECT_EQ(natType(StunServer(answering(kElsewhere))), NatTypeIndependentFilter);
    EXPECT_EQ(natType(StunServer(answering(kElsewhere, {StunTestII}))), NatTypeDependentFilter);
}

TEST(StunNatTypeTest, NatThatLetsNobodyElseInDependsOnThePort) {
    const StunServer server(answering(kElsewhere, {StunTestII, StunTestIII}));
    bool preserve = true;

    EXPECT_EQ(stunNatType(server.address(), false, &preserve, nullptr, kPort, nullptr),
              NatTypePortDependentFilter);
    EXPECT_FALSE(preserve);
}

TEST(StunNatTypeTest, AnotherPublicAddressForAnotherServerIsADependentMapping) {
    for (const StunAddress4& other :
         {StunAddress4{kElsewhere.port, 0xC0000202}, StunAddress4{4712, kElsewhere.addr}}) {
        const StunServer server([other](int test, int) {
            return answer(test, test == StunTestI2 ? other : kElsewhere);
        });
        EXPECT_EQ(natType(server), NatTypeDependentMapping);
    }
}

TEST(StunNatTypeTest, SecondMappingThatIsNeverToldCountsAsTheSame) {
    const StunServer server(answering(kElsewhere, {StunTestI2}));

    EXPECT_EQ(natType(server), NatTypeIndependentFilter);
    EXPECT_EQ(server.count(StunTestI2), 7);
}

TEST(StunNatTypeTest, TestTwoOfOneGoesToTheChangedAddressAtTheServersOwnPort) {
    const UdpPeer first("127.0.0.1");
    UdpPeer other("127.0.0.2", first.port());
    ASSERT_TRUE(other.isBound());
    UdpPeer server("127.0.0.3", first.port());
    std::jthread thread([&] {
        while (server.receive(2000ms)) {
            const StunBytes bytes = answer(StunTestI, kElsewhere, {9, 0x7F000002});
            server.reply({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        }
    });

    stunNatType({first.port(), 0x7F000003}, false, nullptr, nullptr, kPort, nullptr);

    const auto request = other.receive(0ms);
    ASSERT_TRUE(request);
    EXPECT_EQ((*request)[4], 10);
    EXPECT_EQ(other.senderPort(), kPort);
}

TEST(StunNatTypeTest, WithoutAChangedAddressThereIsNoTestTwoOfOne) {
    const StunServer server([](int test, int) { return answer(test, kElsewhere, {3479, 0}); });

    EXPECT_EQ(natType(server), NatTypeIndependentFilter);
    EXPECT_EQ(server.count(StunTestI2), 0);
}

TEST(StunNatTypeTest, LateFirstAnswerGivesTheOtherTestsAllTheirRounds) {
    const StunServer server([](int test, int count) {
        return test == StunTestI && count >= 6 ? answer(test, kElsewhere) : StunBytes{};
    });

    EXPECT_EQ(natType(server), NatTypePortDependentFilter);
    EXPECT_EQ(server.count(StunTestI), 6);
    EXPECT_EQ(server.count(StunTestII), 6 + 7);
    EXPECT_EQ(server.count(StunTestIII), 6 + 7);
    EXPECT_EQ(server.count(StunTestI2), 7);
}

TEST(StunNatTypeTest, OnlyTheFirstAnswerToATestCounts) {
    const StunServer server([](int test, int count) {
        if (test == StunTestI2) {
            return answer(StunTestI, {1, 0x01010101}); // a second answer to test I
        }
        return count == 1 ? answer(test, kElsewhere) : StunBytes{};
    });
    StunAddress4 mapped;

    EXPECT_EQ(natType(server, &mapped), NatTypeIndependentFilter);
    EXPECT_EQ(mapped, kElsewhere);
}

TEST(StunNatTypeTest, RepliesOutsideTheTableChangeNothing) {
    for (const int id : {0, 4, 5, 9, 12, 33, 255}) {
        const StunServer server([id](int, int) { return answer(id, kHere); });
        StunAddress4 mapped;
        EXPECT_EQ(natType(server, &mapped), NatTypeBlocked) << id;
        EXPECT_FALSE(mapped.isSet());
    }
}

TEST(StunNatTypeTest, DatagramsThatAreNoMessagesChangeNothing) {
    const StunServer server([](int test, int) {
        StunBytes bytes = answer(test, kHere);
        bytes.pop_back();
        return bytes;
    });

    std::string said;
    NatType type = NatTypeUnknown;
    said = consoleText([&] { type = natType(server); });

    EXPECT_EQ(type, NatTypeBlocked);
    EXPECT_NE(said.find("Message header length doesn't match message size: "), std::string::npos);
}

TEST(StunNatTypeTest, StrangersCannotKeepItGoing) {
    std::jthread flood([](const std::stop_token& stop) {
        const UdpPeer stranger;
        while (!stop.stop_requested()) {
            stranger.send(std::string(30, '\x7f'), kPort);
            stranger.send("", kPort + 1);
            std::this_thread::sleep_for(1ms); // often enough that no round ever is quiet
        }
    });
    const StunServer server(answering(kHere));
    const auto begin = Steady::now();

    consoleText([&] { EXPECT_EQ(natType(server), NatTypeOpen); });

    EXPECT_LT(Steady::now() - begin, 6s);
}

TEST(StunNatTypeTest, NeighbouringPortInUseIsAFailure) {
    const FileDescriptor second = openPort(kPort + 1, 0, false);
    const StunServer server(answering(kHere));
    NatType type = NatTypeUnknown;

    const std::string said = consoleText([&] { type = natType(server); });

    EXPECT_EQ(type, NatTypeFailure);
    EXPECT_EQ(said, "Port 20001 for receiving UDP is in use\n"
                    "Some problem opening port/interface to send on\n");
}

TEST(StunNatTypeTest, DescriptorsArePrintedAndPortsClosedAgain) {
    const StunServer server(answering(kHere));
    ::testing::internal::CaptureStdout();
    natType(server);
    const std::string printed = ::testing::internal::GetCapturedStdout();

    EXPECT_TRUE(printed.starts_with("fd ")) << printed;
    EXPECT_EQ(printed.back(), '\n');
    EXPECT_TRUE(openPort(kPort, 0, false));
    EXPECT_TRUE(openPort(kPort + 1, 0, false));
}

TEST(StunNatTypeTest, InterfaceIsTheOneThatIsAskedFor) {
    UdpPeer server("127.0.0.1");
    std::jthread probe([&server] {
        StunAddress4 local{0, 0x7F000009};
        stunNatType({server.port(), 0x7F000001}, false, nullptr, nullptr, kPort, &local);
    });

    ASSERT_TRUE(server.receive());
    EXPECT_EQ(server.senderIp(), 0x7F000009U);
}

TEST(StunNatTypeTest, OutcomeIsSaidWhenAsked) {
    const StunServer server(answering(kElsewhere, {StunTestII}));

    const std::string said =
        consoleText([&] { stunNatType(server.address(), true, nullptr, nullptr, kPort, nullptr); });

    EXPECT_NE(said.find("test I = 1\ntest II = 0\ntest III = 1\ntest I(2) = 1\nis nat  = 1\n"
                        "mapped IP same = 1\nhairpin = 0\npreserver port = 0\n"),
              std::string::npos)
        << said;
    EXPECT_NE(said.find("About to send msg of len 28 to 127.0.0.1:"), std::string::npos);
}

TEST(StunNatTypeTest, EndsEarlyWhenWoken) {
    const FileDescriptor wake(::eventfd(1, EFD_CLOEXEC));
    const StunServer server(answering(kHere));

    EXPECT_EQ(stunNatType(server.address(), false, nullptr, nullptr, kPort, nullptr, wake.get()),
              NatTypeFailure);
    EXPECT_EQ(server.count(StunTestI), 0);
}

TEST(StunNatTypeTest, OpenSocketLearnsItsPublicAddress) {
    const StunServer server(answering(kElsewhere));
    StunAddress4 mapped;

    const FileDescriptor socket = stunOpenSocket(server.address(), &mapped, kPort, nullptr, false);

    EXPECT_TRUE(socket);
    EXPECT_EQ(mapped, kElsewhere);
    EXPECT_EQ(server.count(StunTestI), 1);
    EXPECT_FALSE(openPort(kPort, 0, false)) << "the caller has it";
}

TEST(StunNatTypeTest, OpenSocketTakesWhateverDatagramComesFirst) {
    const StunServer server([](int, int) { return answer(77, kElsewhere); });
    StunAddress4 mapped;

    EXPECT_TRUE(stunOpenSocket(server.address(), &mapped, 0, nullptr, false));
    EXPECT_EQ(mapped, kElsewhere);
}

TEST(StunNatTypeTest, OpenSocketFailsWithoutAnAnswerThatCanBeUnderstood) {
    const StunServer server([](int, int) { return StunBytes(19); });
    StunAddress4 mapped;

    consoleText([&] {
        const FileDescriptor socket =
            stunOpenSocket(server.address(), &mapped, kPort, nullptr, false);
        EXPECT_EQ(socket.get(), -1);
    });

    EXPECT_FALSE(mapped.isSet());
    EXPECT_TRUE(openPort(kPort, 0, false)) << "it is closed again";
}

TEST(StunNatTypeTest, OpenSocketFailsWhenThePortIsInUseOrWhenWoken) {
    const FileDescriptor wake(::eventfd(1, EFD_CLOEXEC));
    const FileDescriptor taken = openPort(kPort, 0, false);
    const StunServer server([](int, int) { return StunBytes{}; });
    StunAddress4 mapped;

    EXPECT_FALSE(stunOpenSocket(server.address(), &mapped, kPort, nullptr, false));
    EXPECT_FALSE(stunOpenSocket(server.address(), &mapped, 0, nullptr, false, wake.get()));
}

TEST(StunNatTypeTest, EachTestAsksForItsOwnChange) {
    const FileDescriptor socket = openPort(0, 0x7F000001, false);
    UdpPeer server;
    for (const auto& [test, flags] : std::vector<std::pair<int, int>>{
             {1, 0}, {2, 4}, {3, 2}, {4, 4}, {5, 0}, {10, 0}, {11, 0}}) {
        stunSendTest(socket.get(), {server.port(), 0x7F000001}, {}, {}, test, false);
        const auto request = server.receive();
        ASSERT_TRUE(request);
        EXPECT_EQ(request->size(), 28U);
        EXPECT_EQ((*request)[4], test);
        EXPECT_EQ((*request)[27], flags) << test;
    }
}

using StunNatTypeDeathTest = ::testing::Test;

TEST(StunNatTypeDeathTest, OurOwnMistakesStopTheProgram) {
    StunAddress4 mapped;
    EXPECT_DEATH(stunNatType({1, 0}, false, nullptr, nullptr, 0, nullptr), "dest.addr != 0");
    EXPECT_DEATH(stunNatType({0, 1}, false, nullptr, nullptr, 0, nullptr), "dest.port != 0");
    EXPECT_DEATH(stunOpenSocket({1, 0}, &mapped, 0, nullptr, false), "dest.addr != 0");
    EXPECT_DEATH(stunOpenSocket({0, 1}, &mapped, 0, nullptr, false), "dest.port != 0");
    EXPECT_DEATH(stunOpenSocket({1, 1}, nullptr, 0, nullptr, false), "mapAddr");
    EXPECT_DEATH(stunSendTest(0, {1, 1}, {}, {}, 6, false), "Test 6 is unkown");
}

} // namespace
} // namespace ovelo
