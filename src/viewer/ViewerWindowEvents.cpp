#include "viewer/ControlBar.h"
#include "viewer/PasswordDialog.h"
#include "viewer/PictureView.h"
#include "viewer/RecordingsPanel.h"
#include "viewer/ServerVersion.h"
#include "viewer/ViewerWindow.h"

#include <QAction>
#include <QDockWidget>
#include <QImage>
#include <QLabel>
#include <QStatusBar>

#include <algorithm>

namespace ovelo {

namespace {

/// Without a picture for so long, beyond the delay, what is shown is not the present any more.
constexpr qint64 kStale = 3000;        // milliseconds
constexpr qint64 kRateInterval = 1000; // milliseconds
constexpr int kMessageTime = 5000;     // milliseconds

} // namespace

QString ViewerWindow::serverText() const {
    return QStringLiteral("%1:%2")
        .arg(QString::fromStdString(arguments_.host))
        .arg(arguments_.port);
}

/// Cuts what does not fit, which a narrow window on a large scale makes likely; the tool tip has it
/// all.
void ViewerWindow::showServer(const QString& text) {
    serverLabel_->setToolTip(text);
    serverLabel_->setText(
        serverLabel_->fontMetrics().elidedText(text, Qt::ElideMiddle, serverLabel_->width()));
}

void ViewerWindow::linkChanged(const LinkState& state) {
    state_ = state;
    sinceState_.start();
    sessionClosed();
    sincePicture_.invalidate();
    if (state.kind == LinkState::Kind::Waiting) {
        passwordDialog_->hide();
    }
    tick();
}

void ViewerWindow::handle(const GreetingEvent& event) {
    if (!event.passwordNeeded) {
        sessionOpen(true);
    } else if (!passwordKnown_) {
        askPassword(false);
    }
}

void ViewerWindow::handle(const AuthenticationEvent& event) {
    passwordKnown_ = event.accepted;
    if (event.accepted) {
        sessionOpen(false);
    } else {
        arguments_.password.reset();
        askPassword(true);
    }
}

void ViewerWindow::askPassword(bool wrong) {
    view_->showMessage(QStringLiteral("%1 asks for a password.").arg(serverText()));
    passwordDialog_->ask(serverText(), wrong);
}

void ViewerWindow::passwordRefusedByUser() {
    link_.reset();
    sessionClosed();
    showServer(QStringLiteral("Not connected"));
    view_->showMessage(
        QStringLiteral("Not connected: %1 asks for a password. Press F5 to try again.")
            .arg(serverText()));
}

/// What this viewer asked of the server has ended with the connection.
void ViewerWindow::sessionClosed() {
    open_ = false;
    actions_.record->setChecked(false);
    showPlaying({});
}

/// started  pictures come without asking; asking would end what another viewer plays back
void ViewerWindow::sessionOpen(bool started) {
    open_ = true;
    sinceState_.start();
    link_->client().getSources(actions_.listen->isChecked() ? "AAC" : "");
    if (!started) {
        link_->client().start();
    }
    if (!dock_->isHidden()) {
        askForRecordings();
    }
    refreshActions();
    tick();
}

void ViewerWindow::handle(const TextEvent& event) {
    if (const auto sources = DataSourceList::parse(event.line)) {
        handleSources(*sources);
    } else if (const auto recordings = RecordingList::parse(event.line)) {
        recordings_->showRecordings(*recordings);
    } else if (isPlaybackDone(event.line)) {
        playbackDone();
    } else if (const auto version = ServerVersion::parse(event.line)) {
        motion_.email = version->motionEmail;
        motion_.record = version->motionRecord;
        motion_.push = version->motionPush;
    } // else the sound's format, which the sound itself hears, and what later servers may say
}

void ViewerWindow::handleSources(const DataSourceList& list) {
    sources_ = list;
    controls_->showSources(sources_);
    if (arguments_.source && !sourceChosen_) {
        sourceChosen_ = true;
        if (sources_.findVideo(*arguments_.source) != nullptr) {
            chooseCamera(*arguments_.source);
        } else {
            statusBar()->showMessage(QStringLiteral("There is no camera named \"%1\".")
                                         .arg(QString::fromStdString(*arguments_.source)),
                                     kMessageTime);
        }
    }
}

void ViewerWindow::soundProblem(const QString& problem) {
    soundProblem_ = problem;
    if (!problem.isEmpty() && actions_.listen->isChecked()) {
        statusBar()->showMessage(QStringLiteral("No sound: %1").arg(problem), kMessageTime);
    }
    updateSoundLabel();
}

void ViewerWindow::handle(const ViewerBlock& block) {
    const auto picture =
        QImage::fromData(block.bytes.data(), static_cast<int>(block.bytes.size()), "JPEG");
    if (picture.isNull()) {
        return; // empty or broken: the last one goes stale
    }
    ++picturesSinceRate_;
    sincePicture_.start();
    view_->showLive(picture);
    sizeLabel_->setText(QStringLiteral("%1 × %2, %3 kB")
                            .arg(picture.width())
                            .arg(picture.height())
                            .arg(static_cast<double>(block.bytes.size()) / 1000, 0, 'f', 1));
}

/// Keeps the messages true as time goes by.
void ViewerWindow::tick() {
    if (!link_) {
        return;
    }
    if (sinceRate_.elapsed() >= kRateInterval) {
        updateRate();
        updateSoundLabel();
    }
    if (open_) {
        showServer(QStringLiteral("Connected to %1").arg(serverText()));
        const auto limit = kStale + static_cast<qint64>(arguments_.delay * 1000);
        const bool shown = sincePicture_.isValid();
        const qint64 silence = shown ? sincePicture_.elapsed() : sinceState_.elapsed();
        if (!shown && silence < limit) {
            view_->showMessage(QStringLiteral("Waiting for pictures…"));
        } else if (silence >= limit) {
            view_->showMessage(QStringLiteral("No picture for %1 s").arg(silence / 1000));
        }
    } else if (state_.kind == LinkState::Kind::Waiting) {
        const auto left = std::max<qint64>(state_.pause.count() - sinceState_.elapsed(), 0);
        const auto text = QStringLiteral("Not connected to %1: %2")
                              .arg(serverText(), QString::fromStdString(state_.reason));
        showServer(QStringLiteral("Not connected"));
        view_->showMessage(text +
                           QStringLiteral("\nTrying again in %1 s").arg((left + 999) / 1000));
    } else if (!passwordDialog_->isVisible()) {
        showServer(QStringLiteral("Connecting to %1…").arg(serverText()));
        view_->showMessage(QStringLiteral("Connecting to %1…").arg(serverText()));
    }
}

void ViewerWindow::updateRate() {
    const double seconds = static_cast<double>(sinceRate_.restart()) / 1000;
    rateLabel_->setText(
        QStringLiteral("%1 pictures/s").arg(picturesSinceRate_ / seconds, 0, 'f', 1));
    picturesSinceRate_ = 0;
}

} // namespace ovelo
