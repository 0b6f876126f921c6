#include "ui/MainWindow.h"

#include "app/MyDocument.h"
#include "platform/Settings.h"
#include "ui/AutoConfigPanel.h"
#include "ui/CapturePreview.h"
#include "ui/Display.h"
#include "ui/EmailHelpPanel.h"
#include "ui/Layouts.h"
#include "ui/OptionsPanel.h"
#include "ui/PortField.h"
#include "ui/RotationBar.h"
#include "ui/SourcesPanel.h"
#include "ui/StatusPanel.h"
#include "ui/Text.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFormLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QStatusBar>
#include <QVBoxLayout>

#include <utility>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr int kHintMilliseconds = 8000;
constexpr int kSideWidth = 360;
constexpr QColor kRecords(0xd6, 0x45, 0x45);

QPushButton* pushButton(const QString& text, const QString& name, const QString& toolTip = {}) {
    auto* button = new QPushButton(text);
    button->setObjectName(name);
    button->setToolTip(toolTip);
    return button;
}

} // namespace

MainWindow::MainWindow(Environment environment)
    : environment_(std::move(environment))
    , errors_(*this, environment_.onScreen) {
    setObjectName(u"mainWindow"_s);
    setWindowTitle(u"Ovelo"_s);
    buildMenus();
    buildContent();
    environment_.document.propertyChanged().connect(
        sigc::mem_fun(*this, &MainWindow::documentChanged));
    environment_.document.network().propertyChanged().connect(
        sigc::hide(sigc::mem_fun(*port_, &PortField::refresh)));
    if (environment_.onScreen) {
        preview_->setSession(environment_.document.session());
    }
}

MainWindow::~MainWindow() = default;

void MainWindow::showUnlessHidden() {
    // Without a display it would be painted all the same, the meter twenty times a second.
    if (environment_.onScreen && !hiddenForAgent_) {
        show();
    }
}

void MainWindow::hideMainWindow() {
    hiddenForAgent_ = true;
    hide();
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // The window stays open for the life of the application.
    event->setAccepted(environment_.document.windowShouldClose());
    statusBar()->showMessage(u"Ovelo keeps watching. To end it, choose File, Quit (Ctrl+Q)."_s,
                             kHintMilliseconds);
}

QDialog* MainWindow::dialog(Panel panel) {
    MyDocument& document = environment_.document;
    switch (panel) {
    case Panel::Options:
        if (options_ == nullptr) {
            options_ = new OptionsPanel(document, environment_.settings, environment_.log, this);
        }
        return options_;
    case Panel::AutoConfig:
        if (autoConfig_ == nullptr) {
            autoConfig_ = new AutoConfigPanel(document, this);
        }
        return autoConfig_;
    case Panel::EmailHelp:
        if (emailHelp_ == nullptr) {
            emailHelp_ = new EmailHelpPanel(document, this);
        }
        return emailHelp_;
    case Panel::Mono:
        break;
    }
    return nullptr;
}

void MainWindow::orderFront(Panel panel) {
    if (QDialog* shown = dialog(panel)) {
        shown->show();
        shown->raise();
        shown->activateWindow();
    }
}

void MainWindow::orderOut(Panel panel) {
    if (QDialog* hidden = dialog(panel)) {
        hidden->hide();
    }
}

std::string MainWindow::emailText() const {
    return emailHelp_ == nullptr ? std::string() : emailHelp_->text();
}

void MainWindow::setEmailText(const std::string& text) {
    dialog(Panel::EmailHelp);
    emailHelp_->setText(text);
}

void MainWindow::presentError(const std::string& message, const std::string& informativeText) {
    errors_.present(message, informativeText);
}

void MainWindow::runAlert(const std::string& message, const std::string& informativeText) {
    if (!environment_.onScreen) {
        display::printAlert(message, informativeText);
        return;
    }
    QWidget* above = QApplication::activeModalWidget();
    QMessageBox alert(QMessageBox::Information, u"Ovelo"_s, toQt(message), QMessageBox::Ok,
                      above != nullptr ? above : this);
    alert.setObjectName(u"alert"_s);
    alert.setTextFormat(Qt::PlainText);
    alert.setInformativeText(toQt(informativeText));
    layouts::plainButtons(alert);
    alert.exec();
}

void MainWindow::buildContent() {
    auto* content = new QWidget;
    auto* row = new QHBoxLayout(content);
    row->setContentsMargins(16, 16, 16, 8);
    row->setSpacing(20);
    row->addWidget(pictureColumn(), 1);
    row->addWidget(sideColumn());
    setCentralWidget(content);
    statusBar()->setSizeGripEnabled(false);
    buildMarks();
    // A window that is shown without a size of its own gets two thirds of the screen at most.
    resize(sizeHint());
}

QWidget* MainWindow::pictureColumn() {
    preview_ = new CapturePreview;
    refreshPreview();
    auto* picture = new QWidget;
    auto* column = new QVBoxLayout(picture);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(12);
    column->addWidget(preview_, 1);
    column->addWidget(new RotationBar(environment_.document, environment_.settings));
    return picture;
}

QWidget* MainWindow::sideColumn() {
    auto* sources = new QVBoxLayout;
    sources->addWidget(new SourcesPanel(environment_.document));
    auto* status = new QVBoxLayout;
    status->addWidget(new StatusPanel(environment_.document.network()));

    auto* side = new QWidget;
    side->setFixedWidth(kSideWidth);
    auto* column = new QVBoxLayout(side);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(20);
    column->addWidget(layouts::section(u"Camera and microphone"_s, sources));
    column->addWidget(layouts::section(u"Status"_s, status));
    column->addWidget(serverPart());
    column->addStretch(1);
    column->addWidget(footPart());
    layouts::alignForms(*side);
    return side;
}

QWidget* MainWindow::serverPart() {
    MyDocument& document = environment_.document;
    port_ = new PortField(
        environment_.settings, [&document] { return document.network().port(); },
        [&document] { document.defaultButton(); });
    auto* form = layouts::form();
    auto* label = new QLabel(u"&Port:"_s);
    label->setBuddy(port_->editor());
    form->addRow(label, port_);

    QPushButton* automatic = pushButton(u"Set Up &Automatically..."_s, u"routerAuto"_s,
                                        u"Let Ovelo open the port on the router"_s);
    QPushButton* manual = pushButton(u"How &To..."_s, u"routerManual"_s,
                                     u"Read in the browser how it is done by hand"_s);
    connect(automatic, &QPushButton::clicked, this,
            [&document] { document.natAutoConfigButton(); });
    connect(manual, &QPushButton::clicked, this, [&document] { document.natManualConfigButton(); });
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    row->addWidget(automatic, 1);
    row->addWidget(manual);
    form->addRow(u"Router:"_s, row);
    return layouts::section(u"Access for viewers"_s, form);
}

QWidget* MainWindow::footPart() {
    QPushButton* options = pushButton(u"&Options..."_s, u"options"_s);
    QPushButton* recordings = pushButton(u"Recordin&gs Folder"_s, u"recordings"_s,
                                         u"Show the recorded movies in the file browser"_s);
    connect(options, &QPushButton::clicked, this, [this] { orderFront(Panel::Options); });
    connect(recordings, &QPushButton::clicked, this, &MainWindow::openRecordings);
    auto* foot = new QWidget;
    auto* row = new QHBoxLayout(foot);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(options);
    row->addWidget(recordings);
    return foot;
}

void MainWindow::openRecordings() {
    if (!environment_.document.browseButton()) {
        statusBar()->showMessage(u"The recordings folder could not be opened."_s,
                                 kHintMilliseconds);
    }
}

void MainWindow::buildMarks() {
    sendingMark_ = new QLabel(u"Sending an e-mail\u2026"_s);
    sendingMark_->setObjectName(u"sending"_s);
    statusBar()->addPermanentWidget(sendingMark_);
    recordingMark_ = new QLabel(u"\u25cf Recording"_s);
    recordingMark_->setObjectName(u"recording"_s);
    recordingMark_->setToolTip(
        u"A movie is being recorded: a viewer asked for it, or something moved."_s);
    QPalette colors = recordingMark_->palette();
    colors.setColor(QPalette::WindowText, kRecords);
    recordingMark_->setPalette(colors);
    statusBar()->addPermanentWidget(recordingMark_);
    refreshMarks();
}

void MainWindow::refreshMarks() {
    recordingMark_->setVisible(environment_.document.isRecording());
    sendingMark_->setVisible(environment_.document.isSendingEmail());
}

void MainWindow::documentChanged(const std::string& property) {
    if (property == "recording" || property == "sendingEmail") {
        refreshMarks();
        return;
    }
    if (property != "audioLevel") {
        refreshPreview();
    }
}

void MainWindow::refreshPreview() {
    const bool chosen = environment_.document.sources().selectedVideoDevice() != nullptr;
    if (!chosen) {
        preview_->clear();
    }
    preview_->setMessage(chosen ? u"No picture\n\nThe camera sends none at the moment."_s
                                : u"No picture\n\nConnect a camera, or choose one."_s);
}

} // namespace ovelo
