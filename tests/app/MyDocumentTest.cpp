#include "app/MyDocument.h"

#include "alerts/EmailUtil.h"
#include "fakes/FakeAudioSystem.h"
#include "fakes/FakeCapture.h"
#include "fakes/FakeClock.h"
#include "fakes/FakeMailAgent.h"
#include "fakes/FakeMovie.h"
#include "fakes/FakeMovieOutput.h"
#include "fakes/FakeServerParts.h"
#include "fakes/FakeWindow.h"
#include "fakes/Peer.h"
#include "fakes/QtWait.h"
#include "fakes/TestLog.h"
#include "fakes/TestPicture.h"
#include "platform/MainThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <iterator>
#include <thread>
#include <utility>

namespace ovelo {
namespace {

class MyDocumentTest : public ::testing::Test {
protected:
    MyDocumentTest() {
        MainThread::begin();
        std::filesystem::remove_all(kept());
    }
    ~MyDocumentTest() override {
        document.reset();
        MainThread::end();
    }

    void create() {
        document = std::make_unique<MyDocument>(MyDocument::Environment{
            settings, events.log(), *clock, devices, sound, nullptr, prompt,
            [this](const PublishedService& service, ServicePublisher::Delegate& delegate) {
                return std::make_unique<FakePublisher::Service>(publisher, service, delegate);
            },
            [this] {
                auto output = std::make_unique<FakeMovieOutput>();
                movie = output.get();
                return output;
            },
            [this](const std::filesystem::path& file,
                   const std::stop_token&) -> Result<std::unique_ptr<Movie>> {
                asked = file;
                return std::unique_ptr<Movie>(std::make_unique<FakeMovie>(movies));
            },
            email, [this](const std::string& devID, const std::string&, int) { notified = devID; },
            nullptr, nullptr, nullptr, nullptr, folder.path()});
    }
    void start() {
        settings.setString("email", "me@example.org");
        settings.setString("port", "0");
        create();
        document->windowControllerDidLoadNib(window);
    }
    void writeProperties(const std::string& entries) {
        std::filesystem::create_directory(folder.path() / "Contents");
        writeFile(folder.path() / "Contents" / "Info.plist",
                  "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>" + entries +
                      "</dict></plist>");
    }
    std::string videoName() {
        return document->sources().selectedVideoDeviceName().value_or("(none)");
    }
    std::string audioName() {
        const auto device = document->sources().selectedAudioDevice();
        return device ? device->localizedDisplayName() : "(none)";
    }

    /// Runs what a viewer's thread asks, while this thread serves it.
    static void asViewer(const std::function<void()>& request) {
        std::atomic<bool> done = false;
        const std::jthread viewer([&] {
            request();
            done = true;
        });
        EXPECT_TRUE(MainThread::serveUntil([&] { return done.load(); }, std::chrono::seconds(5)));
    }
    /// Where recordings are kept: in a home of the tests' own, one for all, for it is looked up once.
    static std::filesystem::path kept() {
        static const TemporaryFolder home;
        ::setenv("HOME", home.path().c_str(), 1);
        return home.path() / "Documents" / "Ovelo";
    }
    static std::size_t recordings() {
        std::error_code none;
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(kept(), none), {}));
    }

    TemporaryFolder folder;
    TestLog events;
    MemorySettings settings;
    const Clock* clock = &Clock::system();
    FakeDevices devices;
    FakeAudioSystem sound;
    FakeMovieOutput* movie = nullptr; // the newest
    FakeMovies movies;
    std::filesystem::path asked; // for a movie
    FakePrompt prompt;
    FakeMailServer mailServer;
    EmailUtil email{{settings, events.log(), mailServer.factory()}};
    std::string notified;
    FakePublisher publisher;
    FakeWindow window;
    std::unique_ptr<MyDocument> document;
};

TEST_F(MyDocumentTest, FirstStartStoresThePortAndNothingElse) {
    create();

    EXPECT_EQ(settings.string("port"), "1726");
    EXPECT_EQ(settings.keys(), std::vector<std::string>{"port"});
    EXPECT_EQ(settings.integer("rotate_val"), 0);
}

TEST_F(MyDocumentTest, StoredPortIsKept) {
    settings.setString("port", "8080");
    create();

    EXPECT_EQ(settings.string("port"), "8080");
}

TEST_F(MyDocumentTest, RotationWrapsAtBothEnds) {
    create();
    settings.setInteger("rotate_val", 3);
    document->rotateRight();
    EXPECT_EQ(settings.integer("rotate_val"), 0);
    document->rotateLeft();
    EXPECT_EQ(settings.integer("rotate_val"), 3);
    document->rotateLeft();
    EXPECT_EQ(settings.integer("rotate_val"), 2);
}

TEST_F(MyDocumentTest, QuarterTurnsOfSeveralViewersAllCount) {
    create();
    {
        std::vector<std::jthread> viewers;
        for (int viewer = 0; viewer < 3; ++viewer) {
            viewers.emplace_back([&] {
                for (int turn = 0; turn < 1001; ++turn) {
                    document->rotateRight();
                }
            });
        }
    }
    EXPECT_EQ(settings.integer("rotate_val"), 3003 % 4);
}

TEST_F(MyDocumentTest, DefaultButtonStoresTheUsualPort) {
    settings.setString("port", "8080");
    create();
    document->defaultButton();

    EXPECT_EQ(settings.string("port"), "1726");
}

TEST_F(MyDocumentTest, StartOpensDevicesThenServes) {
    const auto camera = devices.add(MediaType::Video, "Camera A");
    start();

    EXPECT_TRUE(camera->handler) << "the session runs";
    EXPECT_EQ(document->audioPreviewOutput().volume, 1.0F);
    EXPECT_EQ(document->network().networkStatus(), "Waiting for connection...");
    const std::string log = events.text();
    const auto starting = log.find(": Document starting\n");
    const auto device = log.find(": Set video device completed: Camera A\n");
    const auto server = log.find(": Network Status: Starting listener... \n");
    const auto started = log.find(": Document started\n");
    ASSERT_NE(starting, std::string::npos);
    EXPECT_LT(starting, device);
    EXPECT_LT(device, server);
    EXPECT_LT(server, started);
    EXPECT_NE(started, std::string::npos);
}

TEST_F(MyDocumentTest, RememberedDevicesAreChosenWhenTheyAreThere) {
    devices.add(MediaType::Video, "Camera A");
    devices.add(MediaType::Video, "Camera B");
    devices.add(MediaType::Sound, "Microphone");
    devices.add(MediaType::Sound, "Line in");
    settings.setString("lastSelectedVideoDevice", "Camera B");
    settings.setString("lastSelectedAudioDevice", "Line in");
    start();

    EXPECT_EQ(videoName(), "Camera B");
    EXPECT_EQ(audioName(), "Line in");
}

TEST_F(MyDocumentTest, RememberedDevicesThatAreGoneGiveWayToTheFirst) {
    devices.add(MediaType::Video, "Camera A");
    devices.add(MediaType::Sound, "Line in");
    devices.add(MediaType::Sound, "built-in MICROPHONE");
    settings.setString("lastSelectedVideoDevice", "Camera X");
    settings.setString("lastSelectedAudioDevice", "Mic X");
    start();

    EXPECT_EQ(videoName(), "Camera A");
    EXPECT_EQ(audioName(), "built-in MICROPHONE");
}

TEST_F(MyDocumentTest, WithoutAMicrophoneTheFirstSoundDeviceIsChosen) {
    devices.add(MediaType::Sound, "Line in");
    devices.add(MediaType::Sound, "Other");
    start();

    EXPECT_EQ(audioName(), "Line in");
}

TEST_F(MyDocumentTest, NoDevicesAtAllStillServes) {
    start();

    EXPECT_EQ(videoName(), "(none)");
    EXPECT_EQ(document->network().networkStatus(), "Waiting for connection...");
}

TEST_F(MyDocumentTest, DeviceThatFailsToOpenDoesNotStopTheStart) {
    devices.add(MediaType::Video, "Camera A")->failure = Failure{"busy"};
    start();

    EXPECT_EQ(window.errors.size(), 1U);
    EXPECT_EQ(document->network().networkStatus(), "Waiting for connection...");
}

TEST_F(MyDocumentTest, DevicesThatComeAndGoRebuildTheLists) {
    start();
    devices.add(MediaType::Video, "Late");
    devices.deviceWasConnected().emit();
    EXPECT_EQ(document->sources().videoDeviceNames(), SourceSelection::Names{"Late"});

    devices.all.clear();
    devices.deviceWasDisconnected().emit();
    EXPECT_TRUE(document->sources().videoDeviceNames().empty());
}

TEST_F(MyDocumentTest, AgentHidesItsWindow) {
    writeProperties("<key>NSUIElement</key><string>1</string>");
    start();

    EXPECT_TRUE(window.isHidden);
}

TEST_F(MyDocumentTest, WindowStaysWithAnyOtherPropertyList) {
    for (const char* entries : {"<key>NSUIElement</key><string>0</string>", "",
                                "<key>Other</key><string>1</string>", "<broken"}) {
        writeProperties(entries);
        start();
        EXPECT_FALSE(window.isHidden) << entries;
        document.reset();
    }
}

TEST_F(MyDocumentTest, UserCannotCloseTheWindow) {
    create();

    EXPECT_FALSE(document->windowShouldClose());
}

TEST_F(MyDocumentTest, ShutdownRemembersTheDevicesClosesThemAndEndsTheServer) {
    const auto camera = devices.add(MediaType::Video, "Camera A");
    const auto mic = devices.add(MediaType::Sound, "Mic");
    start();

    document->windowWillClose();
    document->windowWillClose();

    EXPECT_EQ(settings.string("lastSelectedVideoDevice"), "Camera A");
    EXPECT_EQ(settings.string("lastSelectedAudioDevice"), "Mic");
    EXPECT_FALSE(camera->isOpen);
    EXPECT_FALSE(mic->isOpen);
    EXPECT_FALSE(document->session().isRunning());
    EXPECT_EQ(document->network().port(), 0);
    const std::string log = events.text();
    EXPECT_LT(log.find(": Set video device completed: (null)\n"),
              log.find(": TCP: Stopping server"));
}

TEST_F(MyDocumentTest, ViewerThatChoosesACameraDuringShutdownDoesNotOpenIt) {
    const auto camera = devices.add(MediaType::Video, "Camera A");
    start();
    document->windowWillClose();

    document->setDataSource("Camera A|");

    EXPECT_FALSE(camera->isOpen);
    EXPECT_EQ(videoName(), "(none)");
}

TEST_F(MyDocumentTest, ViewersChooseAmongTheRealSourcesAndAreLetGoWithTheDocument) {
    devices.add(MediaType::Video, "Camera A", "a");
    devices.add(MediaType::Video, "Camera B", "b");
    start();
    std::atomic<bool> answered = false;
    std::string line;
    Peer viewer(document->network().port());
    std::jthread asking([&] {
        viewer.send("Start,Camera B|\nGetSources,\n");
        while (!line.starts_with("DATA_SOURCE")) {
            line = viewer.line().value_or("DATA_SOURCE, none");
        }
        answered = true;
    });

    EXPECT_TRUE(MainThread::serveUntil([&] { return answered.load(); }, std::chrono::seconds(5)));
    asking.join();
    EXPECT_EQ(line, "DATA_SOURCE|Camera A|a|v|0|Camera B|b|v|1");
    document.reset();
    EXPECT_TRUE(viewer.isClosedByServer());
}

TEST_F(MyDocumentTest, ShutdownWithoutDevicesRemembersNone) {
    settings.setString("lastSelectedVideoDevice", "Camera A");
    start();
    document->windowWillClose();

    EXPECT_EQ(settings.string("lastSelectedVideoDevice"), "Camera A");
    EXPECT_FALSE(settings.contains("lastSelectedAudioDevice"));
}

TEST_F(MyDocumentTest, TestOfTheEmailIsShownAsAnAlertOfTheWindow) {
    start();
    document->testEmail();
    ASSERT_EQ(window.alerts.size(), 1U);
    EXPECT_EQ(window.alerts.front(), "Unable to send Email / Host or Email Address is invalid.");

    settings.setString("smtpHost", "mail.example.org");
    settings.setString("smtpEmail", "me@example.org");
    mailServer.open(false);
    document->testEmail();
    EXPECT_TRUE(document->isSendingEmail());
    mailServer.open(true);
    EXPECT_TRUE(
        MainThread::serveUntil([&] { return window.alerts.size() == 2; }, std::chrono::seconds(5)));
    EXPECT_EQ(window.alerts.back(), "Email is sent to me@example.org successfully. / ");
}

TEST_F(MyDocumentTest, CameraThatIsChosenIsNotComparedWithTheFormerOne) {
    FakeClock steps;
    clock = &steps;
    const auto first = devices.add(MediaType::Video, "Camera A");
    const auto second = devices.add(MediaType::Video, "Camera B");
    settings.setBoolean("useMotionRecord", true);
    start();
    const auto show = [&](FakeDevice& camera, std::uint8_t level) {
        steps.advance(std::chrono::seconds(2));
        camera.handler(pictureOf(8, 6, [=](int, int) { return Colour{level, level, level, 255}; }));
    };
    show(*first, 10);
    show(*first, 100);
    EXPECT_TRUE(document->motionLevel().ratio.has_value());

    document->sources().setSelectedVideoDeviceName("Camera B");
    show(*second, 10);
    EXPECT_FALSE(document->motionLevel().ratio.has_value());
    document.reset();
}

TEST_F(MyDocumentTest, EmailHelpIsLoadedOnceAndShownAlsoWithoutAText) {
    create();
    start();
    document->helpEmail();
    EXPECT_EQ(window.email, "");
    EXPECT_EQ(window.shown, std::vector<Panel>{Panel::EmailHelp});

    writeFile(folder.path() / "EmailHelp.txt", "Help\n");
    document->helpEmail();
    EXPECT_EQ(window.email, "Help\n");
    writeFile(folder.path() / "EmailHelp.txt", "Other\n");
    document->helpEmail();
    EXPECT_EQ(window.email, "Help\n");
    document->helpClose();
    EXPECT_EQ(window.hidden, std::vector<Panel>{Panel::EmailHelp});
}

TEST_F(MyDocumentTest, HelpPageWithoutAWebHostSaysSo) {
    start();
    document->natManualConfigButton();

    EXPECT_EQ(window.errors.size(), 1U);
}

TEST_F(MyDocumentTest, ChosenMicrophoneIsHeardAndMovesTheMeter) {
    sound.names = {"Mic"};
    sound.record.level = {0.25F, 0.5F};
    devices.add(MediaType::Sound, "Mic");
    start();

    EXPECT_EQ(sound.defaultInput, "Mic");
    EXPECT_TRUE(runLoopUntil([&] { return document->audioLevel() == 0.25F; }));
    EXPECT_TRUE(document->getAudioParameters().starts_with("CONFIG_AUDIO,8000.000000,"));

    document->windowWillClose();
    EXPECT_EQ(sound.record.count("dispose"), 1U);
}

TEST_F(MyDocumentTest, FormatThatAViewerAsksForHoldsFromTheNextStart) {
    sound.names = {"Mic", "Other"};
    devices.add(MediaType::Sound, "Mic");
    devices.add(MediaType::Sound, "Other");
    start();
    asViewer([this] { document->setAudioFormat(0); });
    EXPECT_EQ(sound.requested.mFormatID, kAudioFormatAac);

    asViewer([this] { document->setDataSource("|Other"); });

    EXPECT_EQ(sound.defaultInput, "Other");
    EXPECT_EQ(sound.requested.mFormatID, kAudioFormatPcm);
}

TEST_F(MyDocumentTest, ViewersStartAndEndARecording) {
    start();
    std::vector<std::string> changes;
    document->propertyChanged().connect([&](const std::string& key) { changes.push_back(key); });

    asViewer([this] { document->setStartRecording(true); });
    EXPECT_TRUE(document->isRecording());
    EXPECT_EQ(changes, std::vector<std::string>{"recording"});
    asViewer([this] { document->setStartRecording(false); });
    ASSERT_TRUE(MainThread::serveUntil([&] { return recordings() == 1; }, std::chrono::seconds(5)));

    EXPECT_FALSE(document->isRecording());
    EXPECT_TRUE(document->getRecordedList().starts_with("RECORDED_LIST,-Ovelo_"));
}

TEST_F(MyDocumentTest, ViewerThatGoesAwayEndsRecordingAndPlayback) {
    start();
    asViewer([this] {
        document->setStartRecording(true);
        document->startPlayback("any.mov");
    });
    ASSERT_TRUE(document->isPlaying());

    document->clientDisconnected();

    EXPECT_FALSE(document->isPlaying());
    EXPECT_TRUE(MainThread::serveUntil([&] { return recordings() == 1; }, std::chrono::seconds(5)));
}

TEST_F(MyDocumentTest, ShutdownFinishesARecordingAndKeepsIt) {
    start();
    asViewer([this] { document->setStartRecording(true); });

    document->windowWillClose();

    EXPECT_EQ(recordings(), 1U);
    document->setStartRecording(true);
    document->startPlayback("late.mov");
    EXPECT_FALSE(document->isRecording()) << "nobody starts anything any more";
    EXPECT_FALSE(document->isPlaying());
}

TEST_F(MyDocumentTest, MainThreadCarriesOutWhatAViewerAsks) {
    start();
    bool isOnMainThread = false;
    document->propertyChanged().connect(
        [&](const std::string&) { isOnMainThread = MainThread::isCurrent(); });
    asViewer([&] {
        document->setStartRecording(true);
        EXPECT_TRUE(std::exchange(isOnMainThread, false));
        document->startPlayback("any.mov");
        EXPECT_TRUE(document->isPlaying());
        document->stopPlayback();
        EXPECT_FALSE(document->isPlaying());
        document->setStartRecording(false);
    });

    EXPECT_EQ(movies.open, 0);
    EXPECT_FALSE(document->isRecording());
}

TEST_F(MyDocumentTest, PlaybackIsOfTheRecordingsFolderAndRestsLivePictures) {
    start();
    asViewer([this] { document->startPlayback("x.mov"); });

    EXPECT_TRUE(document->isPlaying());
    EXPECT_TRUE(MainThread::serveUntil([&] { return movies.asked > 0; }, std::chrono::seconds(5)));
    EXPECT_EQ(asked, kept() / "x.mov");
    document->stopPlayback();
    EXPECT_FALSE(document->isPlaying());
}

TEST_F(MyDocumentTest, LevelIsAnnouncedWhenItChanges) {
    create();
    int announced = 0;
    document->propertyChanged().connect(
        [&](const std::string& key) { announced += key == "audioLevel" ? 1 : 0; });

    document->setAudioLevel(0.5F);
    document->setAudioLevel(0.5F);

    EXPECT_EQ(announced, 1);
    EXPECT_EQ(document->audioLevel(), 0.5F);
}

} // namespace
} // namespace ovelo
