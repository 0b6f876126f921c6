// The whole program on an RTSP camera that goes away and comes back.

#include "fakes/ChildProcess.h"
#include "fakes/Eventually.h"
#include "integration/Program.h"
#include "integration/WireViewer.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

TEST(RtspTest, CameraThatWasKilledAndStartedAgainIsSeenAgain) {
    const std::uint16_t port = freePort();
    const auto serve = [port] {
        auto camera = std::make_unique<ChildProcess>(std::vector<std::string>{
            RTSP_SERVER, std::to_string(port),
            "( videotestsrc is-live=true pattern=ball ! "
            "video/x-raw,format=I420,width=640,height=480,framerate=15/1 ! jpegenc ! "
            "rtpjpegpay name=pay0 )"});
        EXPECT_TRUE(camera->waitForOutput("ready"));
        return camera;
    };
    auto camera = serve();
    Program program;
    program.setting("captureSources=v|Yard|rtsp://127.0.0.1:" + std::to_string(port) + "/cam");
    program.start();
    ASSERT_TRUE(program.waitUntilListening());
    WireViewer viewer(program.port());
    ASSERT_EQ(viewer.nextPicture().size(), QSize(320, 240)) << program.log();

    camera->kill();
    EXPECT_TRUE(eventually([&] { return viewer.nextJpeg(std::chrono::milliseconds(1500)).empty(); },
                           std::chrono::seconds(20)));
    EXPECT_TRUE(program.isRunning());

    camera = serve();
    EXPECT_EQ(viewer.nextPicture(std::chrono::seconds(35)).size(), QSize(320, 240))
        << program.log();
    EXPECT_EQ(program.terminate(), 0);
}

} // namespace
} // namespace ovelo
