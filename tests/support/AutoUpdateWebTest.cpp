// The update check against a web server on loopback.

#include "fakes/FakeAlerts.h"
#include "fakes/HttpServer.h"
#include "fakes/QtWait.h"
#include "fakes/TestLog.h"
#include "platform/QtHttpClient.h"
#include "support/AutoUpdateUtil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace ovelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class AutoUpdateWebTest : public ::testing::Test {
protected:
    /// A check that tells everything, up to its first alert.
    bool check(const std::string& url) {
        util.checkForUpdate("1.9", url, true);
        return runLoopUntil([this] { return !alerts.told.empty() || !alerts.asked.empty(); });
    }

    TestLog events;
    FakeAlerts alerts;
    QtHttpClient http;
    AutoUpdateUtil util{{http, events.log(), alerts, [](const std::string&) { return true; }}};
};

TEST_F(AutoUpdateWebTest, NewerVersionIsOffered) {
    const HttpServer server(HttpServer::always("200 OK", "1.10\r\nhttp://127.0.0.1/\r\n"));

    ASSERT_TRUE(check(server.url("/iphone/ovelo/AutoUpdateMac.txt")));

    EXPECT_EQ(alerts.asked.size(), 1U);
    EXPECT_EQ(server.requests().at(0).firstLine(), "GET /iphone/ovelo/AutoUpdateMac.txt HTTP/1.1");
}

TEST_F(AutoUpdateWebTest, ManifestOfTenThousandLinesIsRead) {
    std::string text = "1.10\n\nhttp://127.0.0.1/\n";
    for (int i = 0; i < 10'000; ++i) {
        text += "1\n";
    }
    const HttpServer server(HttpServer::always("200 OK", text));

    ASSERT_TRUE(check(server.url()));

    EXPECT_EQ(alerts.asked.size(), 1U);
}

TEST_F(AutoUpdateWebTest, StatusIsLoggedAndNotJudged) {
    const HttpServer server(HttpServer::always("404 Not Found", "1.10\nhttp://127.0.0.1/"));

    ASSERT_TRUE(check(server.url()));

    EXPECT_EQ(alerts.asked.size(), 1U);
    EXPECT_EQ(util.ret_code(), 404);
    EXPECT_TRUE(events.contains("AutoUpdate return code: 404\n"));
}

TEST_F(AutoUpdateWebTest, RedirectionLoopIsAFailure) {
    const HttpServer server(HttpServer::always("302 Found", "", "Location: /again\r\n"));

    ASSERT_TRUE(check(server.url()));

    EXPECT_THAT(alerts.told,
                ElementsAre("Unable to connect to update server.  / Please try again later."));
    EXPECT_FALSE(util.inProgress());
}

TEST_F(AutoUpdateWebTest, AddressThatIsNoneOfTheWebIsNotAsked) {
    util.checkForUpdate("1.9", "file:///etc/passwd", true);

    EXPECT_TRUE(events.contains("checkForUpdate: failed to create request."));
    EXPECT_THAT(alerts.told, IsEmpty());
}

} // namespace
} // namespace ovelo
