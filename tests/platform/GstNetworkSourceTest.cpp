#include "fakes/ChildProcess.h"
#include "fakes/FileServer.h"
#include "fakes/GstVideoFixture.h"
#include "fakes/MjpegServer.h"
#include "fakes/TemporaryFolder.h"

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class GstNetworkSourceTest : public GstVideoFixture {
protected:
    void SetUp() override {
        GstVideoFixture::SetUp();
        patience.firstPause = 200ms;
        patience.longestPause = 800ms;
        patience.stall = 2000ms;
    }

    static std::uint16_t freePort() { return LoopbackListener(1).port(); }

    static std::vector<std::string> jpegs() {
        std::vector<std::string> pictures;
        const GstPointer<GstElement> pipeline(
            gst_parse_launch("videotestsrc pattern=ball num-buffers=8 ! "
                             "video/x-raw,format=I420,width=640,height=480 ! jpegenc ! "
                             "appsink name=out sync=false",
                             nullptr));
        const GstPointer<GstElement> out(gst_bin_get_by_name(GST_BIN(pipeline.get()), "out"));
        gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
        while (GstSample* sample = gst_app_sink_pull_sample(GST_APP_SINK(out.get()))) {
            GstMapInfo map;
            gst_buffer_map(gst_sample_get_buffer(sample), &map, GST_MAP_READ);
            pictures.emplace_back(reinterpret_cast<const char*>(map.data), map.size);
            gst_buffer_unmap(gst_sample_get_buffer(sample), &map);
            gst_sample_unref(sample);
        }
        gst_element_set_state(pipeline.get(), GST_STATE_NULL);
        return pictures;
    }

    /// Ten seconds, ten pictures a second.
    static std::string movie() {
        const TemporaryFolder folder;
        const auto path = folder.path() / "clip.avi";
        const GstPointer<GstElement> pipeline(gst_parse_launch(
            fmt::format("videotestsrc pattern=ball num-buffers=100 ! "
                        "video/x-raw,format=I420,width=320,height=240,framerate=10/1 ! "
                        "jpegenc ! avimux ! filesink location={}",
                        path.string())
                .c_str(),
            nullptr));
        gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
        const GstPointer<GstBus> bus(gst_element_get_bus(pipeline.get()));
        GstMessage* end = gst_bus_timed_pop_filtered(
            bus.get(), 20 * GST_SECOND,
            static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
        EXPECT_TRUE(end && GST_MESSAGE_TYPE(end) == GST_MESSAGE_EOS);
        gst_clear_message(&end);
        gst_element_set_state(pipeline.get(), GST_STATE_NULL);
        return readFile(path);
    }

    /// Opens and starts a device while nobody serves it yet.
    Device started(const std::string& source) {
        auto device = make(source);
        const auto before = std::chrono::steady_clock::now();
        EXPECT_FALSE(device->open());
        device->start(watcher.handler());
        EXPECT_LT(std::chrono::steady_clock::now() - before, 2s) << "waited for the network";
        return device;
    }

    [[nodiscard]] bool waitForLog(std::size_t count) {
        return serveUntil([&] { return log().size() >= count; });
    }
};

TEST_F(GstNetworkSourceTest, ShowsAnHttpCameraAndComesBackWhenItDoes) {
    const auto pictures = jpegs();
    ASSERT_EQ(pictures.size(), 8U);
    auto server = std::make_unique<MjpegServer>(pictures);
    const auto port = server->port();
    const auto device = started(fmt::format("http://127.0.0.1:{}/mjpeg", port));
    ASSERT_TRUE(watcher.waitFor(5));

    server.reset();
    ASSERT_TRUE(waitForLog(2)); // dropped, and refused
    const std::size_t before = watcher.count();
    server = std::make_unique<MjpegServer>(pictures, port);
    ASSERT_TRUE(server->isListening());
    EXPECT_TRUE(watcher.waitFor(before + 5));
    device->close();

    EXPECT_EQ(watcher.malformed(), 0U);
    EXPECT_GE(watcher.different(), 5U);
    EXPECT_TRUE(ends.empty());
    EXPECT_THAT(log().front(), HasSubstr("Camera stream dropped: Test source - "));
    EXPECT_EQ(log().front().back(), '\n');
}

TEST_F(GstNetworkSourceTest, TakesACameraThatSendsNothingForDropped) {
    MjpegServer server(jpegs());
    const auto device = started(fmt::format("http://127.0.0.1:{}/mjpeg", server.port()));
    ASSERT_TRUE(watcher.waitFor(3));
    server.stall();

    EXPECT_TRUE(serveUntil([&] { return server.connections() >= 2; }));
    device->close();
    EXPECT_THAT(log().front(), HasSubstr("No picture for 2 s."));
}

TEST_F(GstNetworkSourceTest, ShowsAnHttpPictureOfItsOwnPaceWithoutLag) {
    MjpegServer server(jpegs());
    const auto device = started(fmt::format("http://127.0.0.1:{}/mjpeg", server.port()));
    ASSERT_TRUE(watcher.waitFor(30));
    device->close();

    const auto times = watcher.arrivals();
    EXPECT_NEAR(std::chrono::duration<double>(times[29] - times[9]).count(), 1.0, 0.25);
}

TEST_F(GstNetworkSourceTest, PlaysAMovieThatComesOverHttpAtItsOwnRate) {
    const FileServer server(movie());
    const auto device = started(fmt::format("http://127.0.0.1:{}/clip.avi", server.port()));
    ASSERT_TRUE(watcher.waitFor(21)) << watcher.count();
    device->close();

    const auto times = watcher.arrivals();
    EXPECT_NEAR(std::chrono::duration<double>(times[20] - times[5]).count(), 1.5, 0.3);
    EXPECT_EQ(watcher.different(), watcher.count());
}

TEST_F(GstNetworkSourceTest, PausesLongerAndLongerBetweenTries) {
    const auto device = started(fmt::format("http://127.0.0.1:{}/none", freePort()));
    std::vector<std::chrono::steady_clock::time_point> tries;
    for (std::size_t i = 1; i <= 5; ++i) {
        ASSERT_TRUE(waitForLog(i));
        tries.push_back(std::chrono::steady_clock::now());
    }
    EXPECT_GE(tries[1] - tries[0], 180ms);
    EXPECT_GE(tries[2] - tries[1], 380ms);
    EXPECT_GE(tries[3] - tries[2], 780ms);
    EXPECT_LT(tries[4] - tries[3], 1200ms);

    const auto before = std::chrono::steady_clock::now();
    device->close(); // in a pause
    EXPECT_LT(std::chrono::steady_clock::now() - before, 50ms);
    EXPECT_TRUE(ends.empty());
}

TEST_F(GstNetworkSourceTest, GivesUpAPeerThatDoesNotAnswerWithoutHoldingAnybodyUp) {
    const FullListener deaf;
    for (const char* scheme : {"http", "rtsp", "rtspt"}) {
        const auto begin = std::chrono::steady_clock::now();
        auto device = started(fmt::format("{}://127.0.0.1:{}/cam", scheme, deaf.port()));
        serveFor(100ms); // it is connecting
        const auto before = std::chrono::steady_clock::now();
        device->close();
        EXPECT_LT(std::chrono::steady_clock::now() - before, 300ms) << scheme;
        device.reset();
        disposal = std::make_shared<GstDisposal>(); // waits for what is left
        EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s) << scheme;
    }
}

TEST_F(GstNetworkSourceTest, GivesUpAtWhateverMomentItIsStopped) {
    const FullListener deaf;
    for (const auto delay : {0ms, 1ms, 2ms, 5ms, 10ms, 20ms}) {
        auto device = started(fmt::format("http://127.0.0.1:{}/cam", deaf.port()));
        serveFor(delay);
        const auto before = std::chrono::steady_clock::now();
        device.reset();
        disposal = std::make_shared<GstDisposal>(); // waits for what is left
        EXPECT_LT(std::chrono::steady_clock::now() - before, 1s) << delay.count();
    }
}

#ifdef RTSP_SERVER

class GstRtspSourceTest : public GstNetworkSourceTest,
                          public testing::WithParamInterface<const char*> {
protected:
    static constexpr const char* kCamera =
        "( videotestsrc is-live=true pattern=ball ! "
        "video/x-raw,format=I420,width=640,height=480,framerate=15/1 ! jpegenc ! rtpjpegpay "
        "name=pay0 "
        "audiotestsrc is-live=true ! rtpL16pay name=pay1 )";

    static std::unique_ptr<ChildProcess> serve(std::uint16_t port) {
        auto server = std::make_unique<ChildProcess>(
            std::vector<std::string>{RTSP_SERVER, std::to_string(port), kCamera});
        EXPECT_TRUE(server->waitForOutput("ready"));
        return server;
    }
};

TEST_P(GstRtspSourceTest, ComesBackWhenTheCameraWasKilledAndStartedAgain) {
    const auto port = freePort();
    auto server = serve(port);
    const auto device = started(fmt::format("{}://127.0.0.1:{}/cam", GetParam(), port));
    ASSERT_TRUE(watcher.waitFor(5));

    server->kill();
    ASSERT_TRUE(waitForLog(1));
    const std::size_t before = watcher.count();
    server = serve(port);
    EXPECT_TRUE(watcher.waitFor(before + 5));
    device->close();

    EXPECT_EQ(watcher.malformed(), 0U);
    EXPECT_GE(watcher.different(), 5U);
    EXPECT_TRUE(ends.empty());
}

TEST_P(GstRtspSourceTest, ConnectsToACameraThatIsSwitchedOnLater) {
    const auto port = freePort();
    const auto device = started(fmt::format("{}://127.0.0.1:{}/cam", GetParam(), port));
    ASSERT_TRUE(waitForLog(1));
    const auto server = serve(port);
    EXPECT_TRUE(watcher.waitFor(3));
    device->close();
}

TEST_P(GstRtspSourceTest, TakesAFrozenCameraForDroppedAndStopsAtOnce) {
    const auto port = freePort();
    const auto server = serve(port);
    const auto device = started(fmt::format("{}://127.0.0.1:{}/cam", GetParam(), port));
    ASSERT_TRUE(watcher.waitFor(3));
    server->signal(SIGSTOP);
    ASSERT_TRUE(waitForLog(1));
    EXPECT_THAT(log().front(), HasSubstr("No picture for 2 s."));

    const auto before = std::chrono::steady_clock::now();
    device->close();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 300ms);
}

TEST_P(GstRtspSourceTest, HoldsUpTheEndForHalfASecondAtMostWhenTheCameraIsFrozen) {
    const auto port = freePort();
    const auto server = serve(port);
    auto playing = started(fmt::format("{}://127.0.0.1:{}/cam", GetParam(), port));
    ASSERT_TRUE(watcher.waitFor(3));
    server->signal(SIGSTOP);
    auto connecting = started(fmt::format("{}://127.0.0.1:{}/cam", GetParam(), port));
    serveFor(200ms); // no condition tells that it waits

    const auto before = std::chrono::steady_clock::now();
    playing.reset();
    connecting.reset();
    disposal.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 1s);
}

TEST_P(GstRtspSourceTest, StopsAtOnceWhilePicturesFlow) {
    const auto port = freePort();
    const auto server = serve(port);
    const auto device = started(fmt::format("{}://127.0.0.1:{}/cam", GetParam(), port));
    ASSERT_TRUE(watcher.waitFor(3));

    const auto before = std::chrono::steady_clock::now();
    device->close();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 150ms);
}

INSTANTIATE_TEST_SUITE_P(Transports, GstRtspSourceTest, testing::Values("rtsp", "rtspt"));

#endif

} // namespace

} // namespace ovelo
