#include "viewer/Icons.h"
#include "viewer/ViewerWindow.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QSlider>
#include <QToolBar>
#include <QToolButton>

#include <array>

namespace ovelo {

namespace {

constexpr int kVolumeWidth = 90; // logical pixels
constexpr int kVolumeStep = 10;  // percent

struct CameraAction {
    const char* text;
    const char* toolTip;
    const char* operation; // of WebcamConfig
};

/// These change the server's settings, for every viewer.
constexpr std::array kCameraActions = {
    // What is called vertical mirrors left to right.
    CameraAction{"&Mirror", "Mirrors left and right, for every viewer", "FV"},
    CameraAction{"Turn &upside down", "Turns the picture upside down, for every viewer", "FH"},
    CameraAction{"Camera &name on/off", "The camera's name in the picture, for every viewer", "SD"},
    CameraAction{"&Time on/off", "Date and time in the picture, for every viewer", "ST"},
};

} // namespace

QAction* ViewerWindow::makeAction(const QString& text, const QString& toolTip,
                                  const QList<QKeySequence>& keys,
                                  const std::function<void()>& action) {
    auto* item = new QAction(text, this);
    item->setShortcuts(keys);
    const QString key =
        keys.isEmpty()
            ? QString()
            : QStringLiteral(" (%1)").arg(keys.front().toString(QKeySequence::NativeText));
    item->setToolTip(toolTip + key);
    QWidget::addAction(item); // so that its keys work while the menu bar is hidden
    connect(item, &QAction::triggered, this, action);
    return item;
}

QAction* ViewerWindow::makeSwitch(const QString& text, const QString& toolTip,
                                  const QList<QKeySequence>& keys,
                                  const std::function<void(bool)>& action) {
    auto* item = makeAction(text, toolTip, keys, [] {});
    item->setCheckable(true);
    connect(item, &QAction::triggered, this, action);
    return item;
}

void ViewerWindow::buildActions() {
    const auto ctrl = [](Qt::Key key) { return QList<QKeySequence>{Qt::CTRL | key}; };
    const auto turn = [this](const char* operation) {
        return [this, operation] {
            if (link_) {
                link_->client().configureWebcam(operation);
            }
        };
    };
    actions_.listen = makeSwitch(QStringLiteral("&Listen"),
                                 QStringLiteral("Plays the sound of the server's microphone"),
                                 ctrl(Qt::Key_L), [this](bool on) { listen(on); });
    actions_.mute =
        makeSwitch(QStringLiteral("M&ute"),
                   QStringLiteral("Silent here, while the server goes on sending sound"),
                   ctrl(Qt::Key_M), [this](bool on) { mute(on); });
    actions_.inStep =
        makeAction(QStringLiteral("Bring picture in &step"),
                   QStringLiteral("Holds pictures back for as long as the sound takes"),
                   ctrl(Qt::Key_J), [this] { bringInStep(); });
    actions_.record = makeSwitch(
        QStringLiteral("&Record"),
        QStringLiteral("Asks the server to record. It does not tell whether it does: shown is what "
                       "was asked for here. A recording also ends when any viewer leaves."),
        ctrl(Qt::Key_E), [this](bool on) { record(on); });
    actions_.recordings =
        makeSwitch(QStringLiteral("Recor&dings"), QStringLiteral("Shows the server's recordings"),
                   {QKeySequence(Qt::Key_F9)}, [this](bool on) { showRecordings(on); });
    actions_.live = makeAction(QStringLiteral("&Back to live"),
                               QStringLiteral("Ends the playback and shows the camera"),
                               ctrl(Qt::Key_B), [this] { backToLive(); });
    actions_.nightVision = makeSwitch(
        QStringLiteral("Night &vision"),
        QStringLiteral(
            "Brightens dark pictures, for every viewer. The server does not tell whether "
            "it is on: shown is what was asked for here."),
        ctrl(Qt::Key_N), [this](bool on) {
            if (link_) {
                link_->client().setNightVision(on);
            }
        });
    actions_.turnLeft =
        makeAction(QStringLiteral("Rotate &left"),
                   QStringLiteral("Turns the picture to the left, for every viewer"),
                   {QKeySequence(Qt::CTRL | Qt::Key_BracketLeft)}, turn("RCC"));
    actions_.turnRight =
        makeAction(QStringLiteral("Rotate &right"),
                   QStringLiteral("Turns the picture to the right, for every viewer"),
                   {QKeySequence(Qt::CTRL | Qt::Key_BracketRight)}, turn("RC"));
}

void ViewerWindow::buildMenus() {
    buildServerMenu();
    buildPictureMenu();
    buildSoundMenu();
    auto* recordings = menuBar()->addMenu(QStringLiteral("&Recording"));
    recordings->addActions({actions_.record, actions_.recordings, actions_.live});
    buildViewMenu();
}

void ViewerWindow::buildServerMenu() {
    auto* menu = menuBar()->addMenu(QStringLiteral("&Server"));
    menu->addAction(makeAction(QStringLiteral("&Choose…"), QStringLiteral("Another server"),
                               {QKeySequence::Open}, [this] { chooseServer(); }));
    menu->addAction(makeAction(QStringLiteral("&Reconnect"), QStringLiteral("Connects anew"),
                               {QKeySequence(Qt::Key_F5)}, [this] {
                                   if (!arguments_.host.empty()) {
                                       connectTo(arguments_.host, arguments_.port);
                                   }
                               }));
    actions_.motion = makeAction(QStringLiteral("&Motion detection…"),
                                 QStringLiteral("What the server does when something moves"),
                                 {QKeySequence(Qt::CTRL | Qt::Key_D)}, [this] { askForMotion(); });
    menu->addAction(actions_.motion);
    menu->addSeparator();
    menu->addAction(makeAction(QStringLiteral("&Quit"), QStringLiteral("Ends the viewer"),
                               {QKeySequence(Qt::CTRL | Qt::Key_Q)}, [this] { close(); }));
}

void ViewerWindow::buildPictureMenu() {
    auto* menu = menuBar()->addMenu(QStringLiteral("&Picture"));
    menu->addActions({actions_.turnLeft, actions_.turnRight});
    for (const CameraAction& action : kCameraActions) {
        actions_.camera.append(makeAction(QLatin1String(action.text), QLatin1String(action.toolTip),
                                          {}, [this, operation = action.operation] {
                                              if (link_) {
                                                  link_->client().configureWebcam(operation);
                                              }
                                          }));
    }
    menu->addActions(actions_.camera);
    menu->addSeparator();
    menu->addAction(actions_.nightVision);
}

void ViewerWindow::buildSoundMenu() {
    auto* menu = menuBar()->addMenu(QStringLiteral("S&ound"));
    menu->addActions({actions_.listen, actions_.mute});
    const auto change = [this](int percent) {
        return [this, percent] { volume_->setValue(volume_->value() + percent); };
    };
    menu->addAction(makeAction(QStringLiteral("&Louder"), QStringLiteral("Louder"),
                               {QKeySequence(Qt::CTRL | Qt::Key_Up)}, change(kVolumeStep)));
    menu->addAction(makeAction(QStringLiteral("&Quieter"), QStringLiteral("Quieter"),
                               {QKeySequence(Qt::CTRL | Qt::Key_Down)}, change(-kVolumeStep)));
    menu->addSeparator();
    menu->addAction(actions_.inStep);
}

void ViewerWindow::buildViewMenu() {
    auto* menu = menuBar()->addMenu(QStringLiteral("&View"));
    menu->addAction(makeAction(QStringLiteral("&Full screen"),
                               QStringLiteral("Nothing but the picture"),
                               {QKeySequence(Qt::Key_F), QKeySequence(Qt::Key_F11)},
                               [this] { setFullScreen(!isFullScreen()); }));
    menu->addAction(makeAction(QStringLiteral("&Leave full screen"), QStringLiteral("The window"),
                               {QKeySequence(Qt::Key_Escape)}, [this] { setFullScreen(false); }));
}

void ViewerWindow::buildToolBar() {
    actions_.listen->setIcon(viewer_icons::speaker(palette()));
    actions_.mute->setIcon(viewer_icons::mutedSpeaker(palette()));
    actions_.record->setIcon(viewer_icons::record(palette()));
    actions_.recordings->setIcon(viewer_icons::recordings(palette()));
    actions_.nightVision->setIcon(viewer_icons::moon(palette()));
    actions_.turnLeft->setIcon(viewer_icons::turnLeft(palette()));
    actions_.turnRight->setIcon(viewer_icons::turnRight(palette()));
    volume_ = new QSlider(Qt::Horizontal, this);
    volume_->setRange(0, 100);
    volume_->setValue(100);
    volume_->setPageStep(kVolumeStep);
    volume_->setMaximumWidth(kVolumeWidth);
    volume_->setObjectName(QStringLiteral("volume"));
    volume_->setAccessibleName(QStringLiteral("Volume"));
    volume_->setToolTip(QStringLiteral("Volume (Ctrl+Up, Ctrl+Down)"));
    connect(volume_, &QSlider::valueChanged, this, [this](int percent) { setVolume(percent); });

    toolBar_ = addToolBar(QStringLiteral("Controls"));
    toolBar_->setMovable(false);
    toolBar_->setContextMenuPolicy(Qt::PreventContextMenu); // it could hide the bar
    toolBar_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    toolBar_->addActions({actions_.listen, actions_.mute});
    toolBar_->addWidget(volume_);
    toolBar_->addSeparator();
    toolBar_->addActions({actions_.record, actions_.recordings});
    toolBar_->addSeparator();
    toolBar_->addActions({actions_.nightVision, actions_.turnLeft, actions_.turnRight});
    for (QAction* action : {actions_.mute, actions_.turnLeft, actions_.turnRight}) {
        auto* button = qobject_cast<QToolButton*>(toolBar_->widgetForAction(action));
        button->setToolButtonStyle(Qt::ToolButtonIconOnly);
        button->setAccessibleName(QString(action->text()).remove(QLatin1Char('&')));
    }
}

} // namespace ovelo
