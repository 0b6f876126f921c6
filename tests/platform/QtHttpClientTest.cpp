#include "platform/QtHttpClient.h"

#include "fakes/Eventually.h"
#include "fakes/HttpServer.h"
#include "platform/HttpRecorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace ovelo {
namespace {

using Request = HttpServer::Request;
using Client = HttpServer::Client;

class QtHttpClientTest : public ::testing::Test {
protected:
    /// Makes a request and waits for its end.
    bool ends(const std::string& url) { return seen.run(client, requestFor(url)); }

    QtHttpClient client;
    HttpRecorder seen;
};

TEST_F(QtHttpClientTest, ReplyIsToldAsHeadBodyAndEnd) {
    HttpServer server(HttpServer::always("200 OK", "Hello", "Content-Type: text/plain\r\n"));

    ASSERT_TRUE(ends(server.url()));

    EXPECT_EQ(seen.calls, "RDF");
    EXPECT_EQ(seen.response.status, 200);
    EXPECT_EQ(seen.response.header("content-TYPE"), "text/plain");
    EXPECT_EQ(seen.response.header("missing"), "");
    EXPECT_EQ(seen.body, "Hello");
}

TEST_F(QtHttpClientTest, HeadersOfOneNameAreJoined) {
    HttpServer server(HttpServer::always("200 OK", "", "X-A: one\r\nX-B: b\r\nx-a: two\r\n"));

    ASSERT_TRUE(ends(server.url()));

    EXPECT_EQ(seen.response.header("X-A"), "one, two");
}

TEST_F(QtHttpClientTest, NothingIsToldBeforeTheStartHasReturned) {
    HttpServer server(HttpServer::always("200 OK", "x"));

    ASSERT_TRUE(seen.start(client, requestFor("http://127.0.0.1:1/")));
    EXPECT_EQ(seen.calls, "");

    ASSERT_TRUE(runLoopUntil([&] { return seen.ended(); }));
    EXPECT_EQ(seen.calls, "E");
}

class StatusTest : public QtHttpClientTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(StatusTest, IsAReplyLikeAnyOther) {
    HttpServer server(HttpServer::always(GetParam(), "explained", "Location: /elsewhere\r\n"));

    ASSERT_TRUE(ends(server.url()));

    EXPECT_EQ(seen.calls, "RDF") << seen.error;
    EXPECT_EQ(seen.response.status, std::stoi(GetParam()));
    EXPECT_EQ(seen.body, "explained");
    EXPECT_EQ(server.requestCount(), 1U);
}

INSTANTIATE_TEST_SUITE_P(QtHttpClient, StatusTest,
                         ::testing::Values("201 Created", "302 Found", "308 Permanent Redirect",
                                           "400 Bad Request", "401 Unauthorized", "403 Forbidden",
                                           "404 Not Found", "405 No", "407 Proxy", "409 Conflict",
                                           "410 Gone", "418 Teapot", "500 Internal", "501 No",
                                           "502 Bad Gateway", "503 Unavailable", "599 Odd"));

TEST_F(QtHttpClientTest, RefusedConnectionIsAFailure) {
    ASSERT_TRUE(ends("http://127.0.0.1:1/"));

    EXPECT_EQ(seen.calls, "E");
    EXPECT_EQ(seen.error, "Connection refused");
}

class BrokenReplyTest : public QtHttpClientTest,
                        public ::testing::WithParamInterface<const char*> {};

TEST_P(BrokenReplyTest, IsAFailureAfterWhatHasCome) {
    const std::string reply = GetParam();
    std::atomic<bool> hasArrived = false;
    HttpServer server([&](const Request&, Client& peer) {
        peer.send(reply);
        // Qt may take a reply in chunks for a whole one when its end comes with its last bytes.
        eventually([&] { return hasArrived.load(); });
        peer.close();
    });

    ASSERT_TRUE(seen.start(client, requestFor(server.url())));
    ASSERT_TRUE(runLoopUntil([&] { return seen.body == "half"; }));
    hasArrived = true;
    ASSERT_TRUE(runLoopUntil([&] { return seen.ended(); }));

    EXPECT_EQ(seen.calls, "RDE");
    EXPECT_EQ(seen.body, "half");
    EXPECT_FALSE(seen.error.empty());
    EXPECT_EQ(seen.error.find('\n'), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    QtHttpClient, BrokenReplyTest,
    ::testing::Values("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nhalf",
                      "HTTP/1.1 500 Internal\r\nContent-Length: 8\r\n\r\nhalf",
                      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n8\r\nhalf"));

TEST_F(QtHttpClientTest, ReplyShorterThanItsLengthIsAFailureHoweverItEnds) {
    HttpServer server([](const Request&, Client& peer) {
        peer.send("HTTP/1.1 500 Internal\r\nContent-Length: 8\r\n\r\nhalf");
        peer.close();
    });

    ASSERT_TRUE(ends(server.url()));

    EXPECT_EQ(seen.calls, "RDE");
    EXPECT_FALSE(seen.error.empty());
}

TEST_F(QtHttpClientTest, NotModifiedReplyIsWholeWithoutItsLength) {
    HttpServer server([](const Request&, Client& peer) {
        peer.send("HTTP/1.1 304 Not Modified\r\nContent-Length: 8\r\n\r\n");
    });

    ASSERT_TRUE(ends(server.url()));

    EXPECT_EQ(seen.calls, "RF");
}

TEST_F(QtHttpClientTest, ConnectionThatEndsWithoutAReplyIsAFailure) {
    HttpServer server([](const Request&, Client& peer) { peer.close(); });

    ASSERT_TRUE(ends(server.url()));

    EXPECT_EQ(seen.calls, "E");
}

TEST_F(QtHttpClientTest, FormIsNotSentAgainWhenTheConnectionEndsWithoutAReply) {
    HttpServer server([](const Request&, Client& peer) { peer.close(); });
    HttpRequest request = requestFor(server.url());
    request.method = "POST";
    request.headers = {{"Content-Type", "text/plain"}};
    request.body = "form";

    ASSERT_TRUE(seen.run(client, request));

    EXPECT_EQ(seen.calls, "E");
    EXPECT_EQ(seen.error, "The connection was closed without a reply.");
    EXPECT_EQ(server.requestCount(), 1U);
}

TEST_F(QtHttpClientTest, FormIsNotSentAgainOnAConnectionThatWasUsedBefore) {
    HttpServer server([](const Request& request, Client& peer) {
        if (request.firstLine().starts_with("GET")) {
            peer.reply("200 OK", "x");
        } else {
            peer.close();
        }
    });
    ASSERT_TRUE(ends(server.url()));
    HttpRequest request = requestFor(server.url());
    request.method = "POST";
    request.headers = {{"Content-Type", "text/plain"}};
    request.body = "form";
    HttpRecorder second;

    ASSERT_TRUE(second.run(client, request));

    EXPECT_EQ(second.calls, "E");
    EXPECT_EQ(server.requestCount(), 2U);
}

TEST_F(QtHttpClientTest, EndlessHeadEndsWithTheTimeOutThoughBytesCome) {
    HttpServer server([](const Request&, Client& peer) {
        peer.send("HTTP/1.1 200 OK\r\n");
        while (peer.send("X-Header: x\r\n")) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1)); // its pace
        }
    });

    ASSERT_TRUE(seen.run(client, requestFor(server.url(), std::chrono::milliseconds(60))));

    EXPECT_EQ(seen.calls, "E");
    EXPECT_EQ(seen.error, "The request timed out.");
}

TEST_F(QtHttpClientTest, SomethingElseThanHttpIsAFailure) {
    HttpServer server([](const Request&, Client& peer) {
        peer.send("220 mail.example.org ESMTP\r\n\r\n");
        peer.close();
    });

    ASSERT_TRUE(ends(server.url()));

    EXPECT_EQ(seen.calls, "E");
}

TEST_F(QtHttpClientTest, ReplyWithoutALengthEndsWithTheConnection) {
    HttpServer server([](const Request&, Client& peer) {
        peer.send("HTTP/1.0 200 OK\r\n\r\nwhole");
        peer.close();
    });

    ASSERT_TRUE(ends(server.url()));

    EXPECT_EQ(seen.calls, "RDF");
    EXPECT_EQ(seen.body, "whole");
}

TEST_F(QtHttpClientTest, ServerThatSaysNothingTimesOut) {
    HttpServer server([](const Request&, Client& peer) { peer.waitUntilGone(); });

    ASSERT_TRUE(seen.run(client, requestFor(server.url(), std::chrono::milliseconds(40))));

    EXPECT_EQ(seen.calls, "E");
    EXPECT_EQ(seen.error, "The request timed out.");
    EXPECT_TRUE(runLoopUntil([&] { return server.openConnections() == 0; }));
}

TEST_F(QtHttpClientTest, ReplyThatStopsInTheMiddleTimesOut) {
    HttpServer server([](const Request&, Client& peer) {
        peer.send("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nhalf");
        peer.waitUntilGone();
    });

    ASSERT_TRUE(seen.run(client, requestFor(server.url(), std::chrono::milliseconds(40))));

    EXPECT_EQ(seen.calls, "RDE");
    EXPECT_EQ(seen.error, "The request timed out.");
}

TEST_F(QtHttpClientTest, SlowReplyIsNoTimeOutWhileSomethingComes) {
    HttpServer server([](const Request&, Client& peer) {
        peer.send("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\n");
        for (int i = 0; i < 8; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(30)); // its pace
            peer.send("x");
        }
    });

    ASSERT_TRUE(seen.run(client, requestFor(server.url(), std::chrono::milliseconds(200))));

    EXPECT_EQ(seen.calls, "RDF");
    EXPECT_EQ(seen.body, "xxxxxxxx");
}

TEST_F(QtHttpClientTest, PartsOfAnEndlessReplyComeAsTheyAre) {
    const std::string first = "--edge\r\nContent-Type: image/jpeg\r\n\r\n\xFF\xD8one\r\n";
    const std::string second = "--edge\r\nContent-Type: image/jpeg\r\n\r\n\xFF\xD8two\r\n";
    HttpServer server([&](const Request&, Client& peer) {
        peer.send("HTTP/1.1 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=edge\r\n"
                  "\r\n" +
                  first);
        peer.send(second);
        peer.waitUntilGone();
    });

    ASSERT_TRUE(seen.start(client, requestFor(server.url())));

    ASSERT_TRUE(runLoopUntil([&] { return seen.body == first + second; })) << seen.body;
    EXPECT_EQ(seen.calls, "RD");
    EXPECT_EQ(seen.response.header("Content-Type"), "multipart/x-mixed-replace; boundary=edge");
}

TEST_F(QtHttpClientTest, LargeReplyArrivesWhole) {
    std::string large;
    for (int i = 0; large.size() < 5'000'000; ++i) {
        large += std::to_string(i) + ' ';
    }
    HttpServer server(HttpServer::always("200 OK", large));

    ASSERT_TRUE(ends(server.url()));

    EXPECT_EQ(seen.calls, "RDF");
    EXPECT_TRUE(seen.body == large); // not EXPECT_EQ, which would print both
}

TEST_F(QtHttpClientTest, ServerHasToWaitWhileTheMainThreadIsBusy) {
    std::atomic<std::size_t> sent = 0;
    HttpServer server([&](const Request&, Client& peer) {
        peer.send("HTTP/1.1 200 OK\r\n\r\n");
        const std::string block(64 * 1024, 'x');
        while (peer.send(block)) {
            sent = peer.sent();
        }
    });
    std::size_t received = 0;
    HttpObserver observer;
    observer.didReceiveData = [&](std::string_view bytes) { received += bytes.size(); };
    const auto connection = client.start(requestFor(server.url()), observer);
    ASSERT_TRUE(runLoopUntil([&] { return received > 10'000'000; }));

    // Busy until the server has not got rid of anything more for a while.
    std::size_t before = 0;
    do {
        before = sent;
        std::this_thread::sleep_for(std::chrono::milliseconds(30)); // busy
    } while (sent != before);

    // What the system keeps for both sockets, and little more.
    EXPECT_LT(before, received + 16'000'000);
    EXPECT_TRUE(runLoopUntil([&] { return received > before; })) << "it does not go on";
}

TEST_F(QtHttpClientTest, RequestIsSentAsItWasBuilt) {
    HttpServer server(HttpServer::always("200 OK", ""));
    HttpRequest request = requestFor(server.url("/a/b?c=d&e=%20f"));
    request.method = "POST";
    request.headers = {{"Content-Type", "multipart/form-data; boundary=b"}, {"X-Quote", "\"'<>"}};
    request.body = std::string("bin\0ary\r\n\xFF", 10);

    ASSERT_TRUE(seen.run(client, request));

    const Request sent = server.requests().at(0);
    EXPECT_EQ(sent.firstLine(), "POST /a/b?c=d&e=%20f HTTP/1.1");
    EXPECT_TRUE(sent.has("Content-Type: multipart/form-data; boundary=b")) << sent.head;
    EXPECT_TRUE(sent.has("X-Quote: \"'<>"));
    EXPECT_TRUE(sent.has("Content-Length: 10"));
    EXPECT_TRUE(sent.has("User-Agent: Ovelo"));
    EXPECT_TRUE(sent.has("Accept-Encoding: identity"));
    EXPECT_EQ(sent.body, request.body);
}

TEST_F(QtHttpClientTest, EmptyPostHasAnEmptyBody) {
    HttpServer server(HttpServer::always("200 OK", ""));
    HttpRequest request = requestFor(server.url());
    request.method = "POST";

    ASSERT_TRUE(seen.run(client, request));

    EXPECT_TRUE(server.requests().at(0).has("Content-Length: 0"));
}

TEST_F(QtHttpClientTest, ReplyToHeadIsWholeWithoutItsBody) {
    HttpServer server([](const Request&, Client& peer) {
        peer.send("HTTP/1.1 404 Not Found\r\nContent-Length: 5\r\n\r\n");
    });
    HttpRequest request = requestFor(server.url());
    request.method = "HEAD";

    ASSERT_TRUE(seen.run(client, request));

    EXPECT_EQ(seen.calls, "RF") << seen.error;
    EXPECT_EQ(server.requests().at(0).firstLine(), "HEAD / HTTP/1.1");
}

TEST_F(QtHttpClientTest, OtherMethodsAreSentAsTheyAre) {
    HttpServer server(HttpServer::always("200 OK", ""));
    HttpRequest request = requestFor(server.url());
    request.method = "OPTIONS";

    ASSERT_TRUE(seen.run(client, request));

    EXPECT_EQ(server.requests().at(0).firstLine(), "OPTIONS / HTTP/1.1");
}

TEST_F(QtHttpClientTest, FreshCopyIsAskedOfCachesOnTheWayOnlyOnRequest) {
    HttpServer server(HttpServer::always("200 OK", ""));
    HttpRequest request = requestFor(server.url());

    ASSERT_TRUE(seen.run(client, request));
    request.reloadIgnoringCache = true;
    HttpRecorder second;
    ASSERT_TRUE(second.run(client, request));

    EXPECT_FALSE(server.requests().at(0).has("Cache-Control: no-cache"));
    EXPECT_TRUE(server.requests().at(1).has("Cache-Control: no-cache"));
}

TEST_F(QtHttpClientTest, CookiesAreNotSentBack) {
    HttpServer server(HttpServer::always("200 OK", "", "Set-Cookie: id=1; Path=/\r\n"));

    ASSERT_TRUE(ends(server.url()));
    HttpRecorder second;
    ASSERT_TRUE(second.run(client, requestFor(server.url())));

    EXPECT_EQ(server.requests().at(1).head.find("Cookie"), std::string::npos);
}

TEST_F(QtHttpClientTest, OddAddressIsEscapedAndAddsNoHeader) {
    HttpServer server(HttpServer::always("200 OK", ""));

    ASSERT_TRUE(ends(server.url("/Küche 1\r\nX-Added: 1")));

    const Request sent = server.requests().at(0);
    EXPECT_EQ(sent.firstLine(), "GET /K%C3%BCche%201%0D%0AX-Added:%201 HTTP/1.1");
    EXPECT_EQ(sent.head.find("\nX-Added"), std::string::npos);
}

TEST_F(QtHttpClientTest, RedirectionIsFollowedOnRequestAndOnlyItsTargetIsTold) {
    HttpServer server([](const Request& request, Client& peer) {
        if (request.firstLine() == "GET /old HTTP/1.1") {
            peer.reply("302 Found", "moved", "Location: /new\r\n");
        } else {
            peer.reply("200 OK", "here");
        }
    });
    HttpRequest request = requestFor(server.url("/old"));
    request.followRedirects = true;

    ASSERT_TRUE(seen.run(client, request));

    EXPECT_EQ(seen.calls, "RDF") << seen.error;
    EXPECT_EQ(seen.response.status, 200);
    EXPECT_EQ(seen.body, "here");
}

TEST_F(QtHttpClientTest, EndlessRedirectionIsAFailure) {
    HttpServer server(HttpServer::always("302 Found", "x", "Location: /again\r\n"));
    HttpRequest request = requestFor(server.url());
    request.followRedirects = true;

    ASSERT_TRUE(seen.run(client, request));

    EXPECT_EQ(seen.calls, "E");
    EXPECT_EQ(server.requestCount(), 11U);
}

TEST_F(QtHttpClientTest, RedirectionOutOfTheWebIsAFailure) {
    HttpServer server(HttpServer::always("302 Found", "x", "Location: file:///etc/hostname\r\n"));
    HttpRequest request = requestFor(server.url());
    request.followRedirects = true;

    ASSERT_TRUE(seen.run(client, request));

    EXPECT_EQ(seen.calls, "E");
    EXPECT_EQ(seen.body, "");
}

TEST_F(QtHttpClientTest, WhatCannotBeSentIsNotStarted) {
    for (const char* url :
         {"", "/P2P/MatchWS.aspx", "watch.example.org", "http://", "http:///x",
          "file:///etc/hostname", "ftp://127.0.0.1/", "data:,x", "qrc:/x", "http://ho st/",
          "http://127.0.0.1:99999/", "http://[::1/", "http://\r\nx/", "http://127.0.0.1/\xFF"}) {
        EXPECT_EQ(client.start(requestFor(url), seen.observer()), nullptr) << url;
    }
    HttpRequest request = requestFor("http://127.0.0.1:1/");
    request.method = "GET / HTTP/1.1\r\nX-Added: 1";
    EXPECT_EQ(client.start(request, seen.observer()), nullptr);
    request.method = "";
    EXPECT_EQ(client.start(request, seen.observer()), nullptr);
    EXPECT_EQ(seen.calls, "");
}

TEST_F(QtHttpClientTest, HeaderThatWouldBecomeTwoIsNotSent) {
    for (const HttpHeader& header :
         {HttpHeader{"X-A", "1\r\nX-B: 2"}, HttpHeader{"X-A", "1\nX-B: 2"},
          HttpHeader{"X-A: 1\r\nX-B", "2"}, HttpHeader{"", "1"}, HttpHeader{"Schlüssel", "1"},
          HttpHeader{"X-A", std::string("1\0002", 3)}}) {
        HttpRequest request = requestFor("http://127.0.0.1:1/");
        request.headers = {header};
        EXPECT_EQ(client.start(request, seen.observer()), nullptr) << header.name;
    }
}

TEST_F(QtHttpClientTest, DestroyedConnectionTellsNothingAndEnds) {
    HttpServer server([](const Request&, Client& peer) { peer.waitUntilGone(); });
    ASSERT_TRUE(seen.start(client, requestFor(server.url())));
    ASSERT_TRUE(runLoopUntil([&] { return server.requestCount() == 1; }));

    seen.connection.reset();

    EXPECT_TRUE(runLoopUntil([&] { return server.openConnections() == 0; }));
    EXPECT_EQ(seen.calls, "");
}

TEST_F(QtHttpClientTest, EndOfTheClientEndsItsRequestsAndTheirConnectionsMayOutliveIt) {
    HttpServer server([](const Request&, Client& peer) { peer.waitUntilGone(); });
    auto shortLived = std::make_unique<QtHttpClient>();
    HttpRecorder asked;
    ASSERT_TRUE(seen.start(*shortLived, requestFor(server.url())));
    ASSERT_TRUE(
        asked.start(*shortLived, requestFor(server.url()), [](int) { return std::nullopt; }));
    ASSERT_TRUE(runLoopUntil([&] { return server.requestCount() == 2; }));

    shortLived.reset();

    EXPECT_TRUE(runLoopUntil([&] { return server.openConnections() == 0; }));
    EXPECT_EQ(seen.calls + asked.calls, "");
}

TEST_F(QtHttpClientTest, ManyRequestsShareAFewConnections) {
    HttpServer server(HttpServer::always("200 OK", "x"));
    std::vector<std::unique_ptr<HttpConnection>> connections;
    int finished = 0;
    HttpObserver observer;
    observer.didFinishLoading = [&] { ++finished; };

    for (int i = 0; i < 200; ++i) {
        connections.push_back(client.start(requestFor(server.url()), observer));
    }

    EXPECT_TRUE(runLoopUntil([&] { return finished == 200; })) << finished;
    // Six; Qt closes one now and then, which the server may notice after the next one has come.
    EXPECT_LE(server.mostOpenConnections(), 8);
    EXPECT_LT(server.connections(), 100);
}

TEST_F(QtHttpClientTest, RequestsInLineFailWhenTheServerAnswersNobody) {
    HttpServer server([](const Request&, Client& peer) { peer.waitUntilGone(); });
    std::vector<std::unique_ptr<HttpConnection>> connections;
    int failed = 0;
    HttpObserver observer;
    observer.didFailWithError = [&](const std::string& description) {
        failed += description == "The request timed out." ? 1 : 0;
    };

    for (int i = 0; i < 50; ++i) {
        connections.push_back(
            client.start(requestFor(server.url(), std::chrono::milliseconds(50)), observer));
    }

    EXPECT_TRUE(runLoopUntil([&] { return failed == 50; })) << failed;
}

TEST_F(QtHttpClientTest, RequestsInLineDoNotFailWhileTheServerAnswers) {
    HttpServer server([](const Request&, Client& peer) {
        std::this_thread::sleep_for(std::chrono::milliseconds(30)); // its pace
        peer.reply("200 OK", "x");
    });
    std::vector<std::unique_ptr<HttpConnection>> connections;
    int finished = 0;
    HttpObserver observer;
    observer.didFinishLoading = [&] { ++finished; };

    for (int i = 0; i < 60; ++i) { // ten rounds of 30 ms
        connections.push_back(
            client.start(requestFor(server.url(), std::chrono::milliseconds(250)), observer));
    }

    EXPECT_TRUE(runLoopUntil([&] { return finished == 60; })) << finished;
}

TEST_F(QtHttpClientTest, CancelledRequestInLineIsNeverSent) {
    std::atomic<bool> mayAnswer = false;
    HttpServer server([&](const Request&, Client& peer) {
        eventually([&] { return mayAnswer.load(); });
        peer.reply("200 OK", "x");
    });
    std::vector<std::unique_ptr<HttpConnection>> connections;
    int finished = 0;
    HttpObserver observer;
    observer.didFinishLoading = [&] { ++finished; };
    for (int i = 0; i < 10; ++i) {
        connections.push_back(client.start(requestFor(server.url()), observer));
    }

    connections[7].reset();
    mayAnswer = true;

    EXPECT_TRUE(runLoopUntil([&] { return finished == 9; })) << finished;
    EXPECT_EQ(server.requestCount(), 9U);
}

TEST_F(QtHttpClientTest, LineHasAnEnd) {
    HttpServer server([](const Request&, Client& peer) { peer.waitUntilGone(); });
    std::vector<std::unique_ptr<HttpConnection>> connections;
    std::unique_ptr<HttpConnection> next;

    while ((next = client.start(requestFor(server.url()), {})) && connections.size() < 50'000) {
        connections.push_back(std::move(next));
    }

    EXPECT_EQ(connections.size(), 20'006U);
    connections.clear();
    EXPECT_TRUE(runLoopUntil([&] { return seen.start(client, requestFor(server.url())); }));
}

TEST_F(QtHttpClientTest, ClientMayEndInTheCallOfARequestInLine) {
    HttpServer server([](const Request&, Client& peer) { peer.waitUntilGone(); });
    auto shortLived = std::make_unique<QtHttpClient>();
    std::vector<std::unique_ptr<HttpConnection>> connections;
    int failed = 0;
    HttpObserver observer;
    observer.didFailWithError = [&](const std::string&) {
        ++failed;
        shortLived.reset();
    };
    for (int i = 0; i < 6; ++i) {
        connections.push_back(shortLived->start(requestFor(server.url()), observer));
    }
    for (int i = 0; i < 3; ++i) {
        connections.push_back(
            shortLived->start(requestFor(server.url(), std::chrono::milliseconds(20)), observer));
    }

    EXPECT_TRUE(runLoopUntil([&] { return shortLived == nullptr; }));
    EXPECT_TRUE(runLoopUntil([&] { return server.openConnections() == 0; }));
    EXPECT_EQ(failed, 1);
}

TEST_F(QtHttpClientTest, StreamsThatMayBeAskedWhoTheyAreDoNotKeepOthersWaiting) {
    HttpServer server([](const Request& request, Client& peer) {
        if (request.firstLine() == "GET /stream HTTP/1.1") {
            peer.waitUntilGone();
        } else {
            peer.reply("200 OK", "x");
        }
    });
    std::vector<std::unique_ptr<HttpRecorder>> streams;
    for (int i = 0; i < 8; ++i) {
        streams.push_back(std::make_unique<HttpRecorder>());
        ASSERT_TRUE(streams.back()->start(client, requestFor(server.url("/stream")),
                                          [](int) { return std::nullopt; }));
    }

    EXPECT_TRUE(ends(server.url()));
    EXPECT_EQ(seen.calls, "RDF");
}

/// What a call of the observer destroys, and in which call.
struct Destruction {
    const char* path;
    char call;
    bool isClient;
};

std::ostream& operator<<(std::ostream& out, const Destruction& what) {
    return out << what.call << (what.isClient ? " client" : " connection");
}

class DestructionTest : public ::testing::TestWithParam<Destruction> {};

TEST_P(DestructionTest, IsSafeWithinACallAndTheLastOne) {
    HttpServer server([](const Request& request, Client& peer) {
        if (request.firstLine() == "GET /cut HTTP/1.1") {
            peer.send("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nhalf");
            peer.close();
        } else if (request.firstLine() == "GET /endless HTTP/1.1") {
            peer.send("HTTP/1.1 200 OK\r\n\r\n");
            while (peer.send(std::string(1000, 'x'))) {
            }
        } else if (request.firstLine() == "GET /ask HTTP/1.1") {
            peer.reply("401 No", "no", "WWW-Authenticate: Basic realm=\"x\"\r\n");
        } else {
            peer.reply("200 OK", "x");
        }
    });
    auto client = std::make_unique<QtHttpClient>();
    std::string calls;
    std::unique_ptr<HttpConnection> connection;
    const auto act = [&](char call) {
        calls += call;
        if (call == GetParam().call) {
            if (GetParam().isClient) {
                client.reset();
            } else {
                connection.reset();
            }
        }
    };
    HttpObserver observer;
    observer.didReceiveResponse = [&](const HttpResponse&) { act('R'); };
    observer.didReceiveData = [&](std::string_view) { act('D'); };
    observer.didFailWithError = [&](const std::string&) { act('E'); };
    observer.didFinishLoading = [&] { act('F'); };
    if (GetParam().path == std::string("/ask")) {
        observer.didReceiveAuthenticationChallenge = [&](int) {
            act('C');
            return HttpCredentials{"bob", "wrong"};
        };
    }
    connection = client->start(requestFor(server.url(GetParam().path)), observer);

    EXPECT_TRUE(runLoopUntil([&] { return calls.find(GetParam().call) != std::string::npos; }));
    EXPECT_TRUE(runLoopUntil([&] {
        return GetParam().call == 'F' || GetParam().call == 'E' || server.openConnections() == 0;
    }));
    EXPECT_EQ(calls.find(GetParam().call), calls.size() - 1) << calls;
}

INSTANTIATE_TEST_SUITE_P(
    QtHttpClient, DestructionTest,
    ::testing::Values(Destruction{"/endless", 'R', false}, Destruction{"/endless", 'R', true},
                      Destruction{"/endless", 'D', false}, Destruction{"/endless", 'D', true},
                      Destruction{"/", 'F', false}, Destruction{"/", 'F', true},
                      Destruction{"/cut", 'E', false}, Destruction{"/cut", 'E', true},
                      Destruction{"/ask", 'C', false}, Destruction{"/ask", 'C', true}));

TEST_F(QtHttpClientTest, NextRequestMayBeStartedWithinACall) {
    HttpServer server(HttpServer::always("200 OK", "x"));
    HttpRecorder next;
    HttpObserver observer;
    observer.didFinishLoading = [&] { next.start(client, requestFor(server.url("/next"))); };

    const auto connection = client.start(requestFor(server.url()), observer);

    EXPECT_TRUE(runLoopUntil([&] { return next.ended(); }));
    EXPECT_EQ(server.requests().at(1).firstLine(), "GET /next HTTP/1.1");
}

TEST_F(QtHttpClientTest, ClientWithoutRequestsStartsNoThread) {
    const auto threads = [] {
        const std::filesystem::directory_iterator tasks("/proc/self/task");
        return std::distance(begin(tasks), end(tasks));
    };
    const auto before = threads();

    const QtHttpClient idle;

    EXPECT_EQ(threads(), before);
}

} // namespace
} // namespace ovelo
