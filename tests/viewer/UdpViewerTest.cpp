// Our viewer and our server over UDP, with a relay between them that loses, doubles and misplaces
// datagrams.

#include "fakes/Eventually.h"
#include "fakes/UdpPeer.h"
#include "server/FakeInternet.h"
#include "server/TestServer.h"
#include "viewer/ViewerClient.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <optional>
#include <random>
#include <thread>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

/// What happens to how many of a hundred datagrams.
struct Weather {
    const char* name;
    int lost = 0;
    int doubled = 0;
    int misplaced = 0;
};

void PrintTo(const Weather& weather, std::ostream* out) {
    *out << weather.name;
}

/// Stands between two ports, and hands on what comes from one to the other.
class Relay {
public:
    explicit Relay(const Weather& weather) : weather_(weather) {}
    [[nodiscard]] std::uint16_t viewersSide() const { return near_.port(); }
    [[nodiscard]] std::uint16_t serversSide() const { return far_.port(); }

    void start(std::uint16_t viewer, std::uint16_t server) {
        thread_ = std::jthread([this, viewer, server](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                std::array<pollfd, 2> waiting{pollfd{near_.fd(), POLLIN, 0},
                                              pollfd{far_.fd(), POLLIN, 0}};
                ::poll(waiting.data(), waiting.size(), 20);
                if (waiting[0].revents != 0) {
                    pass(near_, far_, server, heldUp_[0]);
                }
                if (waiting[1].revents != 0) {
                    pass(far_, near_, viewer, heldUp_[1]);
                }
            }
        });
    }

private:
    void pass(UdpPeer& from, UdpPeer& to, std::uint16_t port, std::string& heldUp) {
        const std::string datagram = from.receive().value_or("");
        const int fate = std::uniform_int_distribution(0, 99)(random_);
        if (fate < weather_.lost) {
            return;
        }
        if (fate < weather_.lost + weather_.misplaced && heldUp.empty()) {
            heldUp = datagram; // comes behind the next one
            return;
        }
        to.send(datagram, port);
        if (fate >= 100 - weather_.doubled) {
            to.send(datagram, port);
        }
        if (!heldUp.empty()) {
            to.send(std::exchange(heldUp, {}), port);
        }
    }

    const Weather weather_;
    UdpPeer near_;
    UdpPeer far_;
    std::array<std::string, 2> heldUp_;
    std::mt19937 random_{42};
    std::jthread thread_;
};

/// A picture in which every four bytes say where they are.
Bytes picture(std::uint8_t number, std::size_t size) {
    Bytes bytes;
    for (std::size_t at = 0; at < size; at += 4) {
        bytes.insert(bytes.end(),
                     {number, static_cast<std::uint8_t>(at >> 16U),
                      static_cast<std::uint8_t>(at >> 8U), static_cast<std::uint8_t>(at)});
    }
    return bytes;
}

bool isWhole(std::span<const std::uint8_t> bytes) {
    const Bytes expected = picture(bytes.empty() ? std::uint8_t{0} : bytes[0], bytes.size());
    return std::equal(bytes.begin(), bytes.end(), expected.begin(), expected.end());
}

class UdpViewerTest : public ::testing::TestWithParam<Weather> {
protected:
    void connect(const std::string& password = {}, const std::string& sent = {}) {
        if (!password.empty()) {
            server.settings.setString("password", password);
        }
        ViewerOptions options;
        options.host = "127.0.0.1";
        options.port = relay.viewersSide();
        options.password = sent;
        options.udpPort = viewerPort;
        options.connectTimeout = 5s;
        options.keepAlive = 50ms;
        options.repetition = 40ms;
        options.revival = 200ms;
        options.silence = silence;
        if (GetParam().lost > 0 || GetParam().misplaced > 0) {
            // When the end of one block and the beginning of the next are lost, the rest has the
            // shape of a block.
            options.isWholePicture = isWhole;
        }
        client.emplace(options);
        relay.start(viewerPort, internet.port);
        internet.answerMatches(FakeInternet::peer(relay.serversSide()));
        server.start();
        camera = std::jthread([this](const std::stop_token& stop) {
            for (std::uint8_t number = 0; !stop.stop_requested(); ++number) {
                server.network->sendImageData(makeData(picture(number, 10240)));
                std::this_thread::sleep_for(1ms);
            }
        });
        ASSERT_FALSE(client->connect());
    }
    /// Waits until so many pictures have come. return: those that came; damaged ones end it
    int watch(int wanted) {
        const auto deadline = std::chrono::steady_clock::now() + 20s;
        int seen = 0;
        while (seen < wanted && std::chrono::steady_clock::now() < deadline) {
            const auto event = client->next(100ms);
            if (event && std::holds_alternative<AuthenticationEvent>(*event)) {
                client->start();
            }
            if (const auto* block = event ? std::get_if<ViewerBlock>(&*event) : nullptr) {
                if (!isWhole(block->bytes) || block->bytes.size() != 10240) {
                    ADD_FAILURE() << "a damaged picture";
                    return seen;
                }
                ++seen;
            }
        }
        return seen;
    }

    FakeInternet internet;
    Relay relay{GetParam()};
    std::uint16_t viewerPort = UdpPeer().port(); // free a moment ago
    TestServer server{internet.parts()};
    std::chrono::milliseconds silence = 5s;
    std::optional<ViewerClient> client;
    std::jthread camera; // ends first
};

TEST_P(UdpViewerTest, PicturesComeThroughWhole) {
    connect();

    EXPECT_EQ(watch(50), 50);
}

TEST_P(UdpViewerTest, PasswordComesThrough) {
    connect("pw", "pw");

    EXPECT_EQ(watch(5), 5);
}

INSTANTIATE_TEST_SUITE_P(Weathers, UdpViewerTest,
                         ::testing::Values(Weather{"Fair"}, Weather{"Loss", 5},
                                           Weather{"Storm", 20}, Weather{"Doubling", 0, 30},
                                           Weather{"LossAndDoubling", 10, 30},
                                           Weather{"Misplacing", 0, 0, 5},
                                           Weather{"Everything", 5, 5, 3}),
                         [](const auto& tested) { return std::string(tested.param.name); });

class UdpViewerFairTest : public UdpViewerTest {};
INSTANTIATE_TEST_SUITE_P(Fair, UdpViewerFairTest, ::testing::Values(Weather{"Fair"}));

TEST_P(UdpViewerFairTest, WrongPasswordIsRefused) {
    connect("pw", "wrong");

    std::optional<bool> isAccepted;
    while (!isAccepted) {
        const auto event = client->next(5s);
        ASSERT_TRUE(event);
        if (const auto* answer = std::get_if<AuthenticationEvent>(&*event)) {
            isAccepted = answer->accepted;
        }
    }
    EXPECT_FALSE(*isAccepted);
}

TEST_P(UdpViewerFairTest, ServerThatIsGoneIsLost) {
    silence = 400ms;
    connect();
    EXPECT_EQ(watch(1), 1);

    server.stop();

    const auto deadline = std::chrono::steady_clock::now() + 5s;
    std::string reason;
    while (reason.empty() && std::chrono::steady_clock::now() < deadline) {
        const auto event = client->next(100ms);
        if (const auto* lost = event ? std::get_if<LostEvent>(&*event) : nullptr) {
            reason = lost->reason;
        }
    }
    EXPECT_EQ(reason, "the server does not answer any more");
}

TEST_P(UdpViewerFairTest, ViewerThatComesAnewWhileItsSessionLivesIsServed) {
    connect();
    EXPECT_EQ(watch(1), 1);

    ASSERT_FALSE(client->connect());

    EXPECT_EQ(watch(1), 1);
}

} // namespace
} // namespace ovelo
