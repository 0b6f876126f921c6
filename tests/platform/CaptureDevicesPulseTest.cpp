#include "fakes/ChildProcess.h"
#include "fakes/TemporaryFolder.h"
#include "platform/CaptureDevices.h"
#include "platform/GstMonitor.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

bool isInstalled(const char* program) {
    const std::string command = std::string("command -v ") + program + " >/dev/null";
    return std::system(command.c_str()) == 0;
}

/// A sound server of the test's own, with devices that come and go.
class CaptureDevicesPulseTest : public testing::Test {
protected:
    void SetUp() override {
        if (!isInstalled("pulseaudio") || !isInstalled("pactl")) {
            GTEST_SKIP() << "the packages pulseaudio and pulseaudio-utils are missing: no devices "
                            "can be plugged in";
        }
        MainThread::begin();
        const std::string home = folder.path().string();
        ::setenv("HOME", home.c_str(), 1);
        ::setenv("XDG_RUNTIME_DIR", home.c_str(), 1);
        ::setenv("PULSE_SERVER", ("unix:" + socketPath()).c_str(), 1);
        ASSERT_TRUE(startServer());
    }
    void TearDown() override {
        devices.reset();
        MainThread::end();
    }

    bool startServer() {
        server = std::make_unique<ChildProcess>(std::vector<std::string>{
            "pulseaudio", "-n", "-L",
            "module-native-protocol-unix auth-anonymous=1 socket=" + socketPath(), "-L",
            "module-null-sink sink_name=null1 sink_properties=device.description=Null-One",
            "--exit-idle-time=-1", "--disable-shm=yes", "--daemonize=no", "--use-pid-file=no",
            "--log-target=file:" + (folder.path() / "log").string()});
        return MainThread::serveUntil([] { return control("info") == 0; }, 10s);
    }

    [[nodiscard]] std::string socketPath() const { return (folder.path() / "native").string(); }

    static int control(const std::string& words) {
        return std::system(("pactl " + words + " >/dev/null 2>&1").c_str());
    }
    static void plugIn(const std::string& name, const std::string& title) {
        ASSERT_EQ(control("load-module module-virtual-source source_name=" + name +
                          " master=null1.monitor source_properties='device.description=\"" + title +
                          "\"'"),
                  0);
    }
    static void unplugAll() { ASSERT_EQ(control("unload-module module-virtual-source"), 0); }

    Names names() {
        Names list;
        for (const auto& device : devices->devices(MediaType::Sound)) {
            list.push_back(device->localizedDisplayName());
        }
        return list;
    }
    bool waitForNames(const Names& wanted) {
        return MainThread::serveUntil([&] { return names() == wanted; }, 10s);
    }

    TemporaryFolder folder;
    MemorySettings settings;
    std::unique_ptr<ChildProcess> server;
    std::unique_ptr<CaptureDevices> devices;
};

TEST_F(CaptureDevicesPulseTest, FollowsMicrophonesThatComeAndGo) {
    plugIn("vmic", "Test\\ Microphone");
    devices = CaptureDevices::create(settings);
    int connected = 0;
    int disconnected = 0;
    devices->deviceWasConnected().connect([&] { ++connected; });
    devices->deviceWasDisconnected().connect([&] { ++disconnected; });
    const Names before = {"Test Microphone", "Monitor of Null-One"};
    EXPECT_EQ(names(), before); // the microphone first, though it came later
    const auto microphone = devices->devices(MediaType::Sound)[0];

    plugIn("second", "My\\ BLUETOOTH\\ headset");
    ASSERT_TRUE(MainThread::serveUntil([&] { return connected > 0; }, 10s));
    EXPECT_THAT(names(), testing::UnorderedElementsAre("Test Microphone", "My BLUETOOTH headset",
                                                       "Monitor of Null-One"));
    EXPECT_EQ(devices->devices(MediaType::Sound)[0], microphone);
    EXPECT_EQ(disconnected, 0);

    Names ends;
    microphone->ended().connect([&](const std::string& reason) { ends.push_back(reason); });
    ASSERT_FALSE(microphone->open());
    unplugAll();
    EXPECT_TRUE(waitForNames({"Monitor of Null-One"}));
    EXPECT_GE(disconnected, 1);
    EXPECT_EQ(ends, (Names{"The device was removed."}));
    microphone->close();
}

TEST_F(CaptureDevicesPulseTest, SeparatesDevicesOfTheSameName) {
    plugIn("one", "Same");
    plugIn("two", "Same");
    settings.setArray("captureSources", {"a|Described|audiotestsrc"});
    devices = CaptureDevices::create(settings);
    EXPECT_EQ(names(), (Names{"Same", "Same", "Monitor of Null-One", "Described"}));
}

TEST_F(CaptureDevicesPulseTest, CleansNamesThatWouldBreakALineForViewers) {
    plugIn("odd", "A|B");
    devices = CaptureDevices::create(settings);
    EXPECT_EQ(names().front(), "A B");
}

TEST_F(CaptureDevicesPulseTest, NoticesASoundServerThatStopsAndComesBack) {
    GstMonitor monitor({.glance = 100ms});
    std::atomic<int> changes = 0;
    monitor.watch([&] { ++changes; });
    ASSERT_EQ(monitor.devices().size(), 1U);

    server->signal(SIGTERM);
    EXPECT_TRUE(MainThread::serveUntil([&] { return monitor.devices().empty(); }, 10s));
    ASSERT_TRUE(startServer());
    EXPECT_TRUE(MainThread::serveUntil([&] { return monitor.devices().size() == 1; }, 10s));
    EXPECT_TRUE(MainThread::serveUntil([&] { return changes >= 2; }, 1s));
}

} // namespace

} // namespace ovelo
