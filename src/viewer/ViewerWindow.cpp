#include "viewer/ViewerWindow.h"

#include "viewer/ControlBar.h"
#include "viewer/PasswordDialog.h"
#include "viewer/PictureView.h"
#include "viewer/ServerChooser.h"

#include <QAction>
#include <QLabel>
#include <QMenuBar>
#include <QStatusBar>
#include <QVBoxLayout>

#include <array>
#include <utility>

namespace ovelo {

namespace {

constexpr int kTick = 250; // milliseconds

struct CameraAction {
    const char* text;
    const char* operation; // of WebcamConfig
};

/// These change the server's settings, for every viewer.
constexpr std::array kCameraActions = {
    CameraAction{"Rotate &left", "RCC"}, // counter-clockwise
    CameraAction{"Rotate &right", "RC"},
    CameraAction{"&Mirror", "FV"}, // what is called vertical mirrors left to right
    CameraAction{"Turn &upside down", "FH"},
    CameraAction{"Camera &name on/off", "SD"},
    CameraAction{"&Time on/off", "ST"},
};

} // namespace

ViewerWindow::ViewerWindow(ViewerArguments arguments, ServerFinder finder)
    : arguments_(std::move(arguments))
    , finder_(std::move(finder))
    , passwordKnown_(arguments_.password.has_value()) {
    setWindowTitle(QStringLiteral("Ovelo Viewer"));
    buildContents();
    buildMenus();
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
    connect(&ticker_, &QTimer::timeout, this, [this] { tick(); });
    ticker_.start(kTick);
}

ViewerWindow::~ViewerWindow() {
    searcher_.request_stop();
    if (searcher_.joinable()) {
        searcher_.join();
    }
    link_.reset();
}

void ViewerWindow::buildContents() {
    view_ = new PictureView(this);
    controls_ = new ControlBar(arguments_.delay, arguments_.frameRate,
                               {
                                   [this](double seconds) {
                                       arguments_.delay = seconds;
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
                                   [this](const std::string& name) { chooseSource(name); },
                               },
                               this);
    auto* contents = new QWidget(this);
    auto* column = new QVBoxLayout(contents);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(view_, 1);
    column->addWidget(controls_);
    setCentralWidget(contents);
    serverLabel_ = new QLabel(this);
    rateLabel_ = new QLabel(this);
    sizeLabel_ = new QLabel(this);
    statusBar()->addWidget(serverLabel_, 1);
    statusBar()->addPermanentWidget(rateLabel_);
    statusBar()->addPermanentWidget(sizeLabel_);
    sinceRate_.start();
}

void ViewerWindow::buildMenus() {
    auto* server = menuBar()->addMenu(QStringLiteral("&Server"));
    addAction(server, QStringLiteral("&Choose…"), {QKeySequence::Open}, [this] { chooseServer(); });
    addAction(server, QStringLiteral("&Reconnect"), {QKeySequence::Refresh}, [this] {
        if (!arguments_.host.empty()) {
            connectTo(arguments_.host, arguments_.port);
        }
    });
    server->addSeparator();
    addAction(server, QStringLiteral("&Quit"), {QKeySequence(Qt::CTRL | Qt::Key_Q)},
              [this] { close(); });
    addCameraActions(menuBar()->addMenu(QStringLiteral("&Picture")));
    auto* view = menuBar()->addMenu(QStringLiteral("&View"));
    addAction(view, QStringLiteral("&Full screen"),
              {QKeySequence(Qt::Key_F), QKeySequence(Qt::Key_F11)},
              [this] { setFullScreen(!isFullScreen()); });
    addAction(view, QStringLiteral("&Leave full screen"), {QKeySequence(Qt::Key_Escape)},
              [this] { setFullScreen(false); });
}

void ViewerWindow::addCameraActions(QMenu* menu) {
    for (const CameraAction& action : kCameraActions) {
        addAction(menu, QLatin1String(action.text), {}, [this, operation = action.operation] {
            if (link_) {
                link_->client().configureWebcam(operation);
            }
        });
    }
    menu->addSeparator();
    for (const bool on : {true, false}) {
        const auto text =
            on ? QStringLiteral("Night &vision on") : QStringLiteral("Night vision &off");
        addAction(menu, text, {}, [this, on] {
            if (link_) {
                link_->client().setNightVision(on);
            }
        });
    }
}

void ViewerWindow::addAction(QMenu* menu, const QString& text, const QList<QKeySequence>& keys,
                             const std::function<void()>& action) {
    auto* item = menu->addAction(text);
    item->setShortcuts(keys);
    QWidget::addAction(item); // so that its keys work while the menu bar is hidden
    connect(item, &QAction::triggered, this, action);
}

void ViewerWindow::setFullScreen(bool full) {
    menuBar()->setVisible(!full);
    controls_->setVisible(!full);
    statusBar()->setVisible(!full);
    setWindowState(full ? windowState() | Qt::WindowFullScreen
                        : windowState() & ~Qt::WindowFullScreen);
}

void ViewerWindow::mouseDoubleClickEvent(QMouseEvent* /*event*/) {
    setFullScreen(!isFullScreen());
}

} // namespace ovelo
