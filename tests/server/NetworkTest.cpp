#include "server/Network.h"

#include "fakes/Eventually.h"
#include "fakes/Peer.h"
#include "server/TestServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <thread>

namespace ovelo {
namespace {

class NetworkTest : public ::testing::Test {
protected:
    TestServer server;
};

TEST_F(NetworkTest, StatusTextsComeInTheirOrder) {
    server.start();

    EXPECT_EQ(server.networkStatus(), "Waiting for connection...");
    const std::string log = server.events.text();
    const auto starting = log.find(": Network Status: Starting listener... \n");
    const auto waiting = log.find(": Network Status: Waiting for connection...\n");
    EXPECT_NE(starting, std::string::npos);
    EXPECT_LT(starting, waiting);
    EXPECT_TRUE(server.events.contains(": Bonjour Status: Bonjour service started...\n"));
    EXPECT_TRUE(server.events.contains(": IP Address: "));
}

TEST_F(NetworkTest, AnnouncesItsNameTypeAndPort) {
    server.start();

    ASSERT_EQ(server.publisher.published.size(), 1U);
    const PublishedService& service = server.publisher.published.front();
    EXPECT_EQ(service.domain, "");
    EXPECT_EQ(service.type, "_lumenwatch._tcp");
    EXPECT_TRUE(std::regex_match(service.name, std::regex("_lumenwatch_[0-9]{10}")));
    EXPECT_EQ(service.port, server.port());
}

TEST_F(NetworkTest, PortInUseIsAStatusTextAndNothingElseStarts) {
    TestServer first;
    first.start();
    server.settings.setString("port", std::to_string(first.port()));

    server.start();

    EXPECT_EQ(server.networkStatus(), "Server failed to start.");
    EXPECT_TRUE(server.publisher.published.empty());
    server.stop();
}

TEST_F(NetworkTest, ServiceThatCannotBeMadeIsAStatusText) {
    server.publisher.available = false;

    server.start();

    TestServer::onMain([&] {
        EXPECT_EQ(server.network->bonjourStatus(), "Bonjour service failed to initialize.");
    });
}

TEST_F(NetworkTest, FailedAnnouncementShowsDomainTypeNameAndCode) {
    server.publisher.errorCode = -26;

    server.start();

    TestServer::onMain([&] {
        EXPECT_TRUE(std::regex_match(
            server.network->bonjourStatus(),
            std::regex(
                R"(Bonjour service error \._lumenwatch\._tcp\._lumenwatch_\d+, error code = -26)")));
    });
    EXPECT_TRUE(Peer(server.port()).line()) << "viewers are served all the same";
}

TEST_F(NetworkTest, AccountIsAskedForUntilThereIsAnEmail) {
    server.settings.setString("email", "abc");
    server.prompt.answer = [&](Network& network) {
        return network.setButtonPressed(server.prompt.asked < 2 ? "no" : "me@example.org", "pw");
    };

    // The first answer is refused, so the modal window would still be open: the prompt ends the
    // program instead.
    server.start();
    EXPECT_EQ(server.port(), 0);
    EXPECT_EQ(server.prompt.alerts,
              (std::vector<std::string>{"Access Information Error / "
                                        "Please enter a valid E-Mail address and a password."}));

    server.start();
    EXPECT_NE(server.port(), 0);
    EXPECT_EQ(server.settings.string("email"), "me@example.org");
    EXPECT_EQ(server.settings.string("password"), "pw");
}

TEST_F(NetworkTest, EmptyPasswordIsRefusedInTheAccountWindow) {
    bool accepted = true;
    TestServer::onMain([&] { accepted = server.network->setButtonPressed("me@example.org", ""); });

    EXPECT_FALSE(accepted);
    EXPECT_EQ(server.prompt.alerts.size(), 1U);
}

TEST_F(NetworkTest, WithoutAClientFramesAreSkipped) {
    EXPECT_TRUE(server.network->shouldSkipFrame());
    EXPECT_FALSE(server.network->hasClient());
}

TEST_F(NetworkTest, ClientCountsOnceItHasSentThePassword) {
    server.settings.setString("password", "pw");
    server.start();
    Peer viewer(server.port());
    EXPECT_EQ(viewer.line(), "CONNECTED,PASS");
    EXPECT_FALSE(server.network->hasClient());

    viewer.send("Password,pw\n");

    EXPECT_EQ(viewer.line(), "AUTH_OK");
    EXPECT_TRUE(eventually([&] { return server.network->hasClient(); }));
}

TEST_F(NetworkTest, FirstClientsPaceGovernsAll) {
    server.start();
    Peer slow(server.port());
    ASSERT_EQ(slow.line(), "CONNECTED");
    Peer fast(server.port());
    ASSERT_EQ(fast.line(), "CONNECTED");
    slow.send("FrameRate,-0.333\nGetSources,\n"); // 1 / 0.005 s
    while (slow.line() != "DATA_SOURCE|Camera A|id|v|1") {
    }
    fast.send("FrameRate,1000\nGetSources,\n");
    while (fast.line() != "DATA_SOURCE|Camera A|id|v|1") {
    }

    EXPECT_FALSE(server.network->shouldSkipFrame()) << "the very first frame";
    EXPECT_TRUE(server.network->shouldSkipFrame()) << "too early for the first client";
    slow.close();
    ASSERT_TRUE(eventually([&] { return server.network->sessionCount() == 1; }));
    EXPECT_FALSE(server.network->shouldSkipFrame());
}

TEST_F(NetworkTest, EveryViewerGetsTextsAndPictures) {
    server.start();
    Peer first(server.port());
    Peer second(server.port());
    for (Peer* viewer : {&first, &second}) {
        ASSERT_EQ(viewer->line(), "CONNECTED");
        ASSERT_TRUE(viewer->line());
        viewer->send("Sync,0\nGetSources,\n");
        ASSERT_TRUE(viewer->line());
    }

    server.network->sendImageData(makeData({'j', 'p', 'g'}));
    server.network->sendText("PLAYBACK_DONE\n");

    for (Peer* viewer : {&first, &second}) {
        const auto header = viewer->line();
        ASSERT_TRUE(header);
        EXPECT_TRUE(std::regex_match(*header, std::regex("Frame,0,3,[0-9]{10},0"))) << *header;
        EXPECT_EQ(viewer->bytes(3), "jpg");
        EXPECT_EQ(viewer->line(), "PLAYBACK_DONE");
    }
}

TEST_F(NetworkTest, LeavingClientIsTakenOutAndTheStatusWaitsAgain) {
    server.start();
    {
        Peer viewer(server.port());
        ASSERT_EQ(viewer.line(), "CONNECTED");
        EXPECT_EQ(server.networkStatus(), "Accepted connection (T) from 127.0.0.1");
        EXPECT_EQ(server.network->sessionCount(), 1U);
    }

    EXPECT_TRUE(eventually([&] { return server.network->sessionCount() == 0; }));
    EXPECT_EQ(server.networkStatus(), "Waiting for connection...");
    EXPECT_EQ(server.document.calls(), std::vector<std::string>{"clientDisconnected"});
}

TEST_F(NetworkTest, StoppingEndsAHundredSessionsQuickly) {
    server.start();
    std::vector<std::unique_ptr<Peer>> viewers;
    for (int index = 0; index < 100; ++index) {
        viewers.push_back(std::make_unique<Peer>(server.port()));
        ASSERT_TRUE(viewers.back()->line());
    }
    const auto begin = std::chrono::steady_clock::now();

    server.stop();

    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_EQ(server.network->sessionCount(), 0U);
    for (const auto& viewer : viewers) {
        EXPECT_TRUE(viewer->isClosedByServer());
    }
    EXPECT_TRUE(server.events.contains(": TCP: Stopping server"));
    EXPECT_TRUE(server.events.contains(": Bonjour Status: Bonjour service stopped.\n"));
}

TEST_F(NetworkTest, PicturesTextsAndComingAndGoingViewersGetAlong) {
    server.start();
    std::atomic<bool> done = false;
    std::jthread camera([&] {
        const Data picture = makeData(Bytes(10000, 'p'));
        while (!done) {
            if (server.network->hasClient() && !server.network->shouldSkipFrame()) {
                server.network->sendImageData(picture);
            }
            server.network->sendAudioData(picture);
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    std::vector<std::jthread> visitors;
    for (int thread = 0; thread < 4; ++thread) {
        visitors.emplace_back([&, thread] {
            for (int visit = 0; visit < 15; ++visit) {
                Peer viewer(server.port());
                viewer.send("FrameRate,100\nSync,0\nStart,Camera A|Mic\nHello,\nNightVision,1\n");
                viewer.bytes(5000U + 1000U * static_cast<unsigned>(visit));
                if (visit % 3 == thread % 3) {
                    viewer.reset();
                }
            }
        });
    }
    visitors.clear();
    EXPECT_TRUE(eventually([&] { return server.network->sessionCount() == 0; }));
    done = true;
}

} // namespace
} // namespace ovelo
