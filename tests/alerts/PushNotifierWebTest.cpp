// Push notifications over the wire.

#include "alerts/PushNotifier.h"
#include "fakes/HttpServer.h"
#include "fakes/QtWait.h"
#include "fakes/TestLog.h"
#include "platform/MemorySettings.h"
#include "platform/QtHttpClient.h"
#include "platform/QtMainLoop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

namespace ovelo {
namespace {

class PushNotifierWebTest : public ::testing::Test {
protected:
    void use(const std::string& url) { settings.setString("serviceUrl", url); }

    bool send(const std::string& token) {
        return notifier.sendPushNotificationThread({token, "Motion at noon.", 1});
    }
    bool logs(const std::string& line) {
        return runLoopUntil([&] { return events.contains(line); });
    }

    QtMainLoop mainLoop;
    MemorySettings settings;
    TestLog events;
    QtHttpClient client;
    PushNotifier notifier{{client, settings, events.log()}};
};

TEST_F(PushNotifierWebTest, AnswerOfTheServiceIsLogged) {
    HttpServer server(HttpServer::always("200 OK", "Queued é"));
    use(server.url());

    ASSERT_TRUE(send("phone"));

    EXPECT_TRUE(logs("Push Notificationregistration HTTP return: <Queued é>\n")) << events.text();
    EXPECT_TRUE(events.contains("Push Notification registration HTTP return code: 200\n"));
    const auto request = server.requests().at(0);
    EXPECT_EQ(request.firstLine(), "POST /PushNotification/AddPushNotification.aspx HTTP/1.1");
    EXPECT_TRUE(request.has("Content-Type: multipart/form-data; boundary=0xKhTmLbOuNdArY"));
}

TEST_F(PushNotifierWebTest, RedirectionIsLoggedAndNotFollowed) {
    HttpServer server(HttpServer::always("302 Found", "there", "Location: /there\r\n"));
    use(server.url());

    ASSERT_TRUE(send("phone"));

    EXPECT_TRUE(logs("<there>"));
    EXPECT_TRUE(events.contains("return code: 302\n"));
    EXPECT_EQ(server.requestCount(), 1U);
}

TEST_F(PushNotifierWebTest, ErrorOfTheServiceIsLoggedAsAnyAnswerAndNotRetried) {
    HttpServer server(HttpServer::always("500 Internal Server Error", "broken"));
    use(server.url());

    ASSERT_TRUE(send("phone"));

    EXPECT_TRUE(logs("<broken>"));
    EXPECT_TRUE(events.contains("return code: 500\n"));
    EXPECT_FALSE(events.contains("failed"));
    EXPECT_EQ(server.requestCount(), 1U);
}

TEST_F(PushNotifierWebTest, AnswerThatIsCutOffIsLoggedAsAFailureAndNotRetried) {
    HttpServer server([](const HttpServer::Request&, HttpServer::Client& peer) {
        peer.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf");
        peer.close();
    });
    use(server.url());

    ASSERT_TRUE(send("phone"));

    EXPECT_TRUE(logs("Push Notification registration failed: "));
    EXPECT_TRUE(events.contains("<half>"));
    EXPECT_EQ(server.requestCount(), 1U);
}

TEST_F(PushNotifierWebTest, ServiceThatIsNotThereIsLogged) {
    use("http://127.0.0.1:1");

    ASSERT_TRUE(send("phone"));

    EXPECT_TRUE(logs("Push Notification registration failed: Connection refused\n"));
}

TEST_F(PushNotifierWebTest, EndlessAnswerIsGivenUp) {
    HttpServer server([](const HttpServer::Request&, HttpServer::Client& peer) {
        peer.send("HTTP/1.1 200 OK\r\n\r\n");
        while (peer.send(std::string(1000, 'x'))) {
        }
    });
    use(server.url());

    ASSERT_TRUE(send("phone"));

    EXPECT_TRUE(logs("Push Notification registration failed: The reply is too long.\n"));
    EXPECT_LT(events.text().size(), 70'000U);
    EXPECT_TRUE(runLoopUntil([&] { return server.openConnections() == 0; }));
}

TEST_F(PushNotifierWebTest, TokenCannotAddAHeaderToTheRequest) {
    HttpServer server(HttpServer::always("200 OK", "done"));
    use(server.url());

    ASSERT_TRUE(send("a\r\nX-Added: 1\r\n\r\nPOST /second HTTP/1.1\r\n\r\n"));

    ASSERT_TRUE(logs("<done>"));
    EXPECT_EQ(server.requestCount(), 1U);
    EXPECT_EQ(server.requests().at(0).head.find("X-Added"), std::string::npos);
}

TEST_F(PushNotifierWebTest, ThousandsOfPhonesAreServedOverAFewConnections) {
    constexpr std::size_t kPhones = 1000;
    HttpServer server(HttpServer::always("200 OK", "x"));
    use(server.url());
    std::atomic<bool> isDone = false;
    std::jthread caller([&] {
        for (std::size_t i = 0; i < kPhones; ++i) {
            notifier.sendPushNotification("phone" + std::to_string(i), "Motion at noon.", 1);
        }
        isDone = true;
    });

    EXPECT_TRUE(runLoopUntil([&] { return isDone && server.requestCount() == kPhones; },
                             std::chrono::seconds(30)))
        << server.requestCount();

    EXPECT_LE(server.mostOpenConnections(), 8); // six, and ends that it has not noticed yet
    EXPECT_FALSE(events.contains("failed"));
    EXPECT_TRUE(runLoopUntil([&] { return notifier.regConnections().untrackedCount() == 0; }));
}

} // namespace
} // namespace ovelo
