// A camera that misbehaves, and one that does not, seen through to the device's frames.

#include "fakes/HttpServer.h"
#include "ipcam/IPCamServerFixture.h"

#include <cmath>

namespace ovelo {
namespace {

using namespace std::chrono_literals;

constexpr const char* kStreamHead =
    "HTTP/1.1 200 OK\r\nContent-Type: multipart/x-mixed-replace; boundary=b\r\n\r\n";
constexpr Colour kRed = {220, 20, 20, 255};
constexpr Colour kBlue = {20, 20, 220, 255};

std::string partOf(const std::string& jpeg) {
    return "--b\r\nContent-Type: image/jpeg\r\n\r\n" + jpeg + "\r\n";
}

class IPCamServerTest : public IPCamServerFixture {
protected:
    static bool isNear(Colour left, Colour right) {
        return std::abs(left[0] - right[0]) < 12 && std::abs(left[1] - right[1]) < 12 &&
               std::abs(left[2] - right[2]) < 12;
    }
    /// Waits for a frame of one colour.
    bool untilColour(Colour colour) {
        return until([&] {
            return watcher.count() > 0 && isNear(colourOf(watcher.last(), 160, 120), colour);
        });
    }
};

TEST_F(IPCamServerTest, PolledPicturesReachTheDevice) {
    std::atomic<int> asked = 0;
    const std::string red = jpegOf(kRed);
    const std::string blue = jpegOf(kBlue, 1280, 720);
    const HttpServer server([&](const auto&, HttpServer::Client& client) {
        client.reply("200 OK", asked++ == 0 ? red : blue, "Content-Type: image/jpeg\r\n");
    });
    watch(server.url());

    EXPECT_TRUE(untilColour(kRed));
    EXPECT_TRUE(untilColour(kBlue));
    EXPECT_EQ(watcher.malformed(), 0U);
}

TEST_F(IPCamServerTest, StreamReachesTheDevicePixelByPixel) {
    const VideoFrame source = pictureOf(640, 480, [](int x, int y) {
        const auto wave = [](double at) {
            return static_cast<std::uint8_t>(128 + 100 * std::sin(at));
        };
        return Colour{wave(x / 90.0), wave(y / 70.0), wave((x + y) / 120.0), 255};
    });
    const auto jpeg = jpeg::encode(source, 95);
    const std::string picture(jpeg.value()->begin(), jpeg.value()->end());
    const HttpServer server([&](const auto&, HttpServer::Client& client) {
        client.send(kStreamHead + partOf(picture) + partOf(picture) + "--b\r\n");
        client.waitUntilGone();
    });
    watch(server.url());
    ASSERT_TRUE(untilFrames(1));

    EXPECT_LT(distanceFrom(source), 12);
}

TEST_F(IPCamServerTest, BoundaryTextWithinACountedPictureIsThePicture) {
    std::string picture = jpegOf(kBlue);
    // A comment segment, behind the picture's first marker.
    const std::string comment = "\r\n--b\r\nContent-Type: image/jpeg\r\n\r\n";
    picture.insert(2, std::string("\xff\xfe\x00", 3) + static_cast<char>(comment.size() + 2) +
                          comment);
    const std::string part =
        "--b\r\nContent-Type: image/jpeg\r\nContent-Length: " + std::to_string(picture.size()) +
        "\r\n\r\n" + picture + "\r\n";
    const HttpServer server([&](const auto&, HttpServer::Client& client) {
        client.send(kStreamHead + part + part);
        client.waitUntilGone();
    });
    watch(server.url());

    EXPECT_TRUE(untilColour(kBlue));
    EXPECT_EQ(log.text(), "");
}

TEST_F(IPCamServerTest, CameraThatSendsAByteAtATimeIsNotTakenForAPicture) {
    const std::string red = jpegOf(kRed, 64, 48);
    const HttpServer server([&](const auto&, HttpServer::Client& client) {
        client.send("HTTP/1.1 200 OK\r\nContent-Type: image/jpeg\r\nContent-Length: " +
                    std::to_string(red.size()) + "\r\n\r\n");
        bool isWell = true;
        for (std::size_t i = 0; isWell && i < red.size(); ++i) {
            isWell = client.send(red.substr(i, 1));
            std::this_thread::sleep_for(20ms); // its pace
        }
    });
    watch(server.url());
    ASSERT_TRUE(until([&] { return server.requestCount() == 2; }));

    EXPECT_EQ(watcher.count(), 0U);
    EXPECT_TRUE(log.contains("IPCam: picture left out: "));
    EXPECT_TRUE(cam.started());
}

TEST_F(IPCamServerTest, HeadThatComesByteByByteTimesOut) {
    const HttpServer server([&](const auto&, HttpServer::Client& client) {
        while (client.send("H")) {
            std::this_thread::sleep_for(20ms); // its pace
        }
    });
    watch(server.url());
    ASSERT_TRUE(untilEnded());

    EXPECT_TRUE(log.text().ends_with("IPCam frameGrabberThread: failed to get data."));
    EXPECT_TRUE(until([&] { return server.openConnections() == 0; }));
}

TEST_F(IPCamServerTest, EndlessHeadIsGivenUp) {
    const HttpServer server([&](const auto&, HttpServer::Client& client) {
        client.send("HTTP/1.1 200 OK\r\n");
        while (client.send("X-Header: " + std::string(1000, 'x') + "\r\n")) {
            std::this_thread::sleep_for(1ms); // its pace
        }
    });
    watch(server.url());
    ASSERT_TRUE(untilEnded());

    EXPECT_TRUE(log.text().ends_with("IPCam frameGrabberThread: failed to get data."));
    EXPECT_TRUE(until([&] { return server.openConnections() == 0; }));
}

TEST_F(IPCamServerTest, PictureCutOffInTheMiddleIsLeftOutAndTheNextIsShown) {
    std::atomic<int> asked = 0;
    const std::string red = jpegOf(kRed);
    const HttpServer server([&](const auto&, HttpServer::Client& client) {
        if (asked++ == 0) {
            client.send("HTTP/1.1 200 OK\r\nContent-Type: image/jpeg\r\nContent-Length: " +
                        std::to_string(red.size()) + "\r\n\r\n" + red.substr(0, red.size() / 2));
            client.close();
        } else {
            client.reply("200 OK", red, "Content-Type: image/jpeg\r\n");
        }
    });
    watch(server.url());

    EXPECT_TRUE(untilColour(kRed));
    EXPECT_TRUE(log.contains("IPCam: picture left out: "));
}

TEST_F(IPCamServerTest, PartOfAHundredMegabytesIsDropped) {
    const std::string megabyte(1'000'000, 'x');
    const std::string red = jpegOf(kRed);
    std::atomic<bool> isProbed = false;
    const HttpServer server([&](const auto&, HttpServer::Client& client) {
        client.send(kStreamHead);
        if (!isProbed.exchange(true)) {
            client.send(partOf(red));
            client.waitUntilGone();
            return;
        }
        client.send("--b\r\nContent-Type: image/jpeg\r\n\r\n");
        for (int i = 0; i < 100; ++i) {
            client.send(megabyte);
        }
        client.send("\r\n" + partOf(red) + partOf(red));
        client.waitUntilGone();
    });
    watch(server.url());

    EXPECT_TRUE(until([&] { return watcher.count() > 0; }, 40s));
    EXPECT_TRUE(log.contains("IPCam: a picture of more than 16 MiB is left out.\n"));
    EXPECT_TRUE(isNear(colourOf(watcher.last(), 160, 120), kRed));
}

TEST_F(IPCamServerTest, WrongBoundaryShowsNothingAndEndsNothing) {
    const HttpServer server([&](const auto&, HttpServer::Client& client) {
        client.send(kStreamHead);
        while (client.send("--other\r\nContent-Type: image/jpeg\r\n\r\nxxxxx\r\n")) {
            std::this_thread::sleep_for(5ms); // its pace
        }
    });
    watch(server.url());
    ASSERT_TRUE(until([&] { return server.requestCount() == 2; }));
    until([] { return false; }, 100ms);

    EXPECT_EQ(watcher.count(), 0U);
    EXPECT_TRUE(cam.started());
}

TEST_F(IPCamServerTest, RefusalsWithoutEndAreAnsweredOnce) {
    const HttpServer server(
        HttpServer::always("401 Unauthorized", "no", "WWW-Authenticate: Basic realm=\"yard\"\r\n"));
    cam.setUserId("bob");
    cam.setPassword("wrong");
    watch(server.url());
    ASSERT_TRUE(untilEnded());

    EXPECT_EQ(server.requestCount(), 2U);
    EXPECT_EQ(cam.reqReturnCode(), 1);
    EXPECT_TRUE(log.contains("IPCam: Authenticaion failed."));
}

TEST_F(IPCamServerTest, EmptyLoginThatIsRejectedIsSaidToo) {
    const HttpServer server(
        HttpServer::always("401 Unauthorized", "no", "WWW-Authenticate: Basic realm=\"yard\"\r\n"));
    watch(server.url());
    ASSERT_TRUE(untilEnded());

    EXPECT_EQ(cam.reqReturnCode(), 1);
}

TEST_F(IPCamServerTest, RedirectionIsFollowed) {
    const std::string red = jpegOf(kRed);
    const HttpServer server([&](const HttpServer::Request& request, HttpServer::Client& client) {
        if (request.firstLine().find(" / ") != std::string::npos) {
            client.reply("302 Found", "", "Location: /picture\r\n");
        } else {
            client.reply("200 OK", red, "Content-Type: image/jpeg\r\n");
        }
    });
    watch(server.url());

    EXPECT_TRUE(untilColour(kRed));
}

TEST_F(IPCamServerTest, RedirectionsInACircleEnd) {
    const HttpServer server(HttpServer::always("302 Found", "", "Location: /\r\n"));
    watch(server.url());
    ASSERT_TRUE(untilEnded());

    EXPECT_LT(server.requestCount(), 15U);
    EXPECT_EQ(cam.reqReturnCode(), 3);
}

TEST_F(IPCamServerTest, PasswordIsNotToldToAnotherServer) {
    const HttpServer thief(
        HttpServer::always("401 Unauthorized", "no", "WWW-Authenticate: Basic realm=\"yard\"\r\n"));
    const HttpServer server(
        HttpServer::always("302 Found", "", "Location: " + thief.url("/grab") + "\r\n"));
    cam.setUserId("bob");
    cam.setPassword("secret");
    watch(server.url());
    ASSERT_TRUE(untilEnded());

    EXPECT_GE(thief.requestCount(), 1U);
    for (const auto& request : thief.requests()) {
        EXPECT_EQ(request.head.find("Authorization"), std::string::npos) << request.head;
    }
}

TEST_F(IPCamServerTest, CameraThatComesBackIsShownAgain) {
    settings.setBoolean("ipcamReconnect", true);
    cam.setReconnects(true);
    std::atomic<int> asked = 0;
    const std::string red = jpegOf(kRed);
    const std::string blue = jpegOf(kBlue);
    const HttpServer server([&](const auto&, HttpServer::Client& client) {
        const bool isFirst = asked++ < 2; // the probing and the stream
        client.send(kStreamHead + partOf(isFirst ? red : blue) + partOf(isFirst ? red : blue));
        if (!isFirst) {
            client.waitUntilGone();
        }
        client.close();
    });
    watch(server.url());

    EXPECT_TRUE(untilColour(kRed));
    EXPECT_TRUE(until([&] { // the red picture with a dark band
        const Colour colour = colourOf(watcher.last(), 315, 102);
        return isNear(colour, {73, 6, 6, 255});
    }));
    EXPECT_TRUE(untilColour(kBlue));
}

TEST_F(IPCamServerTest, NothingListensIsAFailure) {
    std::string url;
    {
        const HttpServer server(HttpServer::always("200 OK", ""));
        url = server.url();
    }
    watch(url);
    ASSERT_TRUE(untilEnded());

    EXPECT_EQ(cam.reqReturnCode(), 3);
    EXPECT_TRUE(log.contains("IPCam: request failed: Connection refused\n"));
}

} // namespace
} // namespace ovelo
