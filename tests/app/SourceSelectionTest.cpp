#include "app/SourceSelection.h"

#include "fakes/FakeCameras.h"
#include "fakes/FakeCapture.h"
#include "fakes/FakeWindow.h"
#include "fakes/TestLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace ovelo {
namespace {

using Names = SourceSelection::Names;

class SourceSelectionTest : public ::testing::Test {
protected:
    SourceSelectionTest() {
        selection.setWindow(&window);
        selection.propertyChanged().connect(
            [this](const std::string& key) { changed.push_back(key); });
        session.startRunning();
    }
    bool wasAnnounced(const std::string& key) const {
        return std::find(changed.begin(), changed.end(), key) != changed.end();
    }

    TestLog events;
    FakeDevices devices;
    FakeCameras cameras;
    FakeWindow window;
    CaptureSession session;
    std::vector<std::string> heard; // names that sound was asked from
    bool audioFails = false;
    SourceSelection selection{devices, session, &cameras,
                              [this](const std::string& name) {
                                  heard.push_back(name);
                                  if (audioFails) {
                                      throw std::runtime_error("no sound today");
                                  }
                              },
                              events.log()};
    std::vector<std::string> changed;
};

TEST_F(SourceSelectionTest, VideoDevicesComeBeforeMuxedOnes) {
    devices.add(MediaType::Muxed, "Tape");
    devices.add(MediaType::Video, "Camera A");

    EXPECT_EQ(selection.videoDeviceNames(), (Names{"Camera A", "Tape"}));
}

TEST_F(SourceSelectionTest, BluetoothDevicesAreNeverListed) {
    devices.add(MediaType::Sound, "My BLUETOOTH headset");
    devices.add(MediaType::Sound, "Mic");
    devices.add(MediaType::Sound, "bluetooth");

    ASSERT_EQ(selection.audioDevices().size(), 1U);
    EXPECT_EQ(selection.audioDevices().front()->localizedDisplayName(), "Mic");
}

TEST_F(SourceSelectionTest, NetworkCamerasStandInThePlaceOfTheVirtualDevice) {
    cameras.list = {{"porch", "http://a/"}, {"yard", "http://b/"}, {"door", "http://c/"}};
    devices.add(MediaType::Video, "Camera A");
    devices.add(MediaType::Video, "Kavrin IPCam");
    devices.add(MediaType::Video, "Camera B");

    EXPECT_EQ(selection.videoDeviceNames(),
              (Names{"Camera A", "IP Cam: porch", "IP Cam: yard", "IP Cam: door", "Camera B"}));
}

TEST_F(SourceSelectionTest, WithoutTheVirtualDeviceNoNetworkCameraIsOffered) {
    cameras.list = {{"porch", "http://a/"}};
    devices.add(MediaType::Video, "Camera A");

    EXPECT_EQ(selection.videoDeviceNames(), Names{"Camera A"});
    selection.setSelectedVideoDeviceName("IP Cam: porch");
    EXPECT_EQ(selection.selectedVideoDevice(), nullptr);
    EXPECT_TRUE(cameras.calls.empty()) << "the camera is not started";
}

TEST_F(SourceSelectionTest, ChoosingANetworkCameraStartsItAndUsesTheVirtualDevice) {
    cameras.list = {{"porch", "http://a/"}};
    const auto virtualDevice = devices.add(MediaType::Video, "Kavrin IPCam");
    devices.add(MediaType::Video, "Camera A");

    selection.setSelectedVideoDeviceName("IP Cam: porch");

    EXPECT_EQ(cameras.calls, std::vector<std::string>{"start porch"});
    EXPECT_EQ(selection.selectedVideoDevice(), virtualDevice);
    EXPECT_EQ(selection.selectedVideoDeviceName(), "IP Cam: porch");
    EXPECT_EQ(selection.videoDeviceDisplayName(), "Kavrin IPCam") << "the name in the picture";

    selection.setSelectedVideoDeviceName("Camera A");
    EXPECT_EQ(cameras.calls.back(), "stop porch");
    EXPECT_EQ(selection.selectedVideoDeviceName(), "Camera A");
}

TEST_F(SourceSelectionTest, CameraThatNoListBearsMeansNoVideo) {
    cameras.list = {{"porch", "http://a/"}};
    devices.add(MediaType::Video, "Kavrin IPCam");
    for (const char* name : {"IP Cam: gone", "IP Cam", "IP Cam: ", "nobody"}) {
        selection.setSelectedVideoDeviceName("IP Cam: porch");
        selection.setSelectedVideoDeviceName(name);
        EXPECT_EQ(selection.selectedVideoDevice(), nullptr) << name;
    }
}

TEST_F(SourceSelectionTest, DataSourceListsVideoThenSoundAndMarksTheChosen) {
    cameras.list = {{"porch", "http://10.0.0.7/p.jpg"}};
    devices.add(MediaType::Video, "Camera A", "model-a");
    devices.add(MediaType::Video, "Kavrin IPCam");
    const auto mic = devices.add(MediaType::Sound, "Mic", "model-m");
    selection.setSelectedVideoDeviceName("Camera A");
    selection.setSelectedAudioDevice(mic);
    selection.refreshDevices();

    EXPECT_EQ(selection.getDataSource(),
              "DATA_SOURCE|Camera A|model-a|v|1|IP Cam: porch|http://10.0.0.7/p.jpg|v|0|"
              "Mic|model-m|a|1\n");
}

TEST_F(SourceSelectionTest, DataSourceWithoutDevicesIsTheWordAlone) {
    EXPECT_EQ(selection.getDataSource(), "DATA_SOURCE\n");
}

TEST_F(SourceSelectionTest, IdentifierIsThatOfTheFirstDeviceOfTheName) {
    devices.add(MediaType::Video, "Twin", "first");
    devices.add(MediaType::Video, "Twin", "second");
    selection.refreshDevices();

    EXPECT_EQ(selection.getDataSource(), "DATA_SOURCE|Twin|first|v|0|Twin|first|v|0\n");
}

TEST_F(SourceSelectionTest, ViewersChooseSourcesByName) {
    devices.add(MediaType::Video, "Camera A");
    devices.add(MediaType::Video, "Camera B");
    devices.add(MediaType::Sound, "Mic 1");
    devices.add(MediaType::Sound, "Mic 2");
    selection.setSelectedVideoDeviceName("Camera A");

    selection.resetDataSource("Camera B|Mic 2|further|fields");

    EXPECT_EQ(selection.selectedVideoDeviceName(), "Camera B");
    EXPECT_EQ(selection.selectedAudioDevice()->localizedDisplayName(), "Mic 2");
}

TEST_F(SourceSelectionTest, UnknownNamesAndShortRequestsChangeNothing) {
    devices.add(MediaType::Video, "Camera A");
    devices.add(MediaType::Sound, "Mic 1");
    selection.resetDataSource("Camera A|Mic 1");
    changed.clear();

    for (const char* request : {"", "nobody", "Camera B", "x|y", "|", "nobody|Mic 1"}) {
        selection.resetDataSource(request);
    }

    EXPECT_EQ(selection.selectedVideoDeviceName(), "Camera A");
    EXPECT_EQ(selection.selectedAudioDevice()->localizedDisplayName(), "Mic 1");
    EXPECT_TRUE(changed.empty());
}

TEST_F(SourceSelectionTest, ChoosingWhatIsChosenDoesNotReopenIt) {
    const auto camera = devices.add(MediaType::Video, "Camera A");
    const auto mic = devices.add(MediaType::Sound, "Mic 1");
    selection.resetDataSource("Camera A|Mic 1");
    changed.clear();

    selection.resetDataSource("Camera A|Mic 1");

    EXPECT_TRUE(changed.empty());
}

TEST_F(SourceSelectionTest, SwitchingClosesTheOldDeviceAndDeliversFromTheNew) {
    const auto first = devices.add(MediaType::Video, "Camera A");
    const auto second = devices.add(MediaType::Video, "Camera B");
    selection.setSelectedVideoDevice(first);
    EXPECT_TRUE(first->isOpen);
    EXPECT_TRUE(first->handler);

    selection.setSelectedVideoDevice(second);

    EXPECT_FALSE(first->isOpen);
    EXPECT_TRUE(second->handler);
    EXPECT_TRUE(events.contains(": Set video device completed: Camera B\n"));
    selection.setSelectedVideoDevice(nullptr);
    EXPECT_TRUE(events.contains(": Set video device completed: (null)\n"));
    EXPECT_FALSE(selection.hasRecordingDevice());
}

TEST_F(SourceSelectionTest, DeviceThatCannotBeOpenedIsShownAndLogged) {
    const auto camera = devices.add(MediaType::Video, "Camera A");
    const auto mic = devices.add(MediaType::Sound, "Mic");
    camera->failure = Failure{"Device is busy"};
    mic->failure = Failure{"No permission"};

    selection.setSelectedVideoDevice(camera);
    selection.setSelectedAudioDevice(mic);

    EXPECT_EQ(selection.selectedVideoDevice(), nullptr);
    EXPECT_EQ(selection.selectedAudioDevice(), nullptr);
    EXPECT_TRUE(events.contains(": Open video device failed: Camera A - Device is busy\n"));
    EXPECT_TRUE(events.contains(": Open audio device failed: Mic - No permission\n"));
    EXPECT_FALSE(events.contains("completed"));
    ASSERT_EQ(window.errors.size(), 2U);
    EXPECT_NE(window.errors.front().find("Device is busy"), std::string::npos);
}

TEST_F(SourceSelectionTest, DeviceThatCannotBeAddedIsClosedShownAndLogged) {
    const auto other = std::make_shared<FakeDevice>(MediaType::Video, "Other");
    ASSERT_FALSE(session.addInput(std::make_shared<CaptureDeviceInput>(other)));
    const auto camera = devices.add(MediaType::Video, "Camera A");

    selection.setSelectedVideoDevice(camera);

    EXPECT_EQ(selection.selectedVideoDevice(), nullptr);
    EXPECT_FALSE(camera->isOpen);
    EXPECT_TRUE(events.contains(": Add video device failed: Camera A - "));
    EXPECT_EQ(window.errors.size(), 1U);
}

TEST_F(SourceSelectionTest, MuxedVideoRemovesTheAudioInputAndKeepsItAway) {
    const auto tape = devices.add(MediaType::Muxed, "Tape");
    const auto mic = devices.add(MediaType::Sound, "Mic");
    selection.setSelectedAudioDevice(mic);

    selection.setSelectedVideoDevice(tape);

    EXPECT_TRUE(selection.selectedVideoDeviceProvidesAudio());
    EXPECT_EQ(selection.selectedAudioDevice(), nullptr);
    EXPECT_FALSE(mic->isOpen);
    selection.setSelectedAudioDevice(mic);
    EXPECT_EQ(selection.selectedAudioDevice(), nullptr);
}

TEST_F(SourceSelectionTest, ChosenMicrophoneIsHeard) {
    const auto mic = devices.add(MediaType::Sound, "Mic");
    selection.setSelectedAudioDevice(mic);
    selection.setSelectedAudioDevice(nullptr);

    EXPECT_EQ(heard, Names{"Mic"});
}

TEST_F(SourceSelectionTest, MicrophoneThatCannotBeOpenedIsNotHeard) {
    const auto mic = devices.add(MediaType::Sound, "Mic");
    mic->failure = Failure{"busy"};
    selection.setSelectedAudioDevice(mic);

    EXPECT_TRUE(heard.empty());
}

TEST_F(SourceSelectionTest, SoundThatFailsIsLoggedAndTheDeviceStaysChosen) {
    const auto mic = devices.add(MediaType::Sound, "Mic");
    audioFails = true;
    selection.setSelectedAudioDevice(mic);

    EXPECT_TRUE(events.contains(": setAudioInputDevice failed: Mic - no sound today\n"));
    EXPECT_TRUE(events.contains(": Set audio device completed: Mic\n"));
    EXPECT_EQ(selection.selectedAudioDevice(), mic);
}

TEST_F(SourceSelectionTest, SoundOfAMuxedCameraIsHeard) {
    const auto mic = devices.add(MediaType::Sound, "Mic");
    selection.setSelectedAudioDevice(mic);
    selection.setSelectedVideoDevice(devices.add(MediaType::Muxed, "Tape"));

    EXPECT_EQ(heard, (Names{"Mic", "Tape"}));
    EXPECT_EQ(selection.selectedAudioDevice(), nullptr);
}

TEST_F(SourceSelectionTest, UnpluggingTheChosenCameraRemovesTheInput) {
    const auto camera = devices.add(MediaType::Video, "Camera A");
    const auto mic = devices.add(MediaType::Sound, "Mic");
    selection.setSelectedVideoDevice(camera);
    selection.setSelectedAudioDevice(mic);
    devices.remove(camera);
    devices.remove(mic);

    selection.refreshDevices();

    EXPECT_EQ(selection.selectedVideoDevice(), nullptr);
    EXPECT_EQ(selection.selectedAudioDevice(), nullptr);
    EXPECT_TRUE(selection.videoDeviceNames().empty());
    EXPECT_EQ(selection.getDataSource(), "DATA_SOURCE\n");
    EXPECT_TRUE(wasAnnounced("videoDevices"));
    EXPECT_TRUE(wasAnnounced("videoDeviceNames"));
    EXPECT_TRUE(wasAnnounced("audioDevices"));
}

TEST_F(SourceSelectionTest, SourceThatEndsByItselfLeavesAnEmptyInputAndALogLine) {
    const auto camera = devices.add(MediaType::Video, "Camera A");
    selection.setSelectedVideoDeviceName("Camera A");
    changed.clear();

    camera->ended().emit("stream is over");

    EXPECT_EQ(selection.selectedVideoDevice(), nullptr);
    EXPECT_FALSE(camera->isOpen);
    EXPECT_TRUE(events.contains(": Capture device ended: Camera A - stream is over\n"));
    EXPECT_TRUE(wasAnnounced("videoDevices")) << "the lists are built anew";
    EXPECT_EQ(selection.videoDeviceNames(), Names{"Camera A"});
}

TEST_F(SourceSelectionTest, ChangeOfDeviceAnnouncesWhatDependsOnIt) {
    selection.setSelectedVideoDevice(devices.add(MediaType::Video, "Camera A"));

    for (const char* key : {"selectedVideoDevice", "hasRecordingDevice", "controllableDevice",
                            "selectedVideoDeviceProvidesAudio", "mediaFormatSummary"}) {
        EXPECT_TRUE(wasAnnounced(key)) << key;
    }
    changed.clear();
    selection.setSelectedAudioDevice(devices.add(MediaType::Sound, "Mic"));
    for (const char* key : {"selectedAudioDevice", "hasRecordingDevice", "mediaFormatSummary"}) {
        EXPECT_TRUE(wasAnnounced(key)) << key;
    }
}

TEST_F(SourceSelectionTest, TapeControlsReachADeviceThatHasThem) {
    const auto camera = devices.add(MediaType::Video, "Tape");
    selection.setSelectedVideoDevice(camera);
    EXPECT_EQ(selection.controllableDevice(), nullptr);
    selection.setDevicePlaying(true);
    EXPECT_FALSE(selection.isDevicePlaying());

    camera->tape = TapeTransport{};
    EXPECT_EQ(selection.controllableDevice(), camera);
    changed.clear();
    selection.setDevicePlaying(true);
    EXPECT_TRUE(selection.isDevicePlaying());
    EXPECT_TRUE(wasAnnounced("devicePlaying"));
    EXPECT_EQ(camera->tape->speed, 10000);
    selection.setDevicePlaying(false);
    EXPECT_TRUE(camera->tape->playbackMode);
    EXPECT_EQ(camera->tape->speed, 0);
    selection.stopDevice();
    EXPECT_FALSE(camera->tape->playbackMode);
}

TEST_F(SourceSelectionTest, FormatSummaryHasALineForEachStream) {
    EXPECT_FALSE(selection.mediaFormatSummary());
    selection.setSelectedVideoDevice(devices.add(MediaType::Video, "Camera A"));
    selection.setSelectedAudioDevice(devices.add(MediaType::Sound, "Mic"));

    EXPECT_EQ(selection.mediaFormatSummary(), "format of Camera A\nformat of Mic\n");
}

} // namespace
} // namespace ovelo
