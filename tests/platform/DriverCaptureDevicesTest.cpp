#include "platform/DriverCaptureDevices.h"

#include "fakes/FrameWatcher.h"
#include "fakes/QtWait.h"
#include "fakes/TemporaryFolder.h"
#include "platform/Data.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ovelo {
namespace {

using ::testing::ElementsAre;

class NamedDevice final : public CaptureDevice {
public:
    explicit NamedDevice(MediaType type) : type_(type) {}
    MediaType mediaType() const override { return type_; }
    std::string localizedDisplayName() const override { return "Other"; }
    std::string uniqueModelIdentifier() const override { return "other"; }
    std::optional<Failure> open() override { return std::nullopt; }
    void close() override {}
    void start(FrameHandler) override {}
    void stop() override {}

private:
    MediaType type_;
};

class OtherDevices final : public CaptureDevices {
public:
    std::vector<CaptureDevicePointer> devices(MediaType type) override {
        return {std::make_shared<NamedDevice>(type)};
    }
};

class DriverCaptureDevicesTest : public ::testing::Test {
protected:
    void SetUp() override { MainThread::begin(); }
    void TearDown() override {
        devices.reset();
        MainThread::end();
    }

    void create() {
        auto made = std::make_unique<OtherDevices>();
        others = made.get();
        devices = std::make_unique<DriverCaptureDevices>(
            std::move(made), DriverCaptureDevices::Paths{component, folder.path() / "ipcam.rgb"});
        devices->deviceWasConnected().connect([this] { ++connected; });
        devices->deviceWasDisconnected().connect([this] { ++disconnected; });
    }
    void install() const { std::filesystem::create_directories(component / "Contents"); }
    void uninstall() const { std::filesystem::remove_all(component); }

    std::vector<std::string> names(MediaType type = MediaType::Video) {
        std::vector<std::string> list;
        for (const auto& device : devices->devices(type)) {
            list.push_back(device->localizedDisplayName());
        }
        return list;
    }

    TemporaryFolder folder;
    const std::filesystem::path component = folder.path() / "QuickTime" / "IPCam.component";
    OtherDevices* others = nullptr;
    std::unique_ptr<DriverCaptureDevices> devices;
    int connected = 0;
    int disconnected = 0;
};

TEST_F(DriverCaptureDevicesTest, DeviceIsThereWithItsComponent) {
    install();
    create();

    EXPECT_THAT(names(), ElementsAre("Other", "Kavrin IPCam"));
    EXPECT_THAT(names(MediaType::Sound), ElementsAre("Other"));
    EXPECT_THAT(names(MediaType::Muxed), ElementsAre("Other"));
}

TEST_F(DriverCaptureDevicesTest, DeviceIsMissingWithoutItsComponent) {
    create();

    EXPECT_THAT(names(), ElementsAre("Other"));
}

TEST_F(DriverCaptureDevicesTest, DeviceComesAndGoesWithItsComponent) {
    create();
    install();
    ASSERT_TRUE(runLoopUntil([&] { return connected == 1; }));
    EXPECT_THAT(names(), ElementsAre("Other", "Kavrin IPCam"));

    uninstall();
    ASSERT_TRUE(runLoopUntil([&] { return disconnected == 1; }));
    EXPECT_THAT(names(), ElementsAre("Other"));
}

TEST_F(DriverCaptureDevicesTest, RefreshLooksAtOnce) {
    create();
    install();
    devices->refresh();
    EXPECT_EQ(connected, 1);
    uninstall();
    devices->refresh();
    EXPECT_EQ(disconnected, 1);
}

TEST_F(DriverCaptureDevicesTest, SameDeviceIsTheSameObject) {
    install();
    create();

    EXPECT_EQ(devices->devices(MediaType::Video).back(), devices->devices(MediaType::Video).back());
}

TEST_F(DriverCaptureDevicesTest, OpenDeviceEndsWithItsComponent) {
    install();
    create();
    const auto device = devices->devices(MediaType::Video).back();
    ASSERT_FALSE(device->open());
    FrameWatcher watcher;
    device->start(watcher.handler());
    std::string reason;
    device->ended().connect([&](const std::string& text) {
        reason = text;
        device->close();
    });
    uninstall();
    ASSERT_TRUE(runLoopUntil([&] { return disconnected == 1; }));

    EXPECT_EQ(reason, "The device was removed.");
}

TEST_F(DriverCaptureDevicesTest, NewsOfOtherDevicesIsPassedOn) {
    create();
    others->deviceWasConnected().emit();
    others->deviceWasDisconnected().emit();

    EXPECT_EQ(connected, 1);
    EXPECT_EQ(disconnected, 1);
}

TEST_F(DriverCaptureDevicesTest, DeliversThePictureFile) {
    install();
    create();
    const auto device = devices->devices(MediaType::Video).back();
    FrameWatcher watcher;
    device->start(watcher.handler());
    ASSERT_FALSE(picturefile::write(folder.path() / "ipcam.rgb",
                                    Bytes(picturefile::kSize, std::uint8_t{9})));
    EXPECT_TRUE(watcher.waitFor(1));
    device->stop();
}

} // namespace
} // namespace ovelo
