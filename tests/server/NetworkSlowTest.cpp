// What takes longer: silence, stalls that last, and thousands of visits.

#include "fakes/Eventually.h"
#include "fakes/Peer.h"
#include "server/TestServer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace ovelo {
namespace {

std::ptrdiff_t entriesOf(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder),
                         std::filesystem::directory_iterator());
}

class NetworkSlowTest : public ::testing::Test {
protected:
    NetworkSlowTest() {
        server.settings.setString("listenBacklog", "512");
        server.start();
    }

    TestServer server;
};

TEST_F(NetworkSlowTest, SilentViewerStaysConnected) {
    Peer viewer(server.port());
    viewer.line();
    viewer.line();

    EXPECT_TRUE(viewer.staysSilent(std::chrono::seconds(12)));
    viewer.send("GetSources,\n");
    EXPECT_EQ(viewer.line(), "DATA_SOURCE|Camera A|id|v|1");
}

TEST_F(NetworkSlowTest, ViewerThatTakesNothingIsLetGoWithinTenSeconds) {
    Peer viewer(server.port(), 4096);
    viewer.line();
    viewer.line();
    viewer.send("Sync,-1\n");
    const Data picture = makeData(Bytes(20000, 'p'));
    const auto begin = std::chrono::steady_clock::now();

    EXPECT_TRUE(eventually(
        [&] {
            server.network->sendImageData(picture);
            return server.network->sessionCount() == 0;
        },
        std::chrono::seconds(12)));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(12));
}

TEST_F(NetworkSlowTest, AfterAFailedSendAViewerGetsNothingUntilItSendsThePasswordAgain) {
    Peer viewer(server.port(), 4096);
    viewer.line();
    viewer.line();
    viewer.send("Sync,-1\n");
    const Data picture = makeData(Bytes(20000, 'p'));
    const auto sayHelloAndReadNothing = [&] {
        viewer.send("Hello,\n");
        server.network->sendImageData(picture);
        return !server.network->hasClient();
    };
    ASSERT_TRUE(eventually(sayHelloAndReadNothing, std::chrono::seconds(12)));
    EXPECT_EQ(server.network->sessionCount(), 1U) << "the connection stands";
    while (!viewer.staysSilent(std::chrono::seconds(1))) {
        viewer.bytes(1U << 20U, std::chrono::milliseconds(100));
    }

    server.network->sendImageData(picture);
    EXPECT_TRUE(viewer.staysSilent(std::chrono::milliseconds(100)));
    viewer.send("Password,\nStart,Camera A|Mic\nGetSources,\n");
    EXPECT_EQ(viewer.line(), "AUTH_OK");
    EXPECT_TRUE(viewer.line().value_or("").starts_with("VERSION,"));
    EXPECT_EQ(viewer.line(), "DATA_SOURCE|Camera A|id|v|1");
    server.network->sendImageData(picture);
    EXPECT_TRUE(viewer.line().value_or("").starts_with("Frame,"));
}

TEST_F(NetworkSlowTest, TenThousandVisitsLeaveNothingBehind) {
    const auto visit = [&](int count) {
        for (int index = 0; index < count; ++index) {
            Peer viewer(server.port());
            if (index % 2 == 0) {
                viewer.line();
            }
            if (index % 3 == 0) {
                viewer.reset();
            }
        }
        ASSERT_TRUE(eventually([&] { return server.network->sessionCount() == 0; },
                               std::chrono::seconds(30)));
    };
    visit(100);
    const auto threads = entriesOf("/proc/self/task");
    const auto descriptors = entriesOf("/proc/self/fd");

    visit(10000);

    EXPECT_TRUE(eventually([&] { return entriesOf("/proc/self/task") <= threads; }));
    EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
}

} // namespace
} // namespace ovelo
