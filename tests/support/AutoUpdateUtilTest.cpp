#include "support/AutoUpdateUtil.h"

#include "fakes/FakeAlerts.h"
#include "fakes/FakeHttp.h"
#include "fakes/TestLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace ovelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kUrl = "http://127.0.0.1/iphone/ovelo/AutoUpdateMac.txt";

class AutoUpdateUtilTest : public ::testing::Test {
protected:
    void check(const std::string& version, bool showError) {
        util->checkForUpdate(version, kUrl, showError);
    }

    /// A whole check, with this answer of the web site.
    void checkWith(const std::string& version, const std::string& manifest, bool showError = true) {
        check(version, showError);
        http.reply(http.exchanges.size() - 1, 200, manifest);
    }

    TestLog events;
    FakeHttp http;
    FakeAlerts alerts;
    std::vector<std::string> opened;
    bool opens = true;
    AutoUpdateUtil::Environment environment{http, events.log(), alerts,
                                            [this](const std::string& url) {
                                                opened.push_back(url);
                                                return opens;
                                            }};
    std::unique_ptr<AutoUpdateUtil> util = std::make_unique<AutoUpdateUtil>(environment);
};

struct Versions {
    const char* v1;
    const char* v2;
    int order;
};

class CompareVersionTest : public ::testing::TestWithParam<Versions> {};

TEST_P(CompareVersionTest, OrdersByTheNumbersBetweenTheDots) {
    const auto& [v1, v2, order] = GetParam();

    EXPECT_EQ(AutoUpdateUtil::compareVersion(v1, v2), order) << v1 << " and " << v2;
    EXPECT_EQ(AutoUpdateUtil::compareVersion(v2, v1), -order) << v2 << " and " << v1;
}

INSTANTIATE_TEST_SUITE_P(
    Pairs, CompareVersionTest,
    ::testing::Values(Versions{"1.2", "1.2.0", 0}, Versions{"1.9", "1.10", -1},
                      Versions{"1.2.0.0", "1.2", 0}, Versions{"1.2", "1.2.0.1", -1},
                      Versions{"2", "1.9.9", 1}, Versions{"", "0.0", 0}, Versions{"", "1", -1},
                      Versions{"1.2b3", "1.2", 0}, Versions{"beta", "0", 0},
                      Versions{"1.beta", "1.0.1", -1}, Versions{"1..2", "1.0.2", 0},
                      Versions{"99999999999", "2", 1}, Versions{"-1", "0", 0}));

TEST_F(AutoUpdateUtilTest, AsksForAFreshCopyForAMinute) {
    check("1.0", false);

    const HttpRequest& request = http.exchanges.at(0)->request;
    EXPECT_EQ(request.url, kUrl);
    EXPECT_EQ(request.method, "GET");
    EXPECT_TRUE(request.reloadIgnoringCache);
    EXPECT_EQ(request.timeout, std::chrono::seconds(60));
}

TEST_F(AutoUpdateUtilTest, OffersANewerVersionEvenWhenSilent) {
    checkWith("1.9", "1.10\nhttp://www.example.org/a", false);

    ASSERT_EQ(alerts.asked.size(), 1U);
    EXPECT_EQ(alerts.asked[0].message, "New Version Available! ");
    EXPECT_EQ(alerts.asked[0].informativeText,
              "A new version is available for download.\n\nCurrent Version: 1.9\nNew Version: "
              "1.10\n");
    EXPECT_EQ(alerts.asked[0].defaultButton, "Cancel");
    EXPECT_EQ(alerts.asked[0].otherButton, "Download");
    EXPECT_THAT(alerts.told, IsEmpty());
    EXPECT_TRUE(events.contains("AutoUpdate return code: 200\n"));
    EXPECT_TRUE(events.contains("AutoUpdate HTTP return: <1.10\nhttp://www.example.org/a>\n"));
}

TEST_F(AutoUpdateUtilTest, DownloadOpensTheLinkOfTwoOrThreeLines) {
    checkWith("1.0", "2.0\nhttp://www.example.org/two");
    alerts.answer(true);
    checkWith("1.0", "2.0\nignored\nhttp://www.example.org/three");
    alerts.answer(true);

    EXPECT_THAT(opened, ElementsAre("http://www.example.org/two", "http://www.example.org/three"));
}

TEST_F(AutoUpdateUtilTest, CancelOpensNothing) {
    checkWith("1.0", "2.0\nhttp://www.example.org/");
    alerts.answer(false);

    EXPECT_THAT(opened, IsEmpty());
}

TEST_F(AutoUpdateUtilTest, SaysThatALinkCannotBeOpened) {
    opens = false;
    checkWith("1.0", "2.0\nfile:///etc/passwd");
    alerts.answer(true);

    EXPECT_THAT(alerts.told,
                ElementsAre("Unable to open the download page.  / file:///etc/passwd"));
    EXPECT_TRUE(events.contains("AutoUpdate link not opened: <file:///etc/passwd>\n"));
}

TEST_F(AutoUpdateUtilTest, SameVersionIsNoUpdate) {
    checkWith("1.2", "1.2.0\nhttp://www.example.org/");

    EXPECT_THAT(alerts.asked, IsEmpty());
    EXPECT_THAT(alerts.told,
                ElementsAre("No update is available.  / Your current version is up to date."));
}

TEST_F(AutoUpdateUtilTest, SilentCheckDoesNotTellThatThereIsNone) {
    checkWith("1.2", "1.2.0\nhttp://www.example.org/", false);

    EXPECT_THAT(alerts.told, IsEmpty());
}

TEST_F(AutoUpdateUtilTest, ManifestOfOneLineIsAnError) {
    checkWith("1.0", "2.0\n");

    EXPECT_THAT(alerts.told, ElementsAre("Unable to check for update.  / Please try again later."));
    EXPECT_THAT(alerts.asked, IsEmpty());
    EXPECT_TRUE(events.contains("checkForUpdate exception: "));

    checkWith("1.0", "2.0", false);
    EXPECT_EQ(alerts.told.size(), 1U) << "a silent check tells";
}

TEST_F(AutoUpdateUtilTest, WebPageInsteadOfAManifestIsNoUpdate) {
    checkWith("1.0", "<html>\n<body>\nNot found\n</body>\n", false);

    EXPECT_THAT(alerts.asked, IsEmpty());
    EXPECT_THAT(alerts.told, IsEmpty());
}

TEST_F(AutoUpdateUtilTest, ReplyThatIsNoTextIsAnError) {
    checkWith("1.0", "\xFF\xFE\n2\n3\n");

    EXPECT_THAT(alerts.told, ElementsAre("Unable to check for update.  / Please try again later."));
    EXPECT_TRUE(events.contains("AutoUpdate HTTP return: <(null)>\n"));
}

TEST_F(AutoUpdateUtilTest, EmptyReplyTellsNothing) {
    check("1.0", true);
    http.respond(0, 204);
    http.finish(0);

    EXPECT_THAT(alerts.told, IsEmpty());
    EXPECT_EQ(util->ret_code(), 204);
    EXPECT_FALSE(util->inProgress());
}

TEST_F(AutoUpdateUtilTest, EachPieceOfAReplyIsAManifest) {
    check("1.0", true);
    http.respond(0, 200);
    http.send(0, "2.0\nhttp://www.example.org/");
    http.send(0, "0.5\nhttp://www.example.org/");

    EXPECT_EQ(alerts.asked.size(), 1U);
    EXPECT_EQ(alerts.told.size(), 1U);
}

TEST_F(AutoUpdateUtilTest, EndlessReplyIsGivenUp) {
    check("1.0", false);
    http.respond(0, 200);
    for (int i = 0; i < 100; ++i) {
        http.send(0, std::string(1024, 'x'));
    }

    EXPECT_TRUE(http.exchanges[0]->isCancelled);
    EXPECT_TRUE(events.contains("AutoUpdate failed: The reply is too long.\n"));
}

TEST_F(AutoUpdateUtilTest, LongVersionIsShownInPart) {
    checkWith("1.0", "9." + std::string(60'000, '1') + "\nhttp://www.example.org/");

    ASSERT_EQ(alerts.asked.size(), 1U);
    EXPECT_LT(alerts.asked[0].informativeText.size(), 200U);
}

TEST_F(AutoUpdateUtilTest, FailureIsLoggedAndTold) {
    check("1.0", true);
    http.fail(0, "Connection refused");

    EXPECT_TRUE(events.contains("AutoUpdate failed: Connection refused\n"));
    EXPECT_THAT(alerts.told,
                ElementsAre("Unable to connect to update server.  / Please try again later."));
    EXPECT_FALSE(util->inProgress());
}

TEST_F(AutoUpdateUtilTest, SilentFailureIsLoggedOnly) {
    check("1.0", false);
    http.fail(0, "Connection refused");

    EXPECT_TRUE(events.contains("AutoUpdate failed: Connection refused\n"));
    EXPECT_THAT(alerts.told, IsEmpty());
}

TEST_F(AutoUpdateUtilTest, SecondCheckDoesNothingWhileOneRuns) {
    check("1.0", false);
    check("2.0", true);

    EXPECT_EQ(http.exchanges.size(), 1U);
    EXPECT_EQ(util->currentVersion(), "1.0");
    EXPECT_FALSE(util->showError());
}

TEST_F(AutoUpdateUtilTest, FirstResponseAllowsTheNextCheck) {
    check("1.0", false);
    http.respond(0, 200);
    check("1.0", true);

    EXPECT_EQ(http.exchanges.size(), 2U);
}

TEST_F(AutoUpdateUtilTest, RequestThatCannotBeMadeBlocksAllLaterChecks) {
    util->checkForUpdate("1.0", "", true);

    EXPECT_TRUE(events.contains("checkForUpdate: failed to create request."));
    EXPECT_THAT(alerts.told, IsEmpty());
    EXPECT_TRUE(util->inProgress());

    check("1.0", true);
    EXPECT_THAT(http.exchanges, IsEmpty());
}

TEST_F(AutoUpdateUtilTest, AnswerAfterItsEndOpensNothing) {
    checkWith("1.0", "2.0\nhttp://www.example.org/");
    util.reset();
    alerts.answer(true);

    EXPECT_THAT(opened, IsEmpty());
}

TEST_F(AutoUpdateUtilTest, ThereIsOneInstance) {
    AutoUpdateUtil::install(environment);
    AutoUpdateUtil& first = AutoUpdateUtil::sharedInstance();

    EXPECT_EQ(&AutoUpdateUtil::sharedInstance(), &first);
    AutoUpdateUtil::deleteSharedInstance();
}

} // namespace
} // namespace ovelo
