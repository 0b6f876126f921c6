#include "app/MyDocument.h"
#include "support/AutoUpdater.h"
#include "support/Logger.h"
#include "ui/CapturePreview.h"
#include "ui/Layouts.h"
#include "ui/MainWindow.h"

#include <QApplication>
#include <QMenuBar>
#include <QMessageBox>
#include <QStatusBar>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr int kAboutIcon = 64;

void addEntry(QMenu& menu, const QString& text, const QKeySequence& keys, QObject* context,
              const std::function<void()>& action) {
    QAction* added = menu.addAction(text);
    added->setShortcut(keys);
    QObject::connect(added, &QAction::triggered, context, action);
}

} // namespace

void MainWindow::buildMenus() {
    buildFileMenu();
    buildCameraMenu();
    buildViewMenu();
    buildHelpMenu();
}

void MainWindow::buildFileMenu() {
    QMenu& menu = *menuBar()->addMenu(u"&File"_s);
    addEntry(menu, u"&Recordings Folder"_s, Qt::CTRL | Qt::Key_O, this,
             [this] { openRecordings(); });
    addEntry(menu, u"&Clear Event Log"_s, {}, this, [this] {
        environment_.log.clear();
        statusBar()->showMessage(u"The event log is empty."_s, 4000);
    });
    menu.addSeparator();
    addEntry(menu, u"&Options..."_s, Qt::CTRL | Qt::Key_Comma, this,
             [this] { orderFront(Panel::Options); });
    menu.addSeparator();
    addEntry(menu, u"&Quit"_s, Qt::CTRL | Qt::Key_Q, this, [this] { environment_.quit(); });
}

void MainWindow::buildCameraMenu() {
    MyDocument& document = environment_.document;
    QMenu& menu = *menuBar()->addMenu(u"&Camera"_s);
    addEntry(menu, u"Rotate &Left"_s, Qt::CTRL | Qt::Key_L, this,
             [&document] { document.rotateRight(); }); // Kept: counter-clockwise
    addEntry(menu, u"Rotate &Right"_s, Qt::CTRL | Qt::Key_R, this,
             [&document] { document.rotateLeft(); });
    menu.addSeparator();
    addEntry(menu, u"&Network Cameras..."_s, Qt::CTRL | Qt::Key_K, this,
             [&document] { document.ipCamListButton(); });
    addEntry(menu, u"Look for &Devices Again"_s, Qt::Key_F5, this,
             [&document] { document.sources().refreshDevices(); });
}

void MainWindow::buildViewMenu() {
    QMenu& menu = *menuBar()->addMenu(u"&View"_s);
    QAction* live = menu.addAction(u"&Live Picture"_s);
    live->setObjectName(u"livePicture"_s);
    live->setCheckable(true);
    live->setChecked(true);
    connect(live, &QAction::toggled, this, [this](bool on) { preview_->setLive(on); });
    menu.addSeparator();
    addEntry(menu, u"Automatic &Router Configuration"_s, {}, this,
             [this] { environment_.document.natAutoConfigButton(); });
}

void MainWindow::buildHelpMenu() {
    QMenu& menu = *menuBar()->addMenu(u"&Help"_s);
    addEntry(menu, u"&E-mail Settings"_s, {}, this, [this] { environment_.document.helpEmail(); });
    addEntry(menu, u"&Router Set-up on the Web"_s, {}, this,
             [this] { environment_.document.natManualConfigButton(); });
    menu.addSeparator();
    if (AutoUpdater* updates = environment_.updates) {
        addEntry(menu, u"&Check for Updates"_s, {}, this,
                 [updates] { updates->checkForUpdates(); });
        addEntry(menu, u"&Forget Registered Phones..."_s, {}, this,
                 [updates] { updates->clearDevices(); });
        menu.addSeparator();
    }
    addEntry(menu, u"&About Ovelo"_s, {}, this, [this] { about(); });
}

void MainWindow::about() {
    auto* box = new QMessageBox(this);
    box->setObjectName(u"aboutBox"_s);
    box->setWindowTitle(u"About Ovelo"_s);
    box->setIconPixmap(QApplication::windowIcon().pixmap(kAboutIcon, kAboutIcon));
    box->setText(u"<b>Ovelo %1</b>"_s.arg(QCoreApplication::applicationVersion()));
    box->setInformativeText(
        u"Turns this computer and its camera into a surveillance camera that you "
        "watch from your phone."_s);
    box->setStandardButtons(QMessageBox::Ok);
    box->setAttribute(Qt::WA_DeleteOnClose);
    layouts::plainButtons(*box);
    box->open();
}

} // namespace ovelo
