#include "ui/AccountWindow.h"

#include "platform/Settings.h"
#include "server/Network.h"
#include "support/MyUtil.h"
#include "ui/Layouts.h"
#include "ui/Text.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

#include <utility>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr int kFieldWidth = 340;

} // namespace

AccountWindow::AccountWindow(Settings& settings) : settings_(settings) {
    setObjectName(u"accountWindow"_s);
    setWindowTitle(u"Welcome to Ovelo"_s);
    build();
    settings_.changed().connect(sigc::mem_fun(*this, &AccountWindow::accountStored));
}

bool AccountWindow::runModal(Network& network) {
    return ask([&network](const std::string& email, const std::string& password) {
        return network.setButtonPressed(email, password);
    });
}

bool AccountWindow::ask(Answer answer) {
    if (cancelled_) {
        return false;
    }
    answer_ = std::move(answer);
    knownEmail_ = settings_.string("email").value_or("");
    email_->setText(toQt(knownEmail_));
    password_->setText(toQt(settings_.string("password").value_or("")));
    email_->setFocus();
    const int result = exec();
    answer_ = nullptr;
    return result == Accepted && !cancelled_;
}

void AccountWindow::showAlert(const std::string& message, const std::string& informativeText) {
    // Not a nested loop: the answer has been judged by then, and nobody waits for this button.
    auto* alert =
        new QMessageBox(QMessageBox::Warning, windowTitle(), toQt(message), QMessageBox::Ok, this);
    alert->setInformativeText(toQt(informativeText));
    alert->setAttribute(Qt::WA_DeleteOnClose);
    layouts::plainButtons(*alert);
    alert->open();
}

void AccountWindow::cancel() {
    cancelled_ = true;
    if (isVisible()) {
        done(Rejected);
    }
}

void AccountWindow::reject() {
    QDialog::reject();
    askToQuit();
}

void AccountWindow::submit() {
    knownEmail_ = fromQt(email_->text().trimmed());
    if (answer_ && answer_(knownEmail_, fromQt(password_->text()))) {
        accept();
        return;
    }
    email_->setFocus();
    email_->selectAll();
}

void AccountWindow::accountStored() {
    const std::string email = settings_.string("email").value_or("");
    if (isVisible() && email != knownEmail_ && MyUtil::isAccountEmail(email)) {
        accept();
    }
}

void AccountWindow::build() {
    email_ = new QLineEdit;
    email_->setObjectName(u"accountEmail"_s);
    email_->setAccessibleName(u"Account e-mail"_s);
    email_->setPlaceholderText(u"you@example.org"_s);
    email_->setMinimumWidth(kFieldWidth);
    email_->setInputMethodHints(Qt::ImhEmailCharactersOnly);
    password_ = new QLineEdit;
    password_->setObjectName(u"accountPassword"_s);
    password_->setAccessibleName(u"Viewer password"_s);
    password_->setEchoMode(QLineEdit::Password);

    auto* form = layouts::form();
    form->addRow(u"Account &e-mail:"_s, email_);
    form->addRow(QString(), layouts::note(u"Your phone finds this computer by it. Enter the same "
                                          "address in the viewer on your phone."_s));
    form->addRow(u"Viewer &password:"_s, password_);
    form->addRow(QString(), layouts::note(u"Whoever wants to watch has to know it. Choose one "
                                          "that you use nowhere else."_s));
    form->addRow(QString(), layouts::showPasswordBox(*password_));

    auto* buttons = new QDialogButtonBox;
    QPushButton* ok = buttons->addButton(QDialogButtonBox::Ok);
    ok->setDefault(true);
    QPushButton* quit = buttons->addButton(u"&Quit"_s, QDialogButtonBox::RejectRole);
    quit->setAutoDefault(false);
    auto* quitKey = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q), this);
    connect(quitKey, &QShortcut::activated, this, &AccountWindow::reject);
    connect(buttons, &QDialogButtonBox::accepted, this, &AccountWindow::submit);
    connect(buttons, &QDialogButtonBox::rejected, this, &AccountWindow::reject);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(24, 20, 24, 20);
    column->setSpacing(16);
    column->addLayout(layouts::banner(
        u"Welcome to Ovelo"_s, u"Two things, and this computer becomes a camera that you watch "
                               "from your phone. Both can be changed later in the options."_s));
    column->addLayout(form);
    column->addWidget(buttons);
    layouts::plainButtons(*this);
    column->setSizeConstraint(QLayout::SetFixedSize);
}

} // namespace ovelo
