#include "ui/EmailPage.h"

#include "app/MyDocument.h"
#include "platform/Settings.h"
#include "ui/Layouts.h"
#include "ui/SettingCheckBox.h"
#include "ui/SettingLineEdit.h"
#include "ui/Text.h"

#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include <optional>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr int kHighestPort = 65535;

std::optional<QString> refusalOf(const std::string& key, const QString& text) {
    if (key == "smtpPort" && !text.isEmpty()) {
        bool isNumber = false;
        const int port = text.toInt(&isNumber);
        if (!isNumber || port < 1 || port > kHighestPort) {
            return u"A port is a number from 1 to 65535; the former one is kept."_s;
        }
    }
    if (key == "smtpHost" && text.contains(QLatin1Char(' '))) {
        return u"A host's name has no blanks; the former one is kept."_s;
    }
    return std::nullopt;
}

} // namespace

EmailPage::EmailPage(MyDocument& document, Settings& settings)
    : document_(document)
    , settings_(settings) {
    hint_ = layouts::note();
    hint_->setObjectName(u"emailHint"_s);
    hint_->hide();
    sending_ = layouts::note(u"Sending an e-mail\u2026"_s);
    sending_->setObjectName(u"sendingEmail"_s);

    auto* content = new QVBoxLayout;
    content->setSpacing(8);
    content->addLayout(fields());
    content->addWidget(hint_);
    content->addWidget(buttons());
    content->addWidget(sending_);
    auto* column = new QVBoxLayout(this);
    column->addWidget(layouts::section(u"Your mail account"_s, content));
    column->addStretch(1);
    document_.propertyChanged().connect(sigc::mem_fun(*this, &EmailPage::documentChanged));
    settings_.changed().connect(sigc::mem_fun(*this, &EmailPage::refreshPort));
    refreshSending();
    refreshPort();
}

EmailPage::~EmailPage() {
    for (SettingLineEdit* line : lines_) {
        line->retire();
    }
}

SettingLineEdit* EmailPage::field(const char* key, const QString& accessibleName) {
    auto* line = new SettingLineEdit(
        settings_, key,
        [key = std::string(key)](const QString& text) { return refusalOf(key, text); },
        [this](const std::optional<QString>& refusal) { say(refusal.value_or(QString())); },
        SettingLineEdit::WhenEmpty::Remove);
    line->setAccessibleName(accessibleName);
    lines_.push_back(line);
    return line;
}

QFormLayout* EmailPage::fields() {
    SettingLineEdit* host = field("smtpHost", u"Mail server"_s);
    host->setPlaceholderText(u"smtp.example.org"_s);
    port_ = field("smtpPort", u"Mail server's port"_s);
    SettingLineEdit* email = field("smtpEmail", u"E-mail address for alerts"_s);
    SettingLineEdit* login = field("smtpLogin", u"Mail login"_s);
    SettingLineEdit* password = field("smtpPass", u"Mail password"_s);
    password->setEchoMode(QLineEdit::Password);
    password->keepBlanks();

    auto* form = layouts::form();
    form->addRow(u"&Host:"_s, host);
    form->addRow(u"Po&rt:"_s, port_);
    form->addRow(QString(),
                 new SettingCheckBox(settings_, "smtpSsl", u"Use a secure &connection"_s, true));
    form->addRow(u"E-mail &address:"_s, email);
    form->addRow(u"&Login:"_s, login);
    form->addRow(u"&Password:"_s, password);
    form->addRow(QString(), layouts::showPasswordBox(*password));
    return form;
}

QWidget* EmailPage::buttons() {
    test_ = new QPushButton(u"Send a Tes&t"_s);
    test_->setObjectName(u"testEmail"_s);
    test_->setAutoDefault(false);
    connect(test_, &QPushButton::clicked, this, [this] { document_.testEmail(); });
    auto* help = new QPushButton(u"H&elp..."_s);
    help->setObjectName(u"helpEmail"_s);
    help->setAutoDefault(false);
    connect(help, &QPushButton::clicked, this, [this] { document_.helpEmail(); });
    auto* buttons = new QWidget;
    auto* row = new QHBoxLayout(buttons);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(test_);
    row->addWidget(help);
    row->addStretch(1);
    return buttons;
}

void EmailPage::documentChanged(const std::string& property) {
    if (property == "sendingEmail") {
        refreshSending();
    }
}

void EmailPage::refreshSending() {
    sending_->setVisible(document_.isSendingEmail());
    // An alert that hangs is a reason to try the account.
    test_->setEnabled(!document_.isTestingEmail());
}

/// What an empty port stands for.
void EmailPage::refreshPort() {
    const bool isSecure = !settings_.contains("smtpSsl") || settings_.boolean("smtpSsl");
    port_->setPlaceholderText(isSecure ? u"465"_s : u"25"_s);
}

void EmailPage::say(const QString& text) {
    hint_->setText(text);
    hint_->setVisible(!text.isEmpty());
}

} // namespace ovelo
