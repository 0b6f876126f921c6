#include "ui/CameraItemPanel.h"

#include "ipcam/IPCamItemController.h"
#include "ui/Layouts.h"
#include "ui/Text.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr int kFieldWidth = 360;

} // namespace

CameraItemPanel::CameraItemPanel(IPCamItemController& controller, QWidget* window)
    : QDialog(window)
    , controller_(controller) {
    setObjectName(u"cameraItemPanel"_s);
    setWindowModality(Qt::WindowModal);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 16, 20, 16);
    column->setSpacing(12);
    column->addWidget(fields());
    testing_ = layouts::note(u"Asking the camera for a picture\u2026"_s);
    testing_->setObjectName(u"testingCamera"_s);
    column->addWidget(testing_);
    column->addWidget(buttons());
    layouts::plainButtons(*this);
    column->setSizeConstraint(QLayout::SetFixedSize);

    controller_.camChanged().connect(sigc::mem_fun(*this, &CameraItemPanel::showCam));
    controller_.testingChanged().connect(sigc::mem_fun(*this, &CameraItemPanel::refreshTesting));
    controller_.orderFront().connect(sigc::mem_fun(*this, &CameraItemPanel::orderFront));
    controller_.orderOut().connect(sigc::mem_fun(*this, &CameraItemPanel::hide));
    showCam();
    refreshTesting();
}

QLineEdit* CameraItemPanel::field(const char* name, const QString& accessibleName) {
    auto* edit = new QLineEdit;
    edit->setObjectName(QLatin1String(name));
    edit->setAccessibleName(accessibleName);
    edit->setMinimumWidth(kFieldWidth);
    connect(edit, &QLineEdit::textEdited, this, [this] { takeCam(); });
    return edit;
}

QWidget* CameraItemPanel::fields() {
    name_ = field("cameraName", u"Camera's name"_s);
    name_->setPlaceholderText(u"Front door"_s);
    url_ = field("cameraUrl", u"Address of the camera's picture or stream"_s);
    url_->setPlaceholderText(u"http://192.168.1.20/image.jpg"_s);
    user_ = field("cameraUser", u"User name for the camera"_s);
    password_ = field("cameraPassword", u"Password for the camera"_s);
    password_->setEchoMode(QLineEdit::Password);

    auto* fields = new QWidget;
    auto* form = layouts::form();
    fields->setLayout(form);
    form->addRow(u"&Name:"_s, name_);
    form->addRow(u"&URL:"_s, url_);
    form->addRow(QString(), layouts::note(u"Where the camera gives a JPEG picture or an MJPEG "
                                          "stream; its manual tells."_s));
    form->addRow(u"User na&me:"_s, user_);
    form->addRow(u"&Password:"_s, password_);
    form->addRow(QString(), layouts::showPasswordBox(*password_));
    return fields;
}

QWidget* CameraItemPanel::buttons() {
    auto* buttons = new QDialogButtonBox;
    test_ = buttons->addButton(u"&Test"_s, QDialogButtonBox::ActionRole);
    test_->setObjectName(u"testCamera"_s);
    test_->setAutoDefault(false);
    QPushButton* ok = buttons->addButton(QDialogButtonBox::Ok);
    ok->setDefault(true);
    QPushButton* cancel = buttons->addButton(QDialogButtonBox::Cancel);
    cancel->setAutoDefault(false);
    connect(test_, &QPushButton::clicked, this, [this] { controller_.testAction(); });
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { controller_.okAction(); });
    connect(buttons, &QDialogButtonBox::rejected, this, &CameraItemPanel::reject);
    return buttons;
}

void CameraItemPanel::reject() {
    controller_.cancelAction();
}

void CameraItemPanel::showCam() {
    const CameraRecord& cam = controller_.cam();
    name_->setText(toQt(cam.name));
    url_->setText(toQt(cam.urlString));
    user_->setText(toQt(cam.userId));
    password_->setText(toQt(cam.password));
    setWindowTitle(controller_.isEditingNewCam() ? u"New Network Camera"_s : u"Network Camera"_s);
}

void CameraItemPanel::takeCam() {
    controller_.setCam({fromQt(name_->text()), fromQt(url_->text()), fromQt(user_->text()),
                        fromQt(password_->text())});
}

void CameraItemPanel::refreshTesting() {
    testing_->setVisible(controller_.isTesting());
    test_->setEnabled(!controller_.isTesting());
}

void CameraItemPanel::orderFront() {
    show();
    raise();
    activateWindow();
    name_->setFocus();
}

} // namespace ovelo
