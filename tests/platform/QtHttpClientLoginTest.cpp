#include "fakes/HttpServer.h"
#include "platform/HttpRecorder.h"
#include "platform/QtHttpClient.h"

#include <QCryptographicHash>

#include <gtest/gtest.h>

#include <atomic>

namespace ovelo {
namespace {

using Request = HttpServer::Request;
using Client = HttpServer::Client;

std::string md5(const std::string& text) {
    return QCryptographicHash::hash(QByteArray::fromStdString(text), QCryptographicHash::Md5)
        .toHex()
        .toStdString();
}

/// The value of a parameter of the request's login, without quotation marks.
std::string parameter(const Request& request, const std::string& name) {
    const auto login = request.head.find("Authorization: Digest");
    const auto place = request.head.find(name + "=", login);
    if (login == std::string::npos || place == std::string::npos) {
        return "";
    }
    const auto begin = place + name.size() + 1;
    std::string value =
        request.head.substr(begin, request.head.find_first_of(",\r", begin) - begin);
    std::erase(value, '"');
    return value;
}

/// RFC 7616, 3.4.1, with qop=auth.
bool isRightDigest(const Request& request, const std::string& user, const std::string& password,
                   const std::string& nonce) {
    const auto of = [&](const char* name) { return parameter(request, name); };
    const std::string secret = md5(user + ":yard:" + password);
    const std::string what = md5("GET:" + of("uri"));
    return of("nonce") == nonce && of("response") == md5(secret + ":" + nonce + ":" + of("nc") +
                                                         ":" + of("cnonce") + ":auth:" + what);
}

std::string digestChallenge(const std::string& nonce, const std::string& more = {}) {
    return "WWW-Authenticate: Digest realm=\"yard\", nonce=\"" + nonce + "\", qop=\"auth\"" + more +
           "\r\n";
}

HttpServer::Handler basicServer(const std::string& encoded) {
    return [=](const Request& request, Client& peer) {
        if (request.has("Authorization: Basic " + encoded)) {
            peer.reply("200 OK", "picture", "Content-Type: image/jpeg\r\n");
        } else {
            peer.reply("401 Unauthorized", "go away", "WWW-Authenticate: Basic realm=\"yard\"\r\n");
        }
    };
}

HttpServer::Handler digestServer(const std::string& user, const std::string& password) {
    return [=](const Request& request, Client& peer) {
        if (isRightDigest(request, user, password, "n1")) {
            peer.reply("200 OK", "picture", "Content-Type: image/jpeg\r\n");
        } else {
            peer.reply("401 Unauthorized", "go away", digestChallenge("n1"));
        }
    };
}

constexpr auto kBobSecret = "Ym9iOnNlY3JldA=="; // bob:secret

/// Answers every challenge alike, as long as the last answer was not rejected.
HttpRecorder::Answer once(const std::string& user, const std::string& password) {
    return [=](int failures) -> std::optional<HttpCredentials> {
        if (failures > 0) {
            return std::nullopt;
        }
        return HttpCredentials{user, password};
    };
}

class QtHttpClientLoginTest : public ::testing::Test {
protected:
    bool ends(const HttpServer& server, const HttpRecorder::Answer& answer) {
        return seen.run(client, requestFor(server.url("/picture.jpg?a=b")), answer);
    }

    QtHttpClient client;
    HttpRecorder seen;
};

TEST_F(QtHttpClientLoginTest, RightPasswordIsAskedForOnce) {
    HttpServer server(basicServer(kBobSecret));

    ASSERT_TRUE(ends(server, once("bob", "secret")));

    EXPECT_EQ(seen.calls, "CRDF") << seen.error;
    EXPECT_EQ(seen.challenges, std::vector<int>{0});
    EXPECT_EQ(seen.response.status, 200);
    EXPECT_EQ(seen.body, "picture");
}

TEST_F(QtHttpClientLoginTest, RightPasswordOpensADigestServer) {
    HttpServer server(digestServer("bob", "secret"));

    ASSERT_TRUE(ends(server, once("bob", "secret")));

    EXPECT_EQ(seen.calls, "CRDF") << seen.error;
    EXPECT_EQ(server.requestCount(), 2U);
    EXPECT_EQ(server.requests().at(1).head.find("secret"), std::string::npos);
}

TEST_F(QtHttpClientLoginTest, WrongPasswordIsSentOnceAndItsRejectionIsCounted) {
    HttpServer server(basicServer(kBobSecret));

    ASSERT_TRUE(ends(server, once("bob", "wrong")));

    EXPECT_EQ(seen.calls, "CCE");
    EXPECT_EQ(seen.challenges, (std::vector<int>{0, 1}));
    EXPECT_EQ(seen.error, "Host requires authentication");
    EXPECT_EQ(server.requestCount(), 2U);
}

TEST_F(QtHttpClientLoginTest, WrongPasswordIsRejectedByADigestServer) {
    HttpServer server(digestServer("bob", "secret"));

    ASSERT_TRUE(ends(server, once("bob", "wrong")));

    EXPECT_EQ(seen.calls, "CCE");
    EXPECT_EQ(seen.challenges, (std::vector<int>{0, 1}));
    EXPECT_EQ(server.requestCount(), 2U);
}

TEST_F(QtHttpClientLoginTest, CancelledChallengeIsAFailureWithoutAReply) {
    HttpServer server(basicServer(kBobSecret));

    ASSERT_TRUE(ends(server, [](int) { return std::nullopt; }));

    EXPECT_EQ(seen.calls, "CE");
    EXPECT_EQ(server.requestCount(), 1U);
}

TEST_F(QtHttpClientLoginTest, EmptyUserAndPasswordCountAsRejected) {
    HttpServer server(basicServer(kBobSecret));

    ASSERT_TRUE(ends(server, once("", "")));

    EXPECT_EQ(seen.calls, "CCE");
    EXPECT_EQ(seen.challenges, (std::vector<int>{0, 1}));
}

TEST_F(QtHttpClientLoginTest, EmptyPasswordIsSent) {
    HttpServer server(basicServer("Ym9iOg==")); // bob:

    ASSERT_TRUE(ends(server, once("bob", "")));

    EXPECT_EQ(seen.calls, "CRDF") << seen.error;
}

TEST_F(QtHttpClientLoginTest, AnyTextOpensABasicServer) {
    HttpServer server(basicServer("0K7RgNC40Lk6w6R8Og==")); // Юрий:ä|:

    ASSERT_TRUE(ends(server, once("Юрий", "ä|:")));

    EXPECT_EQ(seen.calls, "CRDF") << seen.error;
}

TEST_F(QtHttpClientLoginTest, AnyTextOpensADigestServer) {
    HttpServer server(digestServer("Юрий", "ä|:📷"));

    ASSERT_TRUE(ends(server, once("Юрий", "ä|:📷")));

    EXPECT_EQ(seen.calls, "CRDF") << seen.error;
}

TEST_F(QtHttpClientLoginTest, AnotherAnswerIsTriedAfterARejection) {
    HttpServer server(basicServer(kBobSecret));

    ASSERT_TRUE(ends(server, [](int failures) {
        return HttpCredentials{"bob", failures == 0 ? "wrong" : "secret"};
    }));

    EXPECT_EQ(seen.calls, "CCRDF") << seen.error;
}

TEST_F(QtHttpClientLoginTest, ObserverThatNeverGivesUpIsNotAskedForEver) {
    HttpServer server(basicServer(kBobSecret));

    ASSERT_TRUE(ends(server, [](int failures) {
        return HttpCredentials{"bob", "wrong" + std::to_string(failures)};
    }));

    EXPECT_EQ(seen.calls, "CCCCE");
}

TEST_F(QtHttpClientLoginTest, ChangedPasswordCountsWithTheNextRequest) {
    HttpServer server(basicServer(kBobSecret));
    HttpRecorder wrong;
    HttpRecorder right;

    ASSERT_TRUE(ends(server, once("bob", "secret")));
    ASSERT_TRUE(wrong.run(client, requestFor(server.url()), once("bob", "changed")));
    ASSERT_TRUE(right.run(client, requestFor(server.url()), once("bob", "secret")));

    EXPECT_EQ(seen.calls, "CRDF");
    EXPECT_EQ(wrong.calls, "CCE");
    EXPECT_EQ(right.calls, "CRDF");
}

TEST_F(QtHttpClientLoginTest, PasswordOfOneRequestIsNotUsedForAnother) {
    HttpServer server(basicServer(kBobSecret));
    HttpRecorder unasked;

    ASSERT_TRUE(ends(server, once("bob", "secret")));
    ASSERT_TRUE(unasked.run(client, requestFor(server.url())));

    EXPECT_EQ(unasked.calls, "RDF");
    EXPECT_EQ(unasked.response.status, 401);
    EXPECT_EQ(unasked.body, "go away");
}

TEST_F(QtHttpClientLoginTest, PasswordInTheAddressIsUsedForThisRequestOnly) {
    HttpServer server(basicServer(kBobSecret));
    const std::string address = "127.0.0.1" + server.url("/").substr(16);
    HttpRecorder unasked;

    ASSERT_TRUE(seen.run(client, requestFor("http://bob:secret@" + address)));
    ASSERT_TRUE(unasked.run(client, requestFor("http://" + address)));

    EXPECT_EQ(seen.response.status, 200);
    EXPECT_EQ(unasked.response.status, 401);
}

TEST_F(QtHttpClientLoginTest, ExpiredNonceIsNoRejection) {
    std::atomic<int> round = 0;
    HttpServer server([&](const Request& request, Client& peer) {
        if (isRightDigest(request, "bob", "secret", "n2")) {
            peer.reply("200 OK", "picture");
        } else if (round++ == 0) {
            peer.reply("401 Unauthorized", "", digestChallenge("n1"));
        } else {
            peer.reply("401 Unauthorized", "", digestChallenge("n2", ", stale=true"));
        }
    });

    ASSERT_TRUE(ends(server, once("bob", "secret")));

    EXPECT_EQ(seen.calls, "CRDF") << seen.error;
    EXPECT_EQ(server.requestCount(), 3U);
}

TEST_F(QtHttpClientLoginTest, ServerToWhichAnotherPointsIsToldNothing) {
    const HttpServer stranger(basicServer("Ym9iOnNlY3JldA=="));
    const HttpServer server(
        HttpServer::always("302 Found", "", "Location: " + stranger.url() + "\r\n"));
    auto request = requestFor(server.url());
    request.followRedirects = true;

    ASSERT_TRUE(seen.run(client, request, [](int) { return HttpCredentials{"bob", "secret"}; }));

    EXPECT_EQ(seen.calls, "RDF");
    EXPECT_EQ(seen.response.status, 401);
    EXPECT_EQ(stranger.requestCount(), 1U);
}

TEST_F(QtHttpClientLoginTest, ServerThatPointsToItselfIsToldTheLogin) {
    const auto login = basicServer("Ym9iOnNlY3JldA==");
    const HttpServer server([&](const Request& request, Client& peer) {
        if (request.firstLine().starts_with("GET / ")) {
            peer.reply("302 Found", "", "Location: /picture\r\n");
        } else {
            login(request, peer);
        }
    });
    auto request = requestFor(server.url());
    request.followRedirects = true;

    ASSERT_TRUE(seen.run(client, request, [](int) { return HttpCredentials{"bob", "secret"}; }));

    EXPECT_EQ(seen.calls, "CRDF");
    EXPECT_EQ(seen.body, "picture");
}

TEST_F(QtHttpClientLoginTest, UnknownKindOfLoginIsAReplyLikeAnyOther) {
    HttpServer server(
        HttpServer::always("401 Unauthorized", "no", "WWW-Authenticate: Token realm=\"x\"\r\n"));

    ASSERT_TRUE(ends(server, once("bob", "secret")));

    EXPECT_EQ(seen.calls, "RDF") << seen.error;
    EXPECT_EQ(seen.response.status, 401);
}

TEST_F(QtHttpClientLoginTest, StreamBehindALoginComesAsItIs) {
    HttpServer server([](const Request& request, Client& peer) {
        if (!request.has(std::string("Authorization: Basic ") + kBobSecret)) {
            peer.reply("401 No", "no", "WWW-Authenticate: Basic realm=\"x\"\r\n");
            return;
        }
        peer.send("HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace;boundary=b\r\n\r\n");
        while (peer.send("--b\r\n")) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1)); // its pace
        }
    });

    ASSERT_TRUE(seen.start(client, requestFor(server.url()), once("bob", "secret")));

    EXPECT_TRUE(runLoopUntil([&] { return seen.body.starts_with("--b\r\n--b\r\n--b\r\n"); }));
    EXPECT_EQ(seen.calls, "CRD");
    seen.connection.reset();
    EXPECT_TRUE(runLoopUntil([&] { return server.openConnections() == 0; }));
}

TEST_F(QtHttpClientLoginTest, FormIsSentAgainWithTheLogin) {
    HttpServer server(basicServer(kBobSecret));
    HttpRequest request = requestFor(server.url());
    request.method = "POST";
    request.headers = {{"Content-Type", "text/plain"}};
    request.body = "form";

    ASSERT_TRUE(seen.run(client, request, once("bob", "secret")));

    EXPECT_EQ(seen.calls, "CRDF") << seen.error;
    EXPECT_EQ(server.requests().at(1).body, "form");
}

} // namespace
} // namespace ovelo
