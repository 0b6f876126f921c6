#include "platform/UpnpRouter.h"

#include "fakes/Eventually.h"
#include "fakes/HttpServer.h"
#include "platform/UpnpHttp.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <atomic>
#include <thread>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

constexpr const char* kType = "urn:schemas-upnp-org:service:WANIPConnection:1";

RouterLimit patience(std::chrono::milliseconds time = 5s) {
    return {Steady::now() + time, -1};
}

std::string value(const std::string& name, const std::string& text) {
    return fmt::format("<{0}>{1}</{0}>", name, text);
}

/// The reply to an error.
void refuse(HttpServer::Client& client, int error) {
    client.reply("500 Internal Server Error", value("errorCode", std::to_string(error)));
}

bool asks(const HttpServer::Request& request, const char* action) {
    return request.head.find(fmt::format("#{}\"\r\n", action)) != std::string::npos;
}

UpnpRouter routerAt(const HttpServer& server) {
    return {upnp::Service{server.url("/ctl"), kType}, "127.0.0.1"};
}

TEST(UpnpRouterTest, AddressIsTold) {
    HttpServer server([](const auto& request, auto& client) {
        client.reply("200 OK", asks(request, "GetStatusInfo")
                                   ? value("NewConnectionStatus", "Connected")
                                   : value("NewExternalIPAddress", "203.0.113.7"));
    });
    auto router = routerAt(server);
    std::string address;

    EXPECT_EQ(router.readAddress(address, patience()), RouterAnswer::Done);

    EXPECT_EQ(address, "203.0.113.7");
    EXPECT_EQ(router.localAddress(), "127.0.0.1");
    EXPECT_TRUE(server.requests()[0].has("Content-Type: text/xml; charset=\"utf-8\""));
}

TEST(UpnpRouterTest, NoAddressOrNoConnectionIsToldAsSuch) {
    for (const char* address : {"", "0.0.0.0", "nonsense"}) {
        HttpServer server([=](const auto&, auto& client) {
            client.reply("200 OK", value("NewConnectionStatus", "Connected") +
                                       value("NewExternalIPAddress", address));
        });
        std::string told = "x";
        EXPECT_EQ(routerAt(server).readAddress(told, patience()), RouterAnswer::NotConnected);
        EXPECT_EQ(told, "");
    }
    HttpServer server([](const auto&, auto& client) {
        client.reply("200 OK", value("NewConnectionStatus", "Disconnected") +
                                   value("NewExternalIPAddress", "203.0.113.7"));
    });
    std::string told;
    EXPECT_EQ(routerAt(server).readAddress(told, patience()), RouterAnswer::NotConnected);
    EXPECT_EQ(told, "203.0.113.7");
}

TEST(UpnpRouterTest, MappingIsAskedForByName) {
    HttpServer server(HttpServer::always("200 OK", ""));
    std::uint16_t port = 17261;

    EXPECT_EQ(routerAt(server).map(1726, port, 3600s, patience()), RouterAnswer::Done);

    const std::string body = server.requests().at(0).body;
    EXPECT_NE(body.find("<NewRemoteHost></NewRemoteHost><NewExternalPort>17261</NewExternalPort>"
                        "<NewProtocol>TCP</NewProtocol><NewInternalPort>1726</NewInternalPort>"
                        "<NewInternalClient>127.0.0.1</NewInternalClient><NewEnabled>1</NewEnabled>"
                        "<NewPortMappingDescription>Ovelo (automatic)</NewPortMappingDescription>"
                        "<NewLeaseDuration>3600</NewLeaseDuration>"),
              std::string::npos)
        << body;
}

TEST(UpnpRouterTest, RouterThatKnowsNoLeaseIsAskedForOneWithoutEnd) {
    HttpServer server([](const auto& request, auto& client) {
        if (request.body.find("<NewLeaseDuration>0<") == std::string::npos) {
            refuse(client, 725);
        } else {
            client.reply("200 OK", "");
        }
    });
    std::uint16_t port = 1726;

    EXPECT_EQ(routerAt(server).map(1726, port, 3600s, patience()), RouterAnswer::Done);
    EXPECT_EQ(server.requestCount(), 2U);
}

TEST(UpnpRouterTest, RefusalsAreToldApart) {
    std::uint16_t port = 1726;
    HttpServer taken([](const auto&, auto& client) { refuse(client, 718); });
    EXPECT_EQ(routerAt(taken).map(1726, port, 3600s, patience()), RouterAnswer::Taken);
    HttpServer refused([](const auto&, auto& client) { refuse(client, 606); });
    EXPECT_EQ(routerAt(refused).map(1726, port, 3600s, patience()), RouterAnswer::Refused);
    HttpServer page(HttpServer::always("404 Not Found", "<html></html>"));
    EXPECT_EQ(routerAt(page).map(1726, port, 3600s, patience()), RouterAnswer::Silent);
}

TEST(UpnpRouterTest, MappingThatIsGoneIsRemoved) {
    HttpServer server([](const auto&, auto& client) { refuse(client, 714); });

    EXPECT_EQ(routerAt(server).unmap(1726, 1726, patience()), RouterAnswer::Done);
}

TEST(UpnpRouterTest, TableEndsAtTheFirstError) {
    HttpServer server([](const auto& request, auto& client) {
        if (request.body.find("<NewPortMappingIndex>2<") != std::string::npos) {
            refuse(client, 713);
            return;
        }
        const bool isFirst = request.body.find("Index>0<") != std::string::npos;
        client.reply("200 OK", value("NewExternalPort", isFirst ? "80" : "5353") +
                                   value("NewInternalPort", "8080") +
                                   value("NewProtocol", isFirst ? "TCP" : "UDP"));
    });

    const auto table = routerAt(server).readTable(patience());

    ASSERT_TRUE(table);
    ASSERT_EQ(table->size(), 1U);
    EXPECT_EQ(table->at(0).externalPort, 80);
}

TEST(UpnpRouterTest, EndlessTableIsCutShort) {
    HttpServer server(HttpServer::always("200 OK", value("NewExternalPort", "80") +
                                                       value("NewInternalPort", "80") +
                                                       value("NewProtocol", "TCP")));

    EXPECT_EQ(routerAt(server).readTable(patience(20s))->size(), Router::kMostEntries);
}

TEST(UpnpHttpTest, RedirectIsNotFollowed) {
    HttpServer elsewhere(HttpServer::always("200 OK", "x"));
    HttpServer server(HttpServer::always("302 Found", "", "Location: " + elsewhere.url() + "\r\n"));

    const auto reply = upnp::exchange(server.url(), {}, {}, patience());

    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->status, 302);
    EXPECT_EQ(elsewhere.requestCount(), 0U);
}

TEST(UpnpHttpTest, OnlyHttpIsSpoken) {
    EXPECT_FALSE(upnp::exchange("file:///etc/hostname", {}, {}, patience()));
    EXPECT_FALSE(upnp::exchange("ftp://127.0.0.1/", {}, {}, patience()));
}

TEST(UpnpHttpTest, EndlessBodyIsAFailure) {
    std::atomic<std::size_t> sent = 0;
    HttpServer server([&sent](const auto&, auto& client) {
        client.send("HTTP/1.1 200 OK\r\n\r\n");
        while (client.send(std::string(65536, 'x'))) {
            sent = client.sent();
        }
    });

    EXPECT_FALSE(upnp::exchange(server.url(), {}, {}, patience()));
    EXPECT_LT(sent, 64U << 20U);
}

TEST(UpnpHttpTest, EndlessHeadIsAFailure) {
    HttpServer server([](const auto&, auto& client) {
        client.send("HTTP/1.1 200 OK\r\n");
        while (client.send("X-Header: " + std::string(1000, 'x') + "\r\n")) {
        }
    });

    EXPECT_FALSE(upnp::exchange(server.url(), {}, {}, patience()));
}

TEST(UpnpHttpTest, DrippingReplyEndsAtTheLimit) {
    HttpServer server([](const auto&, auto& client) {
        client.send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n");
        while (client.send("x")) {
            std::this_thread::sleep_for(2ms);
        }
    });

    const auto begin = Steady::now();
    EXPECT_FALSE(upnp::exchange(server.url(), {}, {}, patience(50ms)));
    EXPECT_LT(Steady::now() - begin, 1s);
}

TEST(UpnpHttpTest, SilentRouterIsLeftWhenWoken) {
    HttpServer server([](const auto&, auto& client) { client.waitUntilGone(); });
    const FileDescriptor wake(::eventfd(0, EFD_CLOEXEC));
    const std::jthread waker([&] {
        eventually([&] { return server.requestCount() > 0; });
        ::eventfd_write(wake.get(), 1);
    });

    const auto begin = Steady::now();
    EXPECT_FALSE(upnp::exchange(server.url(), {}, {}, {Steady::now() + 10s, wake.get()}));
    EXPECT_LT(Steady::now() - begin, 2s);
}

TEST(UpnpHttpTest, NobodyThereIsAFailure) {
    EXPECT_FALSE(upnp::exchange("http://127.0.0.1:1/", {}, {}, patience()));
}

} // namespace
} // namespace ovelo
