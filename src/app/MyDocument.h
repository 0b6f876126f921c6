#pragma once

#include "app/MotionWatch.h"
#include "app/MovieRecording.h"
#include "app/NetworkSink.h"
#include "app/SourceSelection.h"
#include "audio/Audio.h"
#include "capture/FramePipeline.h"
#include "platform/CaptureSession.h"
#include "playback/PlaybackControl.h"
#include "server/Network.h"
#include "server/ViewerDocument.h"

#include <array>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ovelo {

class AutoUpdater;
class DocumentWindow;
class EmailUtil;
class HttpClient;
class IPCamListController;
class Logger;
class Settings;
class TCMPortMapper;
class TcpNatBuster;
class Timer;

/// Sound that is monitored while it is captured.
struct AudioPreviewOutput {
    float volume = 0;
};

/// The hub of the program: owns the capture session and the viewer server, and starts and stops
/// everything.
///
/// thread  main; what ViewerDocument declares, any
class MyDocument final : public ViewerDocument, public sigc::trackable {
public:
    /// Everything that the document is given. The window is set later: it needs the document.
    struct Environment {
        Settings& settings;
        Logger& log;
        const Clock& clock;
        CaptureDevices& devices;
        AudioSystem& sound;
        NetworkCameras* cameras; // or null
        AccountPrompt& prompt;
        Network::PublisherFactory publisher;
        MovieRecording::OutputFactory movieOutput;
        PlaybackEnvironment::OpenMovie openMovie;
        EmailUtil& email;
        /// PushNotifier::sendPushNotification. Called on the capture thread.
        std::function<void(const std::string& devID, const std::string& message, int badgeNumber)>
            push;
        IPCamListController* cameraList; // or null, as the following
        AutoUpdater* updates;
        TCMPortMapper* router; // without it, or without `http`, nothing is done about the router
        HttpClient* http;
        std::filesystem::path resources;
        Network::Internet internet = {};
    };

    /// Stores "port" = "1726" when the settings have none.
    explicit MyDocument(Environment environment);
    ~MyDocument() override;
    MyDocument(const MyDocument&) = delete;
    MyDocument& operator=(const MyDocument&) = delete;

    /// The start sequence, once, when the window is there.
    void windowControllerDidLoadNib(DocumentWindow& window);

    /// The shutdown sequence, once.
    void windowWillClose();

    /// The main window stays open for the life of the application.
    [[nodiscard]] bool windowShouldClose() const { return false; }

    // Actions of the window.
    void rotateRight() override;
    void rotateLeft() override;
    void defaultButton();
    bool browseButton();
    void natAutoConfigButton();
    void startNatoAutoConfig(); // sic
    void closeNatAutoPanel();
    void natManualConfigButton();
    void testEmail();
    void helpEmail();
    void helpClose();
    void closeOption();
    void ipCamListButton();
    void ipCamListClose();

    // What viewers ask for. A viewer that comes late, when the document is closed, starts nothing
    // any more.
    std::string getDataSource() override;
    void setDataSource(const std::string& source) override;
    std::string getRecordedList() override;
    void setStartRecording(bool start) override;
    void startPlayback(const std::string& name) override;
    void stopPlayback() override;
    std::string getAudioParameters() override;
    void setAudioFormat(int format) override;
    void clientDisconnected() override;

    /// The capture framework's delivery, on its own thread.
    void captureOutput(const VideoFrame& frame);

    // Accessors.
    [[nodiscard]] Network& network() { return network_; }
    [[nodiscard]] CaptureSession& session() { return session_; }
    [[nodiscard]] SourceSelection& sources() { return sources_; }
    [[nodiscard]] AudioPreviewOutput& audioPreviewOutput() { return audioPreviewOutput_; }
    [[nodiscard]] bool hasRecordingDevice() const { return sources_.hasRecordingDevice(); }
    [[nodiscard]] bool isRecording() const { return recording_.isRecording(); }
    [[nodiscard]] bool isPlaying() const { return playback_.isPlaying(); }
    [[nodiscard]] bool isSendingEmail() const;
    [[nodiscard]] bool isTestingEmail() const;
    /// Why viewers cannot come in from the internet, in one sentence; "" when they can, as far as the
    /// router knows, and before anything is known.
    [[nodiscard]] std::string reachability() const;
    [[nodiscard]] MotionLevel motionLevel() const { return motion_.level(); }
    [[nodiscard]] float audioLevel() const { return audioLevel_; }
    void setAudioLevel(float level);

    /// A property of this name has another value now: those of SourceSelection, "audioLevel",
    /// "recording", "sendingEmail" (which tells of isTestingEmail(), too) and "reachability".
    sigc::signal<void(const std::string&)>& propertyChanged() { return propertyChanged_; }

private:
    void rotateBy(int quarterTurns);
    void chooseVideoSource();
    void chooseAudioSource();
    void hideWindowOfAgent();
    [[nodiscard]] Network::Internet waysFromTheInternet();
    void makeTcpNatBuster();
    void updateAudioLevels();
    void showAlert(const std::string& message, const std::string& informativeText);
    void announce(const std::string& property);

    Environment environment_;
    DocumentWindow* window_ = nullptr;
    Network network_;
    NetworkSink networkSink_;
    PlaybackControl playback_;
    FramePipeline pipeline_;
    CaptureSession session_;
    Audio audio_;
    SourceSelection sources_; // its destructor takes the inputs out of the session
    MovieRecording recording_;
    MotionWatch motion_;
    std::unique_ptr<TcpNatBuster> tcpNatBuster_; // or null
    std::unique_ptr<Timer> audioLevelTimer_;
    std::array<float, 2> audioLevels_{};
    std::array<float, 2> peakLevels_{};
    bool closed_ = false;
    AudioPreviewOutput audioPreviewOutput_;
    float audioLevel_ = 0;
    sigc::signal<void(const std::string&)> propertyChanged_;
};

} // namespace ovelo
