#include "support/ServiceRequests.h"

#include "fakes/FakeHttp.h"

#include <gtest/gtest.h>

#include <string>

namespace ovelo {
namespace {

class ServiceRequestsTest : public ::testing::Test {
protected:
    bool start() {
        HttpRequest request;
        request.url = "http://127.0.0.1/";
        return requests.start(http, request);
    }

    FakeHttp http;
    std::string told; // a line for each call
    ServiceRequests requests{
        2,
        {.didReceiveResponse = [this](int status,
                                      bool isTracked) { tell(std::to_string(status), isTracked); },
         .didReceiveData = [this](std::string_view text,
                                  bool isTracked) { tell(std::string(text), isTracked); },
         .didFailWithError = [this](const std::string& description,
                                    bool isTracked) { tell(description, isTracked); }}};

private:
    void tell(const std::string& what, bool isTracked) {
        told += what + (isTracked ? "\n" : " of an untracked one\n");
    }
};

TEST_F(ServiceRequestsTest, ReplyIsToldInItsPieces) {
    ASSERT_TRUE(start());

    http.respond(0, 200);
    http.send(0, "OK ");
    http.send(0, "<Result/>");
    http.finish(0);

    EXPECT_EQ(told, "200\nOK \n<Result/>\n");
}

TEST_F(ServiceRequestsTest, FinishedOnesStayTrackedUntilDropped) {
    ASSERT_TRUE(start());
    http.reply(0, 200, "a");
    ASSERT_TRUE(start());
    EXPECT_EQ(requests.trackedCount(), 2U);

    ASSERT_TRUE(start());

    EXPECT_EQ(requests.trackedCount(), 2U);
    EXPECT_EQ(requests.untrackedCount(), 0U);
}

TEST_F(ServiceRequestsTest, DroppedOneGoesOnUntracked) {
    ASSERT_TRUE(start() && start() && start());
    EXPECT_FALSE(http.exchanges[0]->isCancelled);
    EXPECT_EQ(requests.untrackedCount(), 1U);

    http.reply(0, 500, "late");

    EXPECT_EQ(told, "500 of an untracked one\nlate of an untracked one\n");
    EXPECT_EQ(requests.untrackedCount(), 0U);
    EXPECT_TRUE(http.exchanges[0]->isCancelled) << "its connection is kept";
}

TEST_F(ServiceRequestsTest, FailureOfADroppedOneEndsIt) {
    ASSERT_TRUE(start() && start() && start());

    http.fail(0, "Connection refused");

    EXPECT_EQ(told, "Connection refused of an untracked one\n");
    EXPECT_EQ(requests.untrackedCount(), 0U);
}

TEST_F(ServiceRequestsTest, OneThatCannotBeStartedIsNotTrackedButDropsTheOldest) {
    ASSERT_TRUE(start() && start());
    http.refuses = true;

    EXPECT_FALSE(start());

    EXPECT_EQ(requests.trackedCount(), 1U);
    EXPECT_EQ(requests.untrackedCount(), 1U);
}

TEST_F(ServiceRequestsTest, EndlessReplyIsGivenUp) {
    ASSERT_TRUE(start());
    http.respond(0, 200);

    for (int i = 0; i < 100; ++i) {
        http.send(0, std::string(1024, 'x'));
    }

    EXPECT_LT(told.size(), 70'000U);
    EXPECT_TRUE(told.ends_with("\nThe reply is too long.\n"));
    EXPECT_TRUE(http.exchanges[0]->isCancelled);
}

TEST_F(ServiceRequestsTest, ReplyThatIsNoUtf8IsToldAsNothing) {
    ASSERT_TRUE(start());

    http.reply(0, 200, "\xFF\xFE");

    EXPECT_EQ(told, "200\n(null)\n");
}

TEST_F(ServiceRequestsTest, EndCancelsWhatRunsTrackedOrNot) {
    {
        ServiceRequests shortLived(1, {});
        HttpRequest request;
        request.url = "http://127.0.0.1/";
        ASSERT_TRUE(shortLived.start(http, request) && shortLived.start(http, request));
        http.respond(1, 200);
        http.send(1, "nobody listens");
    }

    EXPECT_TRUE(http.exchanges[0]->isCancelled);
    EXPECT_TRUE(http.exchanges[1]->isCancelled);
}

TEST_F(ServiceRequestsTest, ListenerMayStartTheNextOneThatDropsItsOwn) {
    bool hasStarted = false;
    ServiceRequests one(1, {.didFailWithError = [&](const std::string&, bool) {
                            HttpRequest request;
                            request.url = "http://127.0.0.1/again";
                            hasStarted = one.start(http, request);
                        }});
    HttpRequest request;
    request.url = "http://127.0.0.1/";
    ASSERT_TRUE(one.start(http, request));

    http.fail(0, "x");

    EXPECT_TRUE(hasStarted);
    EXPECT_EQ(one.trackedCount(), 1U);
    EXPECT_EQ(one.untrackedCount(), 0U);
}

} // namespace
} // namespace ovelo
