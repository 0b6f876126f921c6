// Cameras made of other people's programs.

#include "fakes/Lighttpd.h"
#include "fakes/MotionServer.h"
#include "ipcam/IPCamServerFixture.h"

namespace ovelo {
namespace {

using namespace std::chrono_literals;

constexpr Colour kGreen = {30, 200, 60, 255};

class IPCamLighttpdTest : public IPCamServerFixture,
                          public ::testing::WithParamInterface<const char*> {
protected:
    /// lighttpd answers a wrong password after a second.
    IPCamLighttpdTest() : IPCamServerFixture(300ms) {}

    void SetUp() override {
        if (!Lighttpd::isInstalled()) {
            GTEST_SKIP() << "lighttpd is not installed";
        }
        cam.setUserId("bob");
        cam.setPassword("secret");
    }
    static std::string path() { return std::string("/") + GetParam() + "/picture.jpg"; }

    const VideoFrame source = pictureOf(640, 480, [](int, int) { return kGreen; });
    const std::string jpeg = jpegOf(kGreen);
};

TEST_P(IPCamLighttpdTest, PictureReachesTheDevice) {
    const Lighttpd server(nullptr, "picture.jpg", jpeg);
    ASSERT_TRUE(server.isReady());
    watch(server.url(path()));
    ASSERT_TRUE(untilFrames(3));

    EXPECT_LT(distanceFrom(source), 12);
    EXPECT_EQ(log.text(), "");
}

TEST_P(IPCamLighttpdTest, PictureOverTlsReachesTheDevice) {
    const WebCertificate certificate;
    ASSERT_TRUE(certificate.isMade());
    const Lighttpd server(&certificate, "picture.jpg", jpeg);
    ASSERT_TRUE(server.isReady());
    QtHttpClient trusting(certificate.path());
    IPCam secure({trusting, settings, log.log(), pictures, file, Clock::system(), timing});
    secure.setUserId("bob");
    secure.setPassword("secret");
    secure.setUrlString(server.url(path()));
    device.start(watcher.handler());
    secure.start();

    EXPECT_TRUE(untilFrames(1)) << log.text();
}

INSTANTIATE_TEST_SUITE_P(Login, IPCamLighttpdTest, ::testing::Values("open", "basic", "digest"));

class IPCamLighttpdRefusalTest : public IPCamLighttpdTest {};

TEST_P(IPCamLighttpdRefusalTest, WrongPasswordEndsTheGrabber) {
    const Lighttpd server(nullptr, "picture.jpg", jpeg);
    ASSERT_TRUE(server.isReady());
    cam.setPassword("wrong");
    watch(server.url(path()));
    ASSERT_TRUE(untilEnded());

    EXPECT_EQ(cam.reqReturnCode(), 1);
    EXPECT_TRUE(log.contains("IPCam: Authenticaion failed."));
}

INSTANTIATE_TEST_SUITE_P(Login, IPCamLighttpdRefusalTest, ::testing::Values("basic", "digest"));

class IPCamTlsTest : public IPCamLighttpdTest {};

TEST_P(IPCamTlsTest, UntrustedCertificateIsRefusedAndSaid) {
    const WebCertificate certificate;
    ASSERT_TRUE(certificate.isMade());
    const Lighttpd server(&certificate, "picture.jpg", jpeg);
    ASSERT_TRUE(server.isReady());
    watch(server.url(path()));
    ASSERT_TRUE(untilEnded());

    EXPECT_EQ(cam.reqReturnCode(), 3);
    EXPECT_NE(log.text().find("certificate"), std::string::npos) << log.text();
    EXPECT_EQ(watcher.count(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Login, IPCamTlsTest, ::testing::Values("basic"));

class IPCamMotionTest : public IPCamServerFixture {
protected:
    void SetUp() override {
        if (!MotionServer::isInstalled()) {
            GTEST_SKIP() << "motion or ffmpeg is not installed";
        }
    }
    /// The latest frame against the picture that the server was given, in the middle of each bar.
    void expectBars(const MotionServer& server) const {
        const std::string content = readFile(server.picture());
        const auto source =
            jpeg::decode({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()});
        ASSERT_TRUE(source) << source.error();
        for (int bar = 0; bar < 7; ++bar) {
            const int x = (2 * bar + 1) * 320 / 14;
            const Colour seen = colourOf(watcher.last(), x, 60);
            const Colour wanted = colourOf(source.value(), 2 * x, 120);
            for (std::size_t i = 0; i < 4; ++i) {
                EXPECT_NEAR(seen[i], wanted[i], 25) << "bar " << bar << ", sample " << i;
            }
        }
    }
    /// Motion shows a grey picture with a text until its movie runs, which takes a moment.
    bool untilItShowsBars() {
        return until(
            [&] {
                if (!cam.started()) {
                    cam.start(); // it was not listening yet
                }
                if (watcher.count() == 0) {
                    return false;
                }
                const Colour yellow = colourOf(watcher.last(), 68, 60);
                return yellow[0] > 150 && yellow[2] < 60;
            },
            30s);
    }
};

TEST_F(IPCamMotionTest, StreamReachesTheDevice) {
    const MotionServer server;
    ASSERT_TRUE(server.isRunning());
    watch(server.url("/"));
    ASSERT_TRUE(untilItShowsBars()) << log.text() << server.log();
    const std::size_t before = watcher.count();
    ASSERT_TRUE(untilFrames(before + 10)); // it is a stream

    expectBars(server);
    EXPECT_EQ(watcher.malformed(), 0U);
}

TEST_F(IPCamMotionTest, SinglePicturesReachTheDevice) {
    const MotionServer server;
    ASSERT_TRUE(server.isRunning());
    watch(server.url("/current"));
    ASSERT_TRUE(untilItShowsBars()) << log.text() << server.log();

    expectBars(server);
}

} // namespace
} // namespace ovelo
