#include "fakes/GstVideoFixture.h"
#include "fakes/TcpFeeder.h"

#include <fmt/format.h>

#include <algorithm>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

/// A camera behind a TCP connection, raw pictures with no time in them.
class GstTcpSourceTest : public GstVideoFixture {
protected:
    static std::string sourceAt(std::uint16_t port) {
        return fmt::format("tcpclientsrc host=127.0.0.1 port={} ! rawvideoparse width=320 "
                           "height=240 format=rgb framerate=20/1",
                           port);
    }
};

TEST_F(GstTcpSourceTest, HandsAPictureOverAsSoonAsItsLastByteIsThere) {
    TcpFeeder camera;
    const auto device = make(sourceAt(camera.port()));
    ASSERT_FALSE(device->open());
    std::mutex lock;
    std::vector<double> delays; // milliseconds
    device->start([&](const VideoFrame&) {
        const auto now = std::chrono::steady_clock::now();
        const std::lock_guard guard(lock);
        delays.push_back(
            std::chrono::duration<double, std::milli>(now - camera.lastByte()).count());
    });
    constexpr std::size_t kPictures = 41;
    for (std::size_t sent = 0; sent < kPictures; ++sent) {
        ASSERT_TRUE(camera.send(static_cast<std::uint8_t>(sent)));
        ASSERT_TRUE(serveUntil([&] {
            const std::lock_guard guard(lock);
            return delays.size() > sent;
        }));
    }
    device->close();

    std::sort(delays.begin(), delays.end());
    RecordProperty("median_us", static_cast<int>(delays[kPictures / 2] * 1000));
    EXPECT_LT(delays[kPictures / 2], 2.0) << "milliseconds, median";
}

TEST_F(GstTcpSourceTest, KeepsTheColours) {
    TcpFeeder camera;
    const auto device = make(sourceAt(camera.port()));
    ASSERT_FALSE(device->open());
    device->start(watcher.handler());
    ASSERT_TRUE(camera.send(77));
    ASSERT_TRUE(watcher.waitFor(1));
    device->close();

    const std::uint8_t* pixel = watcher.last().pixels + 1280 * 100 + 4 * 200;
    EXPECT_EQ(std::vector<int>(pixel, pixel + 4), (std::vector<int>{77, 100, 200, 255}));
}

TEST_F(GstTcpSourceTest, EndsWhenTheCameraClosesTheConnection) {
    auto camera = std::make_unique<TcpFeeder>();
    const auto device = make(sourceAt(camera->port()));
    ASSERT_FALSE(device->open());
    device->start(watcher.handler());
    ASSERT_TRUE(camera->send(1));
    ASSERT_TRUE(watcher.waitFor(1));
    camera.reset();

    EXPECT_TRUE(serveUntil([&] { return !ends.empty(); }));
    device->close();
    EXPECT_EQ(ends.size(), 1U);
}

TEST_F(GstTcpSourceTest, StopsAtOnceWhileTheCameraSendsNothing) {
    TcpFeeder camera;
    const auto device = make(sourceAt(camera.port()));
    ASSERT_FALSE(device->open());
    device->start(watcher.handler());
    ASSERT_TRUE(camera.send(1));
    ASSERT_TRUE(watcher.waitFor(1));

    const auto before = std::chrono::steady_clock::now();
    device->close();
    EXPECT_LT(std::chrono::steady_clock::now() - before, 90ms);
}

TEST_F(GstTcpSourceTest, NeverLetsTheMainThreadWaitForAPeerThatDoesNotAnswer) {
    const FullListener deaf;
    auto device = make(sourceAt(deaf.port()));
    const auto before = std::chrono::steady_clock::now();
    ASSERT_FALSE(device->open());
    device->start(watcher.handler());
    EXPECT_LT(std::chrono::steady_clock::now() - before, 100ms);
    serveFor(100ms); // it is connecting
    device->close();
    device.reset();
    disposal.reset(); // waits for what is left
    EXPECT_LT(std::chrono::steady_clock::now() - before, 1s);
    EXPECT_TRUE(ends.empty());
}

} // namespace

} // namespace ovelo
