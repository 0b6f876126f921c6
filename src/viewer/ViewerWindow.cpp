#include "viewer/ViewerWindow.h"

#include "viewer/ControlBar.h"
#include "viewer/PasswordDialog.h"
#include "viewer/PictureView.h"
#include "viewer/RecordingsPanel.h"
#include "viewer/ServerChooser.h"

#include <QDockWidget>
#include <QLabel>
#include <QMenuBar>
#include <QStatusBar>
#include <QToolBar>
#include <QVBoxLayout>

#include <utility>

namespace ovelo {

namespace {

constexpr int kTick = 250; // milliseconds

} // namespace

ViewerWindow::ViewerWindow(ViewerArguments arguments, ServerFinder finder)
    : ViewerWindow(std::move(arguments), std::move(finder),
                   {&SoundDecoder::createAac, &SoundPlayer::create}) {
}

ViewerWindow::ViewerWindow(ViewerArguments arguments, ServerFinder finder,
                           ViewerSound::Parts soundParts)
    : arguments_(std::move(arguments))
    , finder_(std::move(finder))
    , passwordKnown_(arguments_.password.has_value())
    , sound_(std::move(soundParts), [this](const std::string& problem) {
        // Dies with the window, of which the sound is a part.
        QMetaObject::invokeMethod(
            this, [this, problem] { soundProblem(QString::fromStdString(problem)); },
            Qt::QueuedConnection);
    }) {
    setWindowTitle(QStringLiteral("Ovelo Viewer"));
    buildContents();
    buildRecordings();
    buildStatusBar();
    buildActions();
    buildMenus();
    buildToolBar();
    buildDialogs();
    sound_.setDelay(arguments_.delay);
    playbackEnd_.setSingleShot(true);
    connect(&playbackEnd_, &QTimer::timeout, this, [this] { showPlaying({}); });
    connect(&ticker_, &QTimer::timeout, this, [this] { tick(); });
    ticker_.start(kTick);
    refreshActions();
}

ViewerWindow::~ViewerWindow() {
    searcher_.request_stop();
    if (searcher_.joinable()) {
        searcher_.join();
    }
    link_.reset();
    dock_->disconnect(this); // it is hidden once more when this is no window of ours any longer
}

void ViewerWindow::buildContents() {
    view_ = new PictureView(this);
    controls_ = new ControlBar(arguments_.delay, arguments_.frameRate,
                               {
                                   [this](double seconds) {
                                       arguments_.delay = seconds;
                                       sound_.setDelay(seconds);
                                       if (link_) {
                                           link_->client().setDelay(seconds);
                                       }
                                   },
                                   [this](double rate) {
                                       arguments_.frameRate = rate;
                                       if (link_) {
                                           link_->client().setFrameRate(rate);
                                       }
                                   },
                                   [this](const std::string& name) { chooseCamera(name); },
                                   [this](const std::string& name) { chooseMicrophone(name); },
                               },
                               this);
    auto* contents = new QWidget(this);
    auto* column = new QVBoxLayout(contents);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(view_, 1);
    column->addWidget(controls_);
    setCentralWidget(contents);
}

void ViewerWindow::buildDialogs() {
    chooser_ = new ServerChooser(
        {[this](const std::string& host, std::uint16_t port) { connectTo(host, port); },
         [this] { search(); }},
        this);
    passwordDialog_ = new PasswordDialog(
        [this](const std::string& password) {
            if (link_) {
                link_->client().sendPassword(password);
            }
        },
        this);
    connect(passwordDialog_, &QDialog::rejected, this, [this] { passwordRefusedByUser(); });
    motionDialog_ =
        new MotionDialog([this](const MotionSettings& settings) { setMotion(settings); }, this);
}

void ViewerWindow::buildStatusBar() {
    serverLabel_ = new QLabel(this);
    soundLabel_ = new QLabel(this);
    rateLabel_ = new QLabel(this);
    sizeLabel_ = new QLabel(this);
    statusBar()->addWidget(serverLabel_, 1);
    statusBar()->addPermanentWidget(soundLabel_);
    statusBar()->addPermanentWidget(rateLabel_);
    statusBar()->addPermanentWidget(sizeLabel_);
    sinceRate_.start();
}

void ViewerWindow::buildRecordings() {
    recordings_ = new RecordingsPanel({
                                          [this](const std::string& name) { play(name); },
                                          [this] { backToLive(); },
                                          [this] { askForRecordings(); },
                                      },
                                      this);
    dock_ = new QDockWidget(QStringLiteral("Recordings"), this);
    dock_->setObjectName(QStringLiteral("recordings"));
    dock_->setWidget(recordings_);
    addDockWidget(Qt::RightDockWidgetArea, dock_);
    dock_->hide();
    // The only road to the button: it is also closed by its own cross.
    connect(dock_, &QDockWidget::visibilityChanged, this, [this] {
        if (actions_.recordings) {
            actions_.recordings->setChecked(!dock_->isHidden());
        }
    });
}

void ViewerWindow::setFullScreen(bool full) {
    menuBar()->setVisible(!full);
    toolBar_->setVisible(!full);
    controls_->setVisible(!full);
    statusBar()->setVisible(!full);
    const bool wanted = actions_.recordings->isChecked();
    dock_->setVisible(!full && wanted);
    actions_.recordings->setChecked(wanted); // hiding has changed it
    setWindowState(full ? windowState() | Qt::WindowFullScreen
                        : windowState() & ~Qt::WindowFullScreen);
}

void ViewerWindow::mouseDoubleClickEvent(QMouseEvent* /*event*/) {
    setFullScreen(!isFullScreen());
}

} // namespace ovelo
