#include "alerts/PushNotifier.h"

#include "fakes/FakeHttp.h"
#include "fakes/TestLog.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace ovelo {
namespace {

class PushNotifierTest : public ::testing::Test {
protected:
    PushNotifierTest() {
        MainThread::begin();
        settings.setString("serviceUrl", "https://watch.example.org/");
    }
    ~PushNotifierTest() override { MainThread::end(); }

    bool send(const std::string& devID = "phone") {
        return notifier.sendPushNotificationThread({devID, "Motion!", 1});
    }

    /// The field of a form, as it stands.
    static std::string field(const std::string& name, const std::string& value) {
        return "Content-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value +
               "\r\n--0xKhTmLbOuNdArY\r\n";
    }

    MemorySettings settings;
    TestLog events;
    FakeHttp http;
    PushNotifier::Environment environment{http, settings, events.log()};
    PushNotifier notifier{environment};
};

TEST_F(PushNotifierTest, RequestIsAFormOfTokenMessageAndBadgeNumber) {
    ASSERT_TRUE(send("0a1b"));

    const HttpRequest& request = http.exchanges.at(0)->request;
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.url, "https://watch.example.org/PushNotification/AddPushNotification.aspx");
    EXPECT_EQ(request.body, "--0xKhTmLbOuNdArY\r\n" + field("device_id", "0a1b") +
                                field("message", "Motion!") + field("badge_number", "1"));
    EXPECT_FALSE(request.followRedirects);
    EXPECT_TRUE(events.contains("Push Notification Request submitted, device_id 0a1b\n"));
}

TEST_F(PushNotifierTest, BadgeNumberIsDecimal) {
    ASSERT_TRUE(notifier.sendPushNotificationThread({"a", "b", -2147483647 - 1}));

    EXPECT_NE(http.exchanges[0]->request.body.find(field("badge_number", "-2147483648")),
              std::string::npos);
}

TEST_F(PushNotifierTest, WithoutAServiceNothingIsSubmitted) {
    settings.remove("serviceUrl");

    EXPECT_FALSE(send());

    EXPECT_TRUE(events.contains("sendPushNotification: Failed to submit request.\n"));
    EXPECT_FALSE(events.contains("submitted"));
    EXPECT_EQ(notifier.regConnections().trackedCount(), 0U);
}

TEST_F(PushNotifierTest, AnswerIsLogged) {
    ASSERT_TRUE(send());

    http.reply(0, 500, "Out of\norder");

    EXPECT_TRUE(events.contains("Push Notification registration HTTP return code: 500\n"));
    EXPECT_TRUE(events.contains("Push Notificationregistration HTTP return: <Out of\norder>\n"));
    EXPECT_EQ(notifier.ret_code(), 500);
}

TEST_F(PushNotifierTest, FailureIsLogged) {
    ASSERT_TRUE(send());

    http.fail(0, "Connection refused");

    EXPECT_TRUE(events.contains("Push Notification registration failed: Connection refused\n"));
    EXPECT_EQ(notifier.ret_code(), 0);
}

TEST_F(PushNotifierTest, EleventhRequestSilencesTheFirstButItsStatusIsKept) {
    for (int i = 0; i < 11; ++i) {
        ASSERT_TRUE(send("phone" + std::to_string(i)));
    }
    const std::string before = events.text();

    http.reply(0, 201, "late");

    EXPECT_EQ(events.text(), before);
    EXPECT_EQ(notifier.ret_code(), 201);
    EXPECT_EQ(notifier.regConnections().trackedCount(), 10U);

    http.reply(1, 200, "in time");

    EXPECT_TRUE(events.contains("<in time>\n"));
}

TEST_F(PushNotifierTest, FailureOfADroppedRequestIsNotLogged) {
    for (int i = 0; i < 11; ++i) {
        ASSERT_TRUE(send());
    }

    http.fail(0, "Connection refused");

    EXPECT_FALSE(events.contains("failed"));
}

TEST_F(PushNotifierTest, FinishedRequestsAreTrackedToo) {
    for (std::size_t i = 0; i < 10; ++i) {
        ASSERT_TRUE(send());
        http.reply(i, 200, "");
    }

    EXPECT_EQ(notifier.regConnections().trackedCount(), 10U);
    ASSERT_TRUE(send());
    EXPECT_EQ(notifier.regConnections().untrackedCount(), 0U);
}

class OddTokenTest : public PushNotifierTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(OddTokenTest, GoesIntoTheFormAsItStandsAndNowhereElse) {
    ASSERT_TRUE(send(GetParam()));

    const HttpRequest& request = http.exchanges.at(0)->request;
    EXPECT_NE(request.body.find(field("device_id", GetParam())), std::string::npos);
    ASSERT_EQ(request.headers.size(), 1U);
    EXPECT_EQ(request.headers[0].value, "multipart/form-data; boundary=0xKhTmLbOuNdArY");
    EXPECT_EQ(request.url, "https://watch.example.org/PushNotification/AddPushNotification.aspx");
    EXPECT_TRUE(events.contains("device_id " + std::string(GetParam()) + "\n"));
}

INSTANTIATE_TEST_SUITE_P(PushNotifier, OddTokenTest,
                         ::testing::Values("", "a\r\nX-Added: 1\r\n\r\nb", "\"quoted\"", "ключ 📱",
                                           "{} %s %@", "--0xKhTmLbOuNdArY--"));

TEST_F(PushNotifierTest, CallerOnAnotherThreadWaitsUntilTheRequestWasStarted) {
    std::atomic<std::size_t> startedWhenReturned = 99;
    std::atomic<bool> isDone = false;
    std::jthread caller([&] {
        notifier.sendPushNotification("phone", "Motion!", 1);
        startedWhenReturned = http.exchanges.size();
        isDone = true;
    });

    ASSERT_TRUE(MainThread::serveUntil([&] { return isDone.load(); }, std::chrono::seconds(5)));

    EXPECT_EQ(startedWhenReturned, 1U);
    EXPECT_NE(http.exchanges[0]->request.body.find(field("badge_number", "1")), std::string::npos);
}

TEST_F(PushNotifierTest, NobodyWaitsAfterTheEndOfTheMainLoop) {
    MainThread::end();

    std::jthread([&] { notifier.sendPushNotification("phone", "Motion!", 1); }).join();

    EXPECT_TRUE(http.exchanges.empty());
}

TEST_F(PushNotifierTest, SingleInstanceIsMadeOnceAndAnewAfterItsEnd) {
    PushNotifier::install(environment);
    std::vector<PushNotifier*> found(4);
    {
        std::vector<std::jthread> threads;
        for (auto& one : found) {
            threads.emplace_back([&one] { one = &PushNotifier::sharedInstance(); });
        }
    }
    EXPECT_EQ(found, std::vector<PushNotifier*>(4, &PushNotifier::sharedInstance()));
    ASSERT_TRUE(PushNotifier::sharedInstance().sendPushNotificationThread({"a", "b", 1}));

    PushNotifier::deleteSharedInstance();

    EXPECT_TRUE(http.exchanges[0]->isCancelled);
    EXPECT_EQ(PushNotifier::sharedInstance().regConnections().trackedCount(), 0U);
    PushNotifier::deleteSharedInstance();
}

TEST_F(PushNotifierTest, ServiceThatIsSetLaterIsUsed) {
    settings.remove("serviceUrl");
    EXPECT_FALSE(send());
    settings.setString("serviceUrl", "http://127.0.0.1:8080");

    EXPECT_TRUE(send());

    EXPECT_EQ(http.exchanges.at(0)->request.url,
              "http://127.0.0.1:8080/PushNotification/AddPushNotification.aspx");
}

} // namespace
} // namespace ovelo
