#include "nat/UdpStream.h"

#include "fakes/ConsoleText.h"
#include "fakes/Eventually.h"
#include "fakes/TestLog.h"
#include "fakes/UdpPeer.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <future>
#include <string>
#include <thread>
#include <vector>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

constexpr UdpStream::Patience kShort{30ms, 10ms, 5ms};
constexpr UdpStream::Patience kLong{10s, 10s, 5ms};

std::span<const std::uint8_t> span(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

class UdpStreamTest : public ::testing::Test {
protected:
    /// Waits for peers, on any free port.
    std::unique_ptr<UdpStream> server(const UdpStream::Patience& patience = kShort) {
        auto stream = std::make_unique<UdpStream>(events.log(), patience);
        EXPECT_TRUE(stream->StartServer(0));
        return stream;
    }

    /// The same, and knows `peer` already.
    std::unique_ptr<UdpStream> served(const UdpStream::Patience& patience = kShort) {
        auto stream = server(patience);
        say(*stream, "hello");
        return stream;
    }

    void say(UdpStream& stream, const std::string& line) {
        std::string heard;
        peer.send("HEADER" + line + "\nTRAILER", stream.localPort());
        EXPECT_TRUE(stream.ReadLine(heard));
        EXPECT_EQ(heard, line);
    }

    static std::string readLine(UdpStream& stream) {
        std::string line;
        return stream.ReadLine(line) ? line : "(none)";
    }

    TestLog events;
    UdpPeer peer;
};

TEST_F(UdpStreamTest, StreamWithoutASocketFailsAtOnce) {
    UdpStream stream(events.log());
    std::vector<std::uint8_t> block(1);

    EXPECT_EQ(readLine(stream), "(none)");
    EXPECT_FALSE(stream.ReadBlock(block));
    EXPECT_FALSE(stream.writeString("x"));
    EXPECT_FALSE(stream.writeData(block));
    EXPECT_EQ(stream.GetClient(), "");
    EXPECT_EQ(stream.localPort(), 0);
}

TEST_F(UdpStreamTest, ServerReadsLinesAndKnowsWhoSentThem) {
    const auto stream = server();
    EXPECT_EQ(stream->GetClient(), "");

    peer.send("?!?HEADERhello\nTRAILER", stream->localPort());

    EXPECT_EQ(readLine(*stream), "hello");
    EXPECT_EQ(stream->GetClient(), "127.0.0.1");
    EXPECT_TRUE(events.contains("ReadLine(): header skip <3>\n"));
}

TEST_F(UdpStreamTest, TakesAnOpenSocketOver) {
    FileDescriptor socket(::socket(AF_INET, SOCK_DGRAM, 0));
    sockaddr_in local{};
    local.sin_family = AF_INET;
    ASSERT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&local), sizeof local), 0);
    UdpStream stream(std::move(socket), events.log(), kShort);

    peer.send("HEADERhello\nTRAILER", stream.localPort());

    EXPECT_EQ(readLine(stream), "hello");
}

TEST_F(UdpStreamTest, SecondLineWithoutItsLineFeedWaitsForAnotherDatagram) {
    const auto stream = server();
    peer.send("HEADERabcTRAILERHEADERdef\nTRAILER", stream->localPort());

    EXPECT_EQ(readLine(*stream), "abc");
    EXPECT_EQ(readLine(*stream), "(none)") << "though the whole line is queued";
    EXPECT_TRUE(events.contains("stream read timeout in ReadLine()\n"));
}

TEST_F(UdpStreamTest, ProbeBeforeALineIsDiscarded) {
    const auto stream = server();
    peer.send("UDPUDPUDPUDP", stream->localPort());
    peer.send("HEADERhello\nTRAILER", stream->localPort());

    EXPECT_EQ(readLine(*stream), "hello");
    EXPECT_TRUE(events.contains("header skip <12>"));
}

TEST_F(UdpStreamTest, LineMayBeginInALaterState) {
    const auto stream = server();
    std::string line;
    peer.send("HEADERhelloTRAILER", stream->localPort());

    EXPECT_TRUE(stream->ReadLine(line, 2));
    EXPECT_EQ(line, "hello");
}

TEST_F(UdpStreamTest, FloodWithoutAHeaderIsCutAndReadingGoesOn) {
    const auto stream = server(kLong);
    auto line = std::async(std::launch::async, [&] { return readLine(*stream); });
    ASSERT_TRUE(eventually([&] {
        peer.send(std::string(1000, 'x'), stream->localPort());
        return events.contains("reset overflow");
    }));

    ASSERT_TRUE(eventually([&] {
        peer.send("HEADERhello\nTRAILER", stream->localPort());
        return line.wait_for(1ms) == std::future_status::ready;
    }));
    EXPECT_EQ(line.get(), "hello");
}

TEST_F(UdpStreamTest, EmptyDatagramIsAReadError) {
    const auto stream = server();
    peer.send("", stream->localPort());

    EXPECT_EQ(readLine(*stream), "(none)");
    EXPECT_TRUE(events.contains("stream read error in ReadLine()\n"));
}

TEST_F(UdpStreamTest, BlockTakesWhatIsQueuedFirstAndLosesTheRestOfTheLastDatagram) {
    const auto stream = server();
    peer.send("HEADERx\nTRAILER1234", stream->localPort());
    EXPECT_EQ(readLine(*stream), "x");
    peer.send("abcdefghijklmnopqrst", stream->localPort());
    std::vector<std::uint8_t> block(10);

    EXPECT_TRUE(stream->ReadBlock(block));

    EXPECT_EQ(std::string(block.begin(), block.end()), "1234abcdef");
    std::vector<std::uint8_t> next(1);
    EXPECT_FALSE(stream->ReadBlock(next)) << "the other 14 are lost";
    EXPECT_TRUE(events.contains("stream read timeout in ReadLine()\n"));
}

TEST_F(UdpStreamTest, BlockThatIsQueuedWholeLeavesTheRestInTheQueue) {
    const auto stream = server();
    peer.send("HEADERx\nTRAILER123456", stream->localPort());
    EXPECT_EQ(readLine(*stream), "x");
    std::vector<std::uint8_t> block(4);
    std::vector<std::uint8_t> rest(2);

    EXPECT_TRUE(stream->ReadBlock(block));
    EXPECT_TRUE(stream->ReadBlock(rest));
    EXPECT_TRUE(stream->ReadBlock({}));

    EXPECT_EQ(std::string(block.begin(), block.end()), "1234");
    EXPECT_EQ(std::string(rest.begin(), rest.end()), "56");
}

TEST_F(UdpStreamTest, BlockIsGatheredFromDatagrams) {
    const auto stream = server();
    for (const char* piece : {"abc", "def", "ghij"}) {
        peer.send(piece, stream->localPort());
    }
    std::vector<std::uint8_t> block(10);

    EXPECT_TRUE(stream->ReadBlock(block));
    EXPECT_EQ(std::string(block.begin(), block.end()), "abcdefghij");
}

TEST_F(UdpStreamTest, EmptyDatagramWithinABlockIsAReadError) {
    const auto stream = server();
    peer.send("abc", stream->localPort());
    peer.send("", stream->localPort());
    std::vector<std::uint8_t> block(10);

    EXPECT_FALSE(stream->ReadBlock(block));
    EXPECT_TRUE(events.contains("stream read error in ReadBlock()\n"));
}

TEST_F(UdpStreamTest, LineGoesOutInOneDatagram) {
    const auto stream = served();

    EXPECT_TRUE(stream->writeString("VERSION,1\n"));
    EXPECT_TRUE(stream->tryWriteString("again\n"));

    EXPECT_EQ(peer.receive(), "HEADERVERSION,1\nTRAILER");
    EXPECT_EQ(peer.receive(), "HEADERagain\nTRAILER");
}

TEST_F(UdpStreamTest, LettersBeyondAsciiCutTheEndOff) {
    const auto stream = served();

    stream->writeString("\xC3\xA4\xE2\x82\xAC"); // two letters in five bytes
    stream->writeString("\xF0\x9F\x98\x80");     // one that counts as two, in four

    EXPECT_EQ(peer.receive(), "HEADER\xC3\xA4\xE2\x82\xACTRAI");
    EXPECT_EQ(peer.receive(), "HEADER\xF0\x9F\x98\x80TRAIL");
}

TEST_F(UdpStreamTest, TooLongALineIsNotSent) {
    const auto stream = served();

    EXPECT_FALSE(stream->writeString(std::string(70000, 'x')));
    EXPECT_FALSE(stream->tryWriteString(std::string(70000, 'x')));
}

TEST_F(UdpStreamTest, BlockGoesOutInDatagramsOfAThousandBytesAndItsTrailer) {
    const auto stream = served();
    std::string block(2500, 'x');
    block[1000] = 'y';

    EXPECT_TRUE(stream->writeData(span(block)));

    const std::string whole = block + "TRAILER";
    EXPECT_EQ(peer.receive(), whole.substr(0, 1000));
    EXPECT_EQ(peer.receive(), whole.substr(1000, 1000));
    const auto last = peer.receive();
    EXPECT_EQ(last, whole.substr(2000));
    EXPECT_EQ(last->size(), 507U);
}

TEST_F(UdpStreamTest, EmptyBlockIsATrailer) {
    const auto stream = served();

    EXPECT_TRUE(stream->writeData({}));
    EXPECT_EQ(peer.receive(), "TRAILER");
}

TEST_F(UdpStreamTest, MessageGoesOutWithoutWaitingAndFromWhereItStopped) {
    const auto stream = served();
    const std::string message = std::string(1500, 'x') + "TRAILER";

    EXPECT_EQ(stream->writeSome(span(message), 0), message.size());
    EXPECT_EQ(stream->writeSome(span(message), 1000), message.size());
    EXPECT_EQ(stream->writeSome(span(message), message.size()), message.size());

    EXPECT_EQ(peer.receive(), message.substr(0, 1000));
    EXPECT_EQ(peer.receive(), message.substr(1000));
    EXPECT_EQ(peer.receive(), message.substr(1000));
    EXPECT_EQ(peer.receive(50ms), std::nullopt);
}

TEST_F(UdpStreamTest, MessageThatCannotBeSentStaysWhereItWas) {
    const auto stream = server(); // nobody to send to
    const std::string message(1500, 'x');
    std::size_t offset = 99;

    const std::string said = consoleText([&] { offset = stream->writeSome(span(message), 0); });

    EXPECT_EQ(offset, 0U);
    EXPECT_TRUE(said.starts_with("The following error occurred: ")) << said;
}

TEST_F(UdpStreamTest, RepliesGoToWhoeverSentLast) {
    const auto stream = served();
    const UdpPeer other;
    other.send("?", stream->localPort());
    std::vector<std::uint8_t> block(1);
    EXPECT_TRUE(stream->ReadBlock(block));

    stream->writeString("hello");

    UdpPeer& heard = const_cast<UdpPeer&>(other);
    EXPECT_EQ(heard.receive(), "HEADERhelloTRAILER");
    EXPECT_EQ(peer.receive(20ms), std::nullopt);
}

TEST_F(UdpStreamTest, LockedStreamIgnoresStrangers) {
    const auto stream = served();
    UdpPeer stranger;
    stream->lockPeer();

    stranger.send("HEADERStop\nTRAILER", stream->localPort());
    stranger.send("", stream->localPort());
    say(*stream, "Start");
    stream->writeString("hello");

    EXPECT_EQ(peer.receive(), "HEADERhelloTRAILER");
    EXPECT_EQ(stranger.receive(20ms), std::nullopt);
}

TEST_F(UdpStreamTest, StrangersDoNotKeepTheReaderOfALockedStream) {
    const auto stream = served();
    stream->lockPeer();
    std::jthread flood([&](const std::stop_token& stop) {
        const UdpPeer stranger;
        while (!stop.stop_requested()) {
            stranger.send("HEADERStop\nTRAILER", stream->localPort());
        }
    });

    EXPECT_EQ(readLine(*stream), "(none)");
    EXPECT_TRUE(events.contains("stream read timeout in ReadLine()\n"));
}

TEST_F(UdpStreamTest, PortInUseIsAFailedBind) {
    const auto stream = server();
    UdpStream second(events.log(), kShort);

    EXPECT_FALSE(second.StartServer(stream->localPort()));
    EXPECT_TRUE(events.contains("UDP socket bind failed\n"));
}

TEST_F(UdpStreamTest, PortIsFreeAgainWhenTheStreamIsGone) {
    auto stream = server();
    const std::uint16_t port = stream->localPort();
    stream.reset();
    UdpStream second(events.log(), kShort);

    EXPECT_TRUE(second.StartServer(port));
}

TEST_F(UdpStreamTest, WithoutDescriptorsTheSocketIsNotCreated) {
    UdpStream stream(events.log(), kShort);
    // A sanitizer looks at an object's type when it is called first, for which it wants descriptors.
    events.log().write("Before.\n");
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    rlimit none = before;
    none.rlim_cur = 0;
    ::setrlimit(RLIMIT_NOFILE, &none);
    const bool started = stream.StartServer(0);
    ::setrlimit(RLIMIT_NOFILE, &before);

    EXPECT_FALSE(started); // and the log has no descriptor for its line either
}

TEST_F(UdpStreamTest, HolePunchingProbesUntilThePeerAnswersAndOnceMore) {
    UdpStream stream(events.log(), kLong);
    auto outcome = std::async(std::launch::async,
                              [&] { return stream.StartP2P(0, "127.0.0.1", peer.port()); });

    EXPECT_EQ(peer.receive(), "UDPUDPUDPUDP");
    peer.reply("anything");

    EXPECT_TRUE(outcome.get());
    EXPECT_EQ(peer.receive(), "UDPUDPUDPUDP");
    EXPECT_EQ(peer.receive(20ms), std::nullopt);
    EXPECT_EQ(stream.GetClient(), "127.0.0.1");
}

TEST_F(UdpStreamTest, AnswerFromAnotherPortMovesThePeer) {
    UdpStream stream(events.log(), kLong);
    auto outcome = std::async(std::launch::async,
                              [&] { return stream.StartP2P(0, "127.0.0.1", peer.port()); });
    ASSERT_TRUE(peer.receive());
    UdpPeer other;
    other.send("UDPUDPUDPUDP", peer.senderPort());

    EXPECT_TRUE(outcome.get());
    EXPECT_EQ(other.receive(), "UDPUDPUDPUDP");
}

TEST_F(UdpStreamTest, SilentPeerGetsTenProbes) {
    UdpStream stream(events.log(), kShort);

    EXPECT_FALSE(stream.StartP2P(0, "127.0.0.1", peer.port()));

    int probes = 0;
    while (peer.receive(10ms)) {
        ++probes;
    }
    EXPECT_EQ(probes, 10);
    const std::string log = events.text();
    const std::string timeout = "stream read timeout in StartP2P()\n";
    int timeouts = 0;
    for (auto at = log.find(timeout); at != std::string::npos; at = log.find(timeout, at + 1)) {
        ++timeouts;
    }
    EXPECT_EQ(timeouts, 10);
    EXPECT_NE(stream.localPort(), 0) << "its socket stays until it is gone";
}

TEST_F(UdpStreamTest, PatienceIsSecondsUnlessTold) {
    constexpr UdpStream::Patience kUsual;

    EXPECT_EQ(kUsual.read, 5s);
    EXPECT_EQ(kUsual.answer, 1s);
}

TEST_F(UdpStreamTest, PeerWithoutAUsableAddressFailsAtOnce) {
    for (const auto& [ip, port] : std::vector<std::pair<std::string, int>>{{"", 1},
                                                                           {"localhost", 1},
                                                                           {"1.2.3", 1},
                                                                           {"127.0.0.1", 0},
                                                                           {"127.0.0.1", 65536},
                                                                           {"127.0.0.1", -1}}) {
        UdpStream stream(events.log(), kLong);
        EXPECT_FALSE(stream.StartP2P(0, ip, port)) << ip << " " << port;
    }
}

TEST_F(UdpStreamTest, CloseEndsAWaitingReader) {
    const auto stream = served(kLong);
    auto line = std::async(std::launch::async, [&] { return readLine(*stream); });

    stream->close();

    EXPECT_EQ(line.get(), "(none)");
    EXPECT_TRUE(stream->isClosed());
    EXPECT_EQ(readLine(*stream), "(none)");
}

TEST_F(UdpStreamTest, CloseEndsHolePunching) {
    UdpStream stream(events.log(), kLong);
    auto outcome = std::async(std::launch::async,
                              [&] { return stream.StartP2P(0, "127.0.0.1", peer.port()); });
    ASSERT_TRUE(peer.receive());

    stream.close();

    EXPECT_FALSE(outcome.get());
}

TEST_F(UdpStreamTest, BlockThatKeepsFailingIsTriedAgainWithoutKeepingACoreBusyUntilClosed) {
    const auto stream = server(kLong); // nobody to send to: every send fails
    std::atomic<bool> done = false;
    rusage begin{};
    rusage end{};
    const std::string said = consoleText([&] {
        ::getrusage(RUSAGE_SELF, &begin);
        auto outcome = std::async(std::launch::async, [&] {
            const bool sent = stream->writeData(span("block"));
            done = true;
            return sent;
        });
        EXPECT_FALSE(eventually([&] { return done.load(); }, 200ms));
        stream->close();
        EXPECT_FALSE(outcome.get());
        ::getrusage(RUSAGE_SELF, &end);
    });

    const auto tries = std::count(said.begin(), said.end(), '\n');
    EXPECT_GE(tries, 2);
    EXPECT_LE(tries, 45) << "about one in 5 ms";
    const auto used = (end.ru_utime.tv_sec - begin.ru_utime.tv_sec) * 1000000 +
                      (end.ru_utime.tv_usec - begin.ru_utime.tv_usec);
    EXPECT_LT(used, 150000) << "microseconds";
}

TEST_F(UdpStreamTest, BlockGoesOnWhenSendingWorksAgain) {
    const auto stream = server(kLong);
    std::future<bool> outcome;
    consoleText([&] {
        outcome = std::async(std::launch::async, [&] { return stream->writeData(span("block")); });
        EXPECT_EQ(outcome.wait_for(20ms), std::future_status::timeout);
        say(*stream, "here I am");
        EXPECT_TRUE(outcome.get());
    });

    EXPECT_EQ(peer.receive(), "blockTRAILER");
}

TEST_F(UdpStreamTest, MessagesOfSeveralWritersDoNotMix) {
    const auto stream = served();
    constexpr int kBlocks = 20;
    std::vector<std::jthread> writers;
    for (const char letter : {'a', 'b'}) {
        writers.emplace_back([&stream, letter] {
            for (int i = 0; i < kBlocks; ++i) {
                stream->writeData(span(std::string(1500, letter)));
            }
        });
    }
    writers.clear();

    for (int i = 0; i < 2 * kBlocks; ++i) {
        const auto first = peer.receive(100ms);
        const auto second = peer.receive(100ms);
        ASSERT_TRUE(first && second);
        EXPECT_EQ(first->size(), 1000U);
        EXPECT_EQ(second->size(), 507U);
        EXPECT_EQ(first->front(), second->front());
    }
}

TEST_F(UdpStreamTest, ReaderWritersAndCloseMayMeet) {
    const auto stream = served(kLong);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            while (!stream->isClosed()) {
                stream->writeString("line\n");
                stream->writeData(span(std::string(1200, 'x')));
                [[maybe_unused]] const std::string peerName = stream->GetClient();
            }
        });
    }
    std::atomic<int> lines = 0;
    threads.emplace_back([&] {
        std::string line;
        while (stream->ReadLine(line)) {
            ++lines;
            stream->lockPeer();
        }
    });

    EXPECT_TRUE(eventually([&] {
        peer.send("HEADERhello\nTRAILER", stream->localPort());
        return lines >= 50;
    }));
    stream->close();
    threads.clear();
    EXPECT_TRUE(stream->isClosed());
}

} // namespace
} // namespace ovelo
