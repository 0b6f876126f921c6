#pragma once

#include "viewer/DataSourceList.h"
#include "viewer/MotionDialog.h"
#include "viewer/ServerFinder.h"
#include "viewer/ViewerArguments.h"
#include "viewer/ViewerSound.h"
#include "viewer/WindowLink.h"

#include <QElapsedTimer>
#include <QMainWindow>
#include <QTimer>

#include <memory>
#include <thread>

class QAction;
class QDockWidget;
class QLabel;
class QSlider;
class QToolBar;

namespace ovelo {

class ControlBar;
class PasswordDialog;
class PictureView;
class RecordingsPanel;
class ServerChooser;

/// The viewer's window: the picture and the sound of one server, its recordings, and what can be set
/// about it.
///
/// thread  main
class ViewerWindow final : public QMainWindow {
public:
    explicit ViewerWindow(ViewerArguments arguments, ServerFinder finder = ServerFinder());
    ViewerWindow(ViewerArguments arguments, ServerFinder finder, ViewerSound::Parts soundParts);
    ~ViewerWindow() override;

    /// Connects to the server of the arguments, or looks for one.
    void begin();

    [[nodiscard]] const PictureView& picture() const { return *view_; }
    [[nodiscard]] PasswordDialog& passwordDialog() { return *passwordDialog_; }
    [[nodiscard]] ServerChooser& chooser() { return *chooser_; }
    [[nodiscard]] MotionDialog& motionDialog() { return *motionDialog_; }

protected:
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    /// What can be done by menu, button and key alike.
    struct Actions {
        QAction* listen = nullptr;
        QAction* mute = nullptr;
        QAction* inStep = nullptr;
        QAction* record = nullptr;
        QAction* recordings = nullptr;
        QAction* live = nullptr;
        QAction* nightVision = nullptr;
        QAction* turnLeft = nullptr;
        QAction* turnRight = nullptr;
        QAction* motion = nullptr;
        QList<QAction*> camera; // what else is set about the picture
    };

    // Building. ViewerWindow.cpp and ViewerWindowControls.cpp
    void buildContents();
    void buildDialogs();
    void buildStatusBar();
    void buildRecordings();
    void buildActions();
    void buildMenus();
    void buildServerMenu();
    void buildPictureMenu();
    void buildSoundMenu();
    void buildViewMenu();
    void buildToolBar();
    QAction* makeAction(const QString& text, const QString& toolTip,
                        const QList<QKeySequence>& keys, const std::function<void()>& action);
    QAction* makeSwitch(const QString& text, const QString& toolTip,
                        const QList<QKeySequence>& keys, const std::function<void(bool)>& action);
    void setFullScreen(bool full);

    // What the user wants of the server. ViewerWindowCommands.cpp
    void listen(bool on);
    void mute(bool on);
    void setVolume(int percent);
    void bringInStep();
    void record(bool on);
    void play(const std::string& name);
    void backToLive();
    void showRecordings(bool shown);
    void makeRoom(bool shown);
    void askForRecordings();
    void askForMotion();
    void setMotion(const MotionSettings& settings);
    void chooseCamera(const std::string& name);
    void chooseMicrophone(const std::string& name);
    void startSource(const std::string& choice);
    void applySound();
    void refreshActions();
    void showPlaying(const std::string& name);
    void playbackDone();
    void updateSoundLabel();

    // Finding a server. ViewerWindowServers.cpp
    void search();
    void searched(const Result<std::vector<FoundService>>& result);
    void chooseServer();
    void forgetServer();
    void connectTo(const std::string& host, std::uint16_t port);

    // What the server says. ViewerWindowEvents.cpp
    void linkChanged(const LinkState& state);
    void handle(const GreetingEvent& event);
    void handle(const AuthenticationEvent& event);
    void handle(const TextEvent& event);
    void handle(const ViewerBlock& block);
    void handle(const LostEvent& /*event*/) {} // a state of the link
    void askPassword(bool wrong);
    void passwordRefusedByUser();
    void sessionOpen(bool started);
    void handleSources(const DataSourceList& list);
    void sessionClosed();
    void soundProblem(const QString& problem);
    void tick();
    void updateRate();
    void showServer(const QString& text);
    [[nodiscard]] QString serverText() const;

    ViewerArguments arguments_;
    ServerFinder finder_;
    PictureView* view_ = nullptr;
    ControlBar* controls_ = nullptr;
    QToolBar* toolBar_ = nullptr;
    QDockWidget* dock_ = nullptr;
    RecordingsPanel* recordings_ = nullptr;
    MotionDialog* motionDialog_ = nullptr;
    QSlider* volume_ = nullptr;
    Actions actions_;
    QLabel* serverLabel_ = nullptr;
    QLabel* soundLabel_ = nullptr;
    QLabel* rateLabel_ = nullptr;
    QLabel* sizeLabel_ = nullptr;
    ServerChooser* chooser_ = nullptr;
    PasswordDialog* passwordDialog_ = nullptr;
    QTimer ticker_;

    DataSourceList sources_;
    bool open_ = false;          // the server has let us in
    bool passwordKnown_ = false; // the client answers the greeting by itself
    bool sourceChosen_ = false;  // the one of the command line
    LinkState state_;
    QElapsedTimer sinceState_;
    QElapsedTimer sincePicture_; // invalid: none since the session is open
    QElapsedTimer sinceRate_;
    int picturesSinceRate_ = 0;

    std::string playing_;   // the recording; empty: live pictures
    QTimer playbackEnd_;    // until its last picture is shown
    MotionSettings motion_; // as far as the server told them, or as they were chosen here
    QString soundProblem_;  // empty: none

    ViewerSound sound_; // before the link, which uses it
    std::unique_ptr<WindowLink> link_;
    std::jthread searcher_; // last: its thread posts to the window
};

} // namespace ovelo
