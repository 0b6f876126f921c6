#include "ui/OptionsPanel.h"

#include "app/MyDocument.h"
#include "platform/Folders.h"
#include "platform/Settings.h"
#include "support/Logger.h"
#include "support/MyUtil.h"
#include "ui/AlertsPage.h"
#include "ui/DriverBar.h"
#include "ui/EmailPage.h"
#include "ui/Layouts.h"
#include "ui/SettingCheckBox.h"
#include "ui/SettingLineEdit.h"
#include "ui/Text.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

#include <optional>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

std::optional<QString> refusalOfEmail(const QString& email) {
    if (MyUtil::valideEmailAddress(fromQt(email))) {
        return std::nullopt;
    }
    return u"That is not an e-mail address; the former one is kept."_s;
}

std::optional<QString> refusalOfPassword(const QString& password) {
    if (!password.isEmpty()) {
        return std::nullopt;
    }
    return u"Without a password anybody could watch; the former one is kept."_s;
}

QVBoxLayout* column() {
    auto* column = new QVBoxLayout;
    column->setSpacing(6);
    return column;
}

} // namespace

OptionsPanel::OptionsPanel(MyDocument& document, Settings& settings, Logger& log, QWidget* window,
                           DriverSetting* driver)
    : QDialog(window)
    , document_(document)
    , settings_(settings)
    , log_(log)
    , driver_(driver) {
    setObjectName(u"optionsPanel"_s);
    setWindowTitle(u"Ovelo Options"_s);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    buttons->button(QDialogButtonBox::Close)->setAutoDefault(false);
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { document_.closeOption(); });

    auto* pages = new QTabWidget;
    pages->setObjectName(u"optionPages"_s);
    pages->addTab(generalPage(), u"General"_s);
    pages->addTab(new AlertsPage(settings_, [this] { return document_.motionLevel(); }),
                  u"Motion"_s);
    pages->addTab(new EmailPage(document_, settings_), u"E-mail"_s);
    auto* column = new QVBoxLayout(this);
    column->addWidget(pages);
    column->addWidget(buttons);
    layouts::alignForms(*this);
    layouts::plainButtons(*this);
    column->setSizeConstraint(QLayout::SetFixedSize);
}

OptionsPanel::~OptionsPanel() {
    email_->retire();
    password_->retire();
}

void OptionsPanel::addBox(QLayout& layout, const char* key, const QString& label, bool whenAbsent) {
    layout.addWidget(new SettingCheckBox(settings_, key, label, whenAbsent));
}

QWidget* OptionsPanel::generalPage() {
    auto* page = new QWidget;
    auto* parts = new QVBoxLayout(page);
    parts->setSpacing(16);
    for (QWidget* part : {picturePart(), accountPart(), logPart(), routerPart()}) {
        parts->addWidget(part);
    }
    if (driver_ != nullptr) {
        parts->addWidget(driverPart());
    }
    parts->addStretch(1);
    return page;
}

QWidget* OptionsPanel::picturePart() {
    QVBoxLayout* boxes = column();
    addBox(*boxes, "night_vision", u"&Night vision: brighter, in green"_s);
    addBox(*boxes, "show_timestamp", u"Write &date and time on the picture"_s);
    addBox(*boxes, "show_devicename", u"Write the camera's na&me on the picture"_s);
    // Kept: the names of these two keys and their effects.
    addBox(*boxes, "flip_horizontally", u"Turn the picture &upside down (mirror top to bottom)"_s);
    addBox(*boxes, "flip_vertically", u"Mirror the picture le&ft to right"_s);
    return layouts::section(u"Picture that viewers get"_s, boxes);
}

QWidget* OptionsPanel::accountPart() {
    QLabel* hint = layouts::note();
    hint->setObjectName(u"accountHint"_s);
    hint->hide();
    const auto outcome = [hint](const std::optional<QString>& refusal) {
        hint->setText(refusal.value_or(QString()));
        hint->setVisible(refusal.has_value());
    };
    email_ = new SettingLineEdit(settings_, "email", refusalOfEmail, outcome);
    email_->setAccessibleName(u"Account e-mail"_s);
    password_ = new SettingLineEdit(settings_, "password", refusalOfPassword, outcome);
    password_->setAccessibleName(u"Viewer password"_s);
    password_->setEchoMode(QLineEdit::Password);
    password_->keepBlanks();

    auto* form = layouts::form();
    form->addRow(u"Account &e-mail:"_s, email_);
    form->addRow(u"Viewer &password:"_s, password_);
    form->addRow(QString(), layouts::showPasswordBox(*password_));
    form->addRow(hint);
    return layouts::section(u"Account"_s, form);
}

QWidget* OptionsPanel::logPart() {
    QVBoxLayout* boxes = column();
    addBox(*boxes, "log_events", u"Write what happens to an event lo&g"_s);
    auto* clear = new QPushButton(u"&Clear Log"_s);
    clear->setObjectName(u"clearLog"_s);
    clear->setAutoDefault(false);
    connect(clear, &QPushButton::clicked, this, [this] { log_.clear(); });
    auto* row = new QHBoxLayout;
    row->addWidget(layouts::note(toQt((folders::documents() / "ovelo.log").string())), 1);
    row->addWidget(clear);
    boxes->addLayout(row);
    return layouts::section(u"Event log"_s, boxes);
}

QWidget* OptionsPanel::routerPart() {
    QVBoxLayout* boxes = column();
    addBox(*boxes, "autoPortMap", u"Have the &router let viewers in from the internet"_s, true);
    return layouts::section(u"Router"_s, boxes);
}

QWidget* OptionsPanel::driverPart() {
    QVBoxLayout* content = column();
    content->addWidget(new DriverBar(*driver_));
    return layouts::section(u"Driver for network cameras"_s, content);
}

} // namespace ovelo
