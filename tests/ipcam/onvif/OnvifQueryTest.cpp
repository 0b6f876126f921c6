#include "ipcam/onvif/OnvifQuery.h"

#include "fakes/FakeHttp.h"
#include "ipcam/onvif/OnvifTexts.h"
#include "platform/Sha1.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

namespace ovelo {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kDevice = "http://10.0.0.9/onvif/device_service";
constexpr const char* kMedia = "http://10.0.0.9/onvif/media";
constexpr const char* kSnapshot = "http://10.0.0.9/snap.jpg?a=1&amp;b=2";

class OnvifQueryTest : public ::testing::Test {
protected:
    void start(const std::optional<OnvifCredentials>& credentials = std::nullopt,
               const std::string& address = kDevice) {
        query = std::make_unique<OnvifQuery>(
            OnvifQuery::Environment{
                http,
                [] {
                    return onvif::Stamp{"0123456789abcdef", "2024-01-31T22:59:58Z"};
                },
                credentials},
            address, [this](const OnvifQuery::Outcome& result) {
                outcome = result;
                query.reset();
            });
        query->start();
    }
    void reply(const std::string& text, int status = 200) const {
        http.reply(http.exchanges.size() - 1, status, text);
    }
    const HttpRequest& request() const { return http.exchanges.back()->request; }

    FakeHttp http;
    std::unique_ptr<OnvifQuery> query;
    std::optional<OnvifQuery::Outcome> outcome;
};

TEST_F(OnvifQueryTest, LearnsBothAddressesInFourSteps) {
    start();
    EXPECT_EQ(request().url, kDevice);
    EXPECT_EQ(request().method, "POST");
    EXPECT_THAT(request().body, HasSubstr("<GetCapabilities "));
    reply(onviftexts::capabilities(kMedia));
    EXPECT_EQ(request().url, kMedia);
    EXPECT_THAT(request().body, HasSubstr("<GetProfiles "));
    reply(onviftexts::profiles("first&amp;best"));
    EXPECT_THAT(request().body, HasSubstr("<GetSnapshotUri "));
    EXPECT_THAT(request().body, HasSubstr("<ProfileToken>first&amp;best</ProfileToken>"));
    reply(onviftexts::mediaUri(kSnapshot));
    EXPECT_THAT(request().body, HasSubstr("<GetStreamUri "));
    reply(onviftexts::mediaUri(" rtsp://10.0.0.9/live \n"));

    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->snapshotUri, "http://10.0.0.9/snap.jpg?a=1&b=2");
    EXPECT_EQ(outcome->streamUri, "rtsp://10.0.0.9/live");
    EXPECT_EQ(outcome->failure, "");
    EXPECT_EQ(http.exchanges.size(), 4U);
}

TEST_F(OnvifQueryTest, WithoutCredentialsNoneAreSent) {
    start();

    EXPECT_THAT(request().body, Not(HasSubstr("Security")));
    EXPECT_FALSE(http.exchanges[0]->observer.didReceiveAuthenticationChallenge);
}

TEST_F(OnvifQueryTest, PasswordGoesOutAsADigestOnly) {
    start(OnvifCredentials{"me & you", "secret"});

    EXPECT_THAT(request().body, HasSubstr("<Username>me &amp; you</Username>"));
    EXPECT_THAT(request().body, HasSubstr(">MDEyMzQ1Njc4OWFiY2RlZg==</Nonce>"));
    EXPECT_THAT(request().body, HasSubstr(">2024-01-31T22:59:58Z</Created>"));
    EXPECT_THAT(request().body,
                HasSubstr(sha1Base64("0123456789abcdef2024-01-31T22:59:58Zsecret")));
    EXPECT_THAT(request().body, Not(HasSubstr("secret<")));
}

TEST_F(OnvifQueryTest, ChallengeIsAnsweredOnce) {
    start(OnvifCredentials{"me", "secret"});
    const auto& challenge = http.exchanges[0]->observer.didReceiveAuthenticationChallenge;

    EXPECT_EQ(challenge(0)->password, "secret");
    EXPECT_FALSE(challenge(1));
}

TEST_F(OnvifQueryTest, RefusalOfTheCameraIsTold) {
    start();
    reply(onviftexts::fault("Sender not Authorized"), 400);

    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->failure, "the camera refuses: Sender not Authorized");
}

TEST_F(OnvifQueryTest, CameraWithoutSnapshotsStillHasItsStream) {
    start();
    reply(onviftexts::capabilities(kMedia));
    reply(onviftexts::profiles("a"));
    reply(onviftexts::fault("Action not supported"), 500);
    reply(onviftexts::mediaUri("rtsp://10.0.0.9/live"));

    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->snapshotUri, "");
    EXPECT_EQ(outcome->streamUri, "rtsp://10.0.0.9/live");
    EXPECT_EQ(outcome->failure, "");
}

TEST_F(OnvifQueryTest, WithNeitherAddressTheReasonIsTold) {
    start();
    reply(onviftexts::capabilities(kMedia));
    reply(onviftexts::profiles("a"));
    reply(onviftexts::fault("no"));
    http.fail(http.exchanges.size() - 1, "Connection closed");

    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->failure, "Connection closed");
}

TEST_F(OnvifQueryTest, EachWayToFailHasAReason) {
    start(std::nullopt, "");
    EXPECT_EQ(outcome->failure, "no web address: ");
    start();
    http.fail(http.exchanges.size() - 1, "Connection refused");
    EXPECT_EQ(outcome->failure, "Connection refused");
    start();
    reply("<html>", 200);
    EXPECT_EQ(outcome->failure, "the reply is no XML");
    start();
    reply("denied", 401);
    EXPECT_EQ(outcome->failure, "the camera wants a user name and a password");
    start();
    reply(onviftexts::envelope(""));
    EXPECT_EQ(outcome->failure, "the reply has no media service");
    start();
    reply(onviftexts::capabilities(kMedia));
    reply(onviftexts::envelope(""));
    EXPECT_EQ(outcome->failure, "the reply has no profile");
}

TEST_F(OnvifQueryTest, EndlessReplyIsGivenUp) {
    start();
    http.respond(0, 200);
    for (int i = 0; i < 300 && !outcome; ++i) {
        http.send(0, std::string(1024, 'x'));
    }

    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->failure, "the reply is too long");
    EXPECT_TRUE(http.exchanges[0]->isCancelled);
}

TEST_F(OnvifQueryTest, EndCancelsTheRequest) {
    start();
    query.reset();

    EXPECT_TRUE(http.exchanges[0]->isCancelled);
    EXPECT_FALSE(outcome);
}

TEST(Sha1Test, IsTheDigestInBase64) {
    EXPECT_EQ(sha1Base64(""), "2jmj7l5rSw0yVb/vlWAYkK/YBwk=");
    EXPECT_EQ(sha1Base64("abc"), "qZk+NkcGgWq6PiVxeFDCbJzQ2J0=");
    EXPECT_EQ(base64Of("abcd"), "YWJjZA==");
}

} // namespace
} // namespace ovelo
