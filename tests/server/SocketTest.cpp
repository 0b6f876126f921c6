#include "server/Socket.h"

#include "fakes/Eventually.h"
#include "fakes/TestLog.h"
#include "platform/FileDescriptor.h"
#include "server/SocketException.h"
#include "server/SocketPair.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <thread>
#include <vector>

namespace ovelo {
namespace {

std::string nameOfFailure(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const SocketException& failure) {
        return failure.name();
    }
    return "no failure";
}

std::string reasonOfFailure(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const SocketException& failure) {
        return failure.what();
    }
    return "no failure";
}

class SocketTest : public ::testing::Test {
protected:
    static std::span<const std::uint8_t> span(const std::string& text) {
        return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
    }

    TestLog events;
    Logger& log = events.log();
};

TEST_F(SocketTest, FreshSocketIsNeitherConnectedNorListening) {
    const Socket socket(log);

    EXPECT_FALSE(socket.isConnected());
    EXPECT_FALSE(socket.isListening());
    EXPECT_EQ(socket.readBufferSize(), 4096U);
    EXPECT_EQ(socket.remoteHostName(), "");
    EXPECT_EQ(socket.remotePort(), 0);
}

TEST_F(SocketTest, ClientKeepsThePortInHostOrderAndTheServerTheFieldInNetworkOrder) {
    SocketPair pair(log);

    EXPECT_EQ(pair.client->remotePort(), pair.listener->localPort());
    EXPECT_EQ(pair.client->remoteHostName(), "127.0.0.1");
    EXPECT_EQ(ntohs(pair.server->remotePort()), pair.client->localPort());
    EXPECT_EQ(pair.server->remoteHostName(), "127.0.0.1");
    EXPECT_TRUE(pair.listener->isListening()) << "the listener is left as it was";
}

TEST_F(SocketTest, AcceptConnectionTurnsTheListenerIntoTheConnection) {
    Socket listener(log);
    listener.listenOnPort(0);
    const std::uint16_t port = listener.localPort();
    Socket client(log);
    client.connectToHostName("localhost", port);

    listener.acceptConnection();

    EXPECT_TRUE(listener.isConnected());
    EXPECT_FALSE(listener.isListening());
    EXPECT_EQ(ntohs(listener.remotePort()), client.localPort());
    EXPECT_EQ(client.remoteHostName(), "localhost");
}

TEST_F(SocketTest, ReadReturnsZeroAndStaysConnectedWhenNothingIsPending) {
    SocketPair pair(log);
    pair.server->setBlocking(false);
    Bytes buffer;

    EXPECT_EQ(pair.server->readData(&buffer), 0);
    EXPECT_TRUE(pair.server->isConnected());

    pair.client->close();
    EXPECT_TRUE(eventually([&] {
        EXPECT_EQ(pair.server->readData(&buffer), 0);
        return !pair.server->isConnected();
    }));
    EXPECT_EQ(nameOfFailure([&] { pair.server->readData(&buffer); }),
              "Socket: Bad socket descriptor");
}

TEST_F(SocketTest, ReadAppendsAtMostOneBufferful) {
    SocketPair pair(log);
    pair.server->setReadBufferSize(4);
    pair.client->writeString("abcdefg");
    Bytes buffer{'_'};

    EXPECT_TRUE(eventually([&] { return pair.server->isReadable(); }));
    EXPECT_EQ(pair.server->readData(&buffer), 4);
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), "_abcd");
    EXPECT_EQ(pair.server->readData(&buffer), 3);
    EXPECT_EQ(std::string(buffer.begin(), buffer.end()), "_abcdefg");
}

TEST_F(SocketTest, WriteOfAnEmptyStringLogsItsLineAndSendsNothing) {
    SocketPair pair(log);

    pair.client->writeString("");

    EXPECT_TRUE(events.contains(": writeString <>\n"));
    EXPECT_FALSE(pair.server->isReadable());
}

TEST_F(SocketTest, WriteStringLogsTheText) {
    SocketPair pair(log);

    pair.client->writeString("CONNECTED\n");

    EXPECT_TRUE(events.contains(": writeString <CONNECTED\n>\n"));
}

TEST_F(SocketTest, WriteDataWaitsUntilEverythingIsSent) {
    SocketPair pair(log);
    const std::string sent(4U << 20U, 'x');
    std::jthread writer([&] { pair.client->writeData(span(sent)); });
    Bytes received;

    while (received.size() < sent.size()) {
        ASSERT_GT(pair.server->readData(&received), 0);
    }

    EXPECT_EQ(std::string(received.begin(), received.end()), sent);
}

TEST_F(SocketTest, WriteSomeTakesWhatHasRoomAndNeverWaits) {
    SocketPair pair(log);
    const std::vector<std::uint8_t> block(1U << 20U, 'x');
    const iovec part{const_cast<std::uint8_t*>(block.data()), block.size()};
    std::size_t last = 1;

    for (int turn = 0; turn < 1000 && last > 0; ++turn) {
        last = pair.client->writeSome({&part, 1});
    }

    EXPECT_EQ(last, 0U);
    EXPECT_FALSE(pair.client->isWritable());
    EXPECT_GT(pair.client->unacknowledged(), 0U);
}

TEST_F(SocketTest, WriteToAPeerThatIsGoneFailsAndLeavesTheObjectConnected) {
    SocketPair pair(log);
    pair.server->close();

    std::string failure = "no failure";
    EXPECT_TRUE(eventually([&] {
        failure = nameOfFailure([&] { pair.client->writeData(span("x")); });
        return failure != "no failure";
    }));

    EXPECT_EQ(failure, "Socket: Send failed");
    EXPECT_TRUE(pair.client->isConnected());
}

TEST_F(SocketTest, ClosingTwiceIsHarmlessAndEndsEverything) {
    SocketPair pair(log);

    pair.client->close();
    pair.client->close();

    EXPECT_FALSE(pair.client->isConnected());
    EXPECT_EQ(pair.client->remoteHostName(), "");
    EXPECT_EQ(pair.client->remotePort(), 0);
    EXPECT_EQ(reasonOfFailure([&] { (void)pair.client->isWritable(); }),
              "Socket: Bad socket descriptor");
    EXPECT_EQ(nameOfFailure([&] { pair.client->writeData(span("x")); }),
              "Socket: Bad socket descriptor");
}

TEST_F(SocketTest, ChecksComeInTheirOrder) {
    SocketPair pair(log);
    Socket fresh(log);
    Bytes buffer;

    EXPECT_EQ(nameOfFailure([&] { fresh.readData(nullptr); }), "Socket: Invalid buffer");
    EXPECT_EQ(nameOfFailure([&] { fresh.readData(&buffer); }), "Socket: Not connected");
    EXPECT_EQ(nameOfFailure([&] { (void)fresh.isReadable(); }), "Socket: Not connected");
    EXPECT_EQ(nameOfFailure([&] { fresh.acceptConnection(); }), "Socket: Not listening");
    EXPECT_EQ(nameOfFailure([&] { pair.server->acceptConnection(); }), "Socket: Already connected");
    EXPECT_EQ(nameOfFailure([&] { pair.client->connectToHostName("127.0.0.1", 1); }),
              "Socket: Already connected");
    fresh.close();
    EXPECT_EQ(nameOfFailure([&] { fresh.acceptConnection(); }), "Socket: Bad socket descriptor");
    EXPECT_EQ(nameOfFailure([&] { fresh.connectToHostName("127.0.0.1", 1); }),
              "Socket: Bad socket descriptor");
}

TEST_F(SocketTest, FailuresCarryTheSystemsText) {
    SocketPair pair(log);
    Socket second(log);
    Socket lost(log);

    EXPECT_EQ(reasonOfFailure([&] { second.listenOnPort(pair.listener->localPort()); }),
              "Socket: Bind failed: Address already in use");
    EXPECT_EQ(reasonOfFailure([&] { lost.connectToHostName("127.0.0.1", 1); }),
              "Socket: Connect failed: Connection refused");
    EXPECT_EQ(nameOfFailure([&] { lost.connectToHostName("no.such.host.invalid", 1); }),
              "Socket: Host not found");
    lost.close();
    EXPECT_EQ(reasonOfFailure([&] { lost.setBlocking(false); }),
              "Socket: Fcntl failed: Bad file descriptor");
    EXPECT_EQ(reasonOfFailure([&] { lost.bindTo(0, 0); }),
              "Socket: Setsockopt failed: Bad file descriptor");
}

TEST_F(SocketTest, PortOfAConnectionThatEndedHereCanBeListenedOnAtOnce) {
    auto pair = std::make_unique<SocketPair>(log);
    const std::uint16_t port = pair->listener->localPort();
    pair->server->close(); // the side that closes first keeps the port in TIME_WAIT
    Bytes rest;
    pair->client->readData(&rest);
    pair.reset();

    Socket again(log);
    again.listenOnPort(port);

    EXPECT_TRUE(again.isListening());
}

TEST_F(SocketTest, CloseWakesAReaderAndAnAcceptor) {
    SocketPair pair(log);
    std::jthread closer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        pair.server->close();
        pair.listener->close();
    });
    Bytes buffer;

    EXPECT_EQ(pair.server->readData(&buffer), 0);
    EXPECT_EQ(nameOfFailure([&] {
                  (void)pair.listener->acceptConnectionAndKeepListening();
              }).substr(0, 8),
              "Socket: ");
}

TEST_F(SocketTest, DescriptorsAbove1023AreAsGoodAsOthers) {
    constexpr rlim_t kWanted = 1200;
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max < kWanted) {
        GTEST_SKIP() << "the system allows only " << limit.rlim_max << " descriptors";
    }
    limit.rlim_cur = std::max(limit.rlim_cur, kWanted);
    ::setrlimit(RLIMIT_NOFILE, &limit);
    std::vector<FileDescriptor> filler;
    for (int index = 0; index < 1050; ++index) {
        filler.emplace_back(::dup(0));
    }

    SocketPair pair(log);
    pair.client->writeString("hello");
    Bytes buffer;

    EXPECT_TRUE(pair.client->isWritable());
    EXPECT_TRUE(eventually([&] { return pair.server->isReadable(); }));
    EXPECT_EQ(pair.server->readData(&buffer), 5);
}

} // namespace
} // namespace ovelo
