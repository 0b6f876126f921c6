// Construction, the start sequence, the shutdown sequence, and what viewers ask for.

#include "app/MyDocument.h"

#include "alerts/EmailUtil.h"
#include "app/DocumentWindow.h"
#include "capture/ViewerPicture.h"
#include "nat/TcpNatBuster.h"
#include "platform/Console.h"
#include "platform/MainThread.h"
#include "platform/PropertyList.h"
#include "platform/Settings.h"
#include "platform/TCMPortMapper.h"
#include "platform/Timer.h"
#include "support/AutoUpdater.h"
#include "support/Logger.h"
#include "support/MyUtil.h"
#include "support/RecordedList.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <utility>

namespace ovelo {

namespace {

constexpr std::chrono::milliseconds kMeterInterval{50};
constexpr std::chrono::seconds kMoviePatience{5}; // for a movie that is being finished

bool containsMicrophone(const CaptureDevicePointer& device) {
    static constexpr std::string_view kWord = "microphone";
    const std::string name = device->localizedDisplayName();
    const auto sameLetter = [](unsigned char left, unsigned char right) {
        return std::tolower(left) == std::tolower(right);
    };
    return std::search(name.begin(), name.end(), kWord.begin(), kWord.end(), sameLetter) !=
           name.end();
}

} // namespace

MyDocument::MyDocument(Environment environment)
    : environment_(std::move(environment))
    , network_({environment_.settings, environment_.log, environment_.clock, environment_.prompt,
                environment_.publisher, waysFromTheInternet()})
    , networkSink_(network_)
    , playback_({networkSink_,
                 environment_.log,
                 environment_.clock,
                 environment_.openMovie,
                 [this](const VideoFrame& picture) {
                     return viewerpicture::plain(picture, environment_.settings);
                 },
                 {}},
                &MyUtil::getRecordedDirectory)
    , pipeline_({environment_.settings, environment_.clock, networkSink_,
                 [this] { return playback_.isPlaying(); },
                 [this](const VideoFrame& frame) { motion_.examine(frame); },
                 [this] { return sources_.videoDeviceDisplayName(); }})
    , audio_({environment_.sound, networkSink_, &console::write})
    , sources_(
          environment_.devices, session_, environment_.cameras,
          [this](const std::string& name) { audio_.setAudioInputDevice(name); }, environment_.log)
    , recording_(MovieRecording::environment(session_, environment_.log, environment_.clock,
                                             environment_.movieOutput))
    , motion_({environment_.settings, environment_.clock, environment_.log, recording_,
               [this](const Data& jpeg) { environment_.email.sendMotionEmail(jpeg); },
               environment_.push}) {
    if (!environment_.settings.contains("port")) {
        environment_.settings.setString("port", "1726");
    }
    session_.setVideoOutput([this](const VideoFrame& frame) { captureOutput(frame); });
    sources_.propertyChanged().connect([this](const std::string& key) { announce(key); });
    sources_.videoDeviceWillChange().connect(sigc::mem_fun(motion_, &MotionWatch::reset));
    recording_.recordingChanged().connect([this] { announce("recording"); });
    makeTcpNatBuster();
    environment_.email.sendingChanged().connect(
        sigc::bind(sigc::mem_fun(*this, &MyDocument::announce), "sendingEmail"));
}

MyDocument::~MyDocument() {
    session_.stopRunning(); // no picture arrives any more
    network_.stopServer();  // nor any question, which the sources would have to answer
}

void MyDocument::windowControllerDidLoadNib(DocumentWindow& window) {
    window_ = &window;
    sources_.setWindow(&window);
    recording_.setWindow(&window);
    environment_.log.write("Document starting\n");
    audioPreviewOutput_.volume = 1.0F;
    chooseVideoSource();
    chooseAudioSource();
    audioLevelTimer_ = Timer::repeating(kMeterInterval, [this] { updateAudioLevels(); });
    session_.startRunning();
    const auto refresh = sigc::mem_fun(sources_, &SourceSelection::refreshDevices);
    environment_.devices.deviceWasConnected().connect(refresh);
    environment_.devices.deviceWasDisconnected().connect(refresh);
    network_.startServer(*this);
    environment_.log.write("Document started\n");
    if (environment_.updates != nullptr) {
        environment_.updates->checkForUpdatesWeekly();
    }
    hideWindowOfAgent();
}

void MyDocument::chooseVideoSource() {
    const SourceSelection::Names names = sources_.videoDeviceNames();
    if (names.empty()) {
        return;
    }
    const auto last = environment_.settings.string("lastSelectedVideoDevice");
    const bool lastIsThere = last && std::find(names.begin(), names.end(), *last) != names.end();
    sources_.setSelectedVideoDeviceName(lastIsThere ? *last : names.front());
}

void MyDocument::chooseAudioSource() {
    const SourceSelection::DeviceList devices = sources_.audioDevices();
    if (devices.empty()) {
        return;
    }
    const auto last = environment_.settings.string("lastSelectedAudioDevice");
    auto chosen = std::find_if(devices.begin(), devices.end(), [&](const auto& device) {
        return device->localizedDisplayName() == last;
    });
    if (chosen == devices.end()) {
        chosen = std::find_if(devices.begin(), devices.end(), containsMicrophone);
    }
    sources_.setSelectedAudioDevice(chosen == devices.end() ? devices.front() : *chosen);
}

void MyDocument::hideWindowOfAgent() {
    const auto properties = readPropertyList(environment_.resources / "Contents" / "Info.plist");
    if (!properties) {
        return;
    }
    const auto isAgent = properties->find("NSUIElement");
    if (isAgent != properties->end() && isAgent->second == "1") {
        window_->hideMainWindow();
    }
}

Network::Internet MyDocument::waysFromTheInternet() {
    Network::Internet ways = environment_.internet;
    if (environment_.router != nullptr && environment_.http != nullptr) {
        ways.registerTcpPort = [this] {
            if (tcpNatBuster_) { // not after the end
                tcpNatBuster_->tcpRegInMainThread();
            }
        };
    }
    return ways;
}

void MyDocument::makeTcpNatBuster() {
    if (environment_.router == nullptr || environment_.http == nullptr) {
        return;
    }
    tcpNatBuster_ = std::make_unique<TcpNatBuster>(TcpNatBuster::Environment{
        .mapper = *environment_.router,
        .http = *environment_.http,
        .settings = environment_.settings,
        .log = environment_.log,
        .setExternalIpPort =
            [this](const std::string& address) { network_.setExternalIpPort(address); },
        .alert =
            [this](const std::string& message, const std::string& informativeText) {
                showAlert(message, informativeText);
            },
    });
    tcpNatBuster_->reachabilityChanged().connect(
        sigc::bind(sigc::mem_fun(*this, &MyDocument::announce), "reachability"));
}

void MyDocument::windowWillClose() {
    if (std::exchange(closed_, true)) {
        return;
    }
    Settings& settings = environment_.settings;
    if (const auto video = sources_.selectedVideoDevice()) {
        settings.setString("lastSelectedVideoDevice", video->localizedDisplayName());
    }
    if (const auto audio = sources_.selectedAudioDevice()) {
        settings.setString("lastSelectedAudioDevice", audio->localizedDisplayName());
    }
    tcpNatBuster_.reset();
    if (environment_.router != nullptr) {
        environment_.router->stop(); // in the meantime the mapping is taken back
    }
    stopPlayback();
    motion_.stop();
    recording_.setRecording(false);
    audioLevelTimer_.reset();
    sources_.setSelectedVideoDevice(nullptr);
    sources_.setSelectedAudioDevice(nullptr);
    session_.stopRunning();
    audio_.stopCapture();
    network_.stopServer();
    recording_.waitUntilIdle(kMoviePatience);
}

void MyDocument::updateAudioLevels() {
    audio_.getAudioLevels(audioLevels_.data(), peakLevels_.data());
    setAudioLevel(audioLevels_.front());
}

std::string MyDocument::getDataSource() {
    return sources_.getDataSource();
}

void MyDocument::setDataSource(const std::string& source) {
    MainThread::performAndWait([&] {
        if (!closed_) { // a late viewer must not open a camera again that is closed for good
            sources_.resetDataSource(source);
        }
    });
}

std::string MyDocument::getRecordedList() {
    return recordedListLine(MyUtil::getRecordedDirectory());
}

void MyDocument::setStartRecording(bool start) {
    MainThread::performAndWait([this, start] {
        if (!closed_) {
            start ? recording_.startRecording() : recording_.stopRecording();
        }
    });
}

void MyDocument::startPlayback(const std::string& name) {
    MainThread::performAndWait([&] {
        if (!closed_) {
            playback_.startPlayback(name);
        }
    });
}

void MyDocument::stopPlayback() {
    MainThread::performAndWait([this] { playback_.stopPlayback(); });
}

std::string MyDocument::getAudioParameters() {
    return audio_.getAudioParameters();
}

void MyDocument::setAudioFormat(int format) {
    audio_.setAudioFormat(format);
}

void MyDocument::clientDisconnected() {
    stopPlayback();
    recording_.setRecording(false);
}

void MyDocument::captureOutput(const VideoFrame& frame) {
    pipeline_.captureOutput(frame);
}

void MyDocument::setAudioLevel(float level) {
    if (std::exchange(audioLevel_, level) != level) {
        announce("audioLevel");
    }
}

void MyDocument::announce(const std::string& property) {
    propertyChanged_.emit(property);
}

} // namespace ovelo
