#include "viewer/ControlBar.h"
#include "viewer/PictureView.h"
#include "viewer/RecordingsPanel.h"
#include "viewer/ViewerWindow.h"

#include <QAction>
#include <QDockWidget>
#include <QLabel>
#include <QScreen>
#include <QSlider>
#include <QStatusBar>

#include <algorithm>

namespace ovelo {

namespace {

constexpr double kNoticeable = 0.15; // seconds between picture and sound
constexpr int kMessageTime = 5000;   // milliseconds
constexpr int kMovieTime = 2000;     // milliseconds until a recording that ended is on the list

} // namespace

void ViewerWindow::listen(bool on) {
    sound_.setWanted(on);
    soundProblem_.clear();
    applySound();
    refreshActions();
    updateSoundLabel();
}

/// Tells the client what the user wants to hear.
void ViewerWindow::applySound() {
    if (!link_) {
        return;
    }
    if (actions_.listen->isChecked() && open_) {
        link_->client().getSources("AAC"); // the format that is sent from the next choice on
    }
    link_->client().setSound(actions_.listen->isChecked());
}

void ViewerWindow::mute(bool on) {
    sound_.setMuted(on || !playing_.empty());
    updateSoundLabel();
}

void ViewerWindow::setVolume(int percent) {
    sound_.setVolume(percent / 100.0);
}

void ViewerWindow::bringInStep() {
    if (const auto delay = sound_.shortestDelay()) {
        controls_->setDelay(*delay);
    }
}

void ViewerWindow::record(bool on) {
    if (!link_) {
        return;
    }
    link_->client().record(on);
    if (!on && !dock_->isHidden()) {
        QTimer::singleShot(kMovieTime, this, [this] { askForRecordings(); });
    }
}

void ViewerWindow::play(const std::string& name) {
    if (link_ && link_->client().playback(name)) {
        showPlaying(name);
    }
}

void ViewerWindow::backToLive() {
    if (link_ && !playing_.empty()) {
        link_->client().start();
        showPlaying({});
    }
}

/// name  empty: live pictures
void ViewerWindow::showPlaying(const std::string& name) {
    playing_ = name;
    playbackEnd_.stop();
    recordings_->showPlaying(name);
    view_->showBadge(name.empty()
                         ? QString()
                         : QStringLiteral("Recording: %1").arg(QString::fromStdString(name)));
    // The sound that comes meanwhile is the present's, not the recording's.
    sound_.setMuted(actions_.mute->isChecked() || !name.empty());
    refreshActions();
    updateSoundLabel();
}

/// The server goes on with live pictures by itself. The last ones of the recording are still on
/// their way: they were held back, the line was not.
void ViewerWindow::playbackDone() {
    if (!playing_.empty()) {
        playbackEnd_.start(static_cast<int>(arguments_.delay * 1000));
    }
}

void ViewerWindow::showRecordings(bool shown) {
    makeRoom(shown);
    dock_->setVisible(shown);
    if (shown) {
        askForRecordings();
        recordings_->setFocus();
    }
}

/// Lets the picture keep its size beside the recordings, where the screen is large enough.
void ViewerWindow::makeRoom(bool shown) {
    if (isMaximized() || isFullScreen() || dock_->isFloating()) {
        return;
    }
    const int widest = screen()->availableGeometry().right() - frameGeometry().left();
    const int change = shown ? dock_->sizeHint().width() : -dock_->width();
    resize(std::min(width() + change, std::max(widest, width())), height());
}

void ViewerWindow::askForRecordings() {
    if (link_) {
        link_->client().getRecorded();
    }
}

void ViewerWindow::askForMotion() {
    motionDialog_->ask(motion_);
}

void ViewerWindow::setMotion(const MotionSettings& settings) {
    if (open_ && link_ &&
        link_->client().configureMotion(settings.sense, settings.email, settings.record,
                                        settings.push)) {
        motion_ = settings;
    } else { // the connection was lost while the dialog was open
        statusBar()->showMessage(QStringLiteral("Not connected: the settings were not sent."),
                                 kMessageTime);
    }
}

void ViewerWindow::chooseCamera(const std::string& name) {
    startSource(sources_.choice(name));
}

void ViewerWindow::chooseMicrophone(const std::string& name) {
    startSource(sources_.soundChoice(name));
}

void ViewerWindow::startSource(const std::string& choice) {
    if (link_) {
        link_->client().start(choice);
        if (actions_.listen->isChecked()) {
            link_->client().setSound(true); // tells the format, which may be another now
        }
        link_->client().getSources(); // tells whether it was chosen
        showPlaying({});
    }
}

void ViewerWindow::refreshActions() {
    actions_.mute->setEnabled(actions_.listen->isChecked());
    volume_->setEnabled(actions_.listen->isChecked());
    actions_.record->setEnabled(open_);
    actions_.nightVision->setEnabled(open_);
    actions_.turnLeft->setEnabled(open_);
    actions_.turnRight->setEnabled(open_);
    actions_.motion->setEnabled(open_);
    for (QAction* action : actions_.camera) {
        action->setEnabled(open_);
    }
    actions_.live->setEnabled(open_ && !playing_.empty());
    recordings_->setConnected(open_);
}

void ViewerWindow::updateSoundLabel() {
    const auto lag = sound_.lag();
    const bool late = lag && *lag > kNoticeable;
    actions_.inStep->setEnabled(late);
    if (!actions_.listen->isChecked()) {
        soundLabel_->clear();
    } else if (!soundProblem_.isEmpty()) {
        soundLabel_->setText(QStringLiteral("no sound"));
    } else if (!playing_.empty()) {
        soundLabel_->setText(QStringLiteral("sound off during playback"));
    } else if (!lag) {
        soundLabel_->setText(QStringLiteral("waiting for sound…"));
    } else if (late) {
        soundLabel_->setText(QStringLiteral("sound %1 s late").arg(*lag, 0, 'f', 1));
    } else {
        soundLabel_->setText(QStringLiteral("sound in step"));
    }
    soundLabel_->setToolTip(
        !soundProblem_.isEmpty() ? soundProblem_
        : late ? QStringLiteral("Ctrl+J brings the picture in step, by holding it back.")
               : QString());
}

} // namespace ovelo
