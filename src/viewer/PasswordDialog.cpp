#include "viewer/PasswordDialog.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <utility>

namespace ovelo {

namespace {

constexpr int kLongestPassword = 500; // characters; its line stays one that servers accept

} // namespace

PasswordDialog::PasswordDialog(std::function<void(const std::string&)> answer, QWidget* parent)
    : QDialog(parent)
    , answer_(std::move(answer))
    , question_(new QLabel(this))
    , password_(new QLineEdit(this)) {
    setWindowTitle(QStringLiteral("Password"));
    question_->setWordWrap(true);
    password_->setEchoMode(QLineEdit::Password);
    password_->setMaxLength(kLongestPassword);
    password_->setAccessibleName(QStringLiteral("Password"));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    auto* ok = buttons->button(QDialogButtonBox::Ok);
    ok->setEnabled(false);
    auto* column = new QVBoxLayout(this);
    column->addWidget(question_);
    column->addWidget(password_);
    column->addWidget(buttons);
    connect(password_, &QLineEdit::textChanged, this,
            [ok](const QString& text) { ok->setEnabled(!text.isEmpty()); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        accept();
        answer_(password_->text().toStdString());
    });
}

void PasswordDialog::ask(const QString& server, bool wrong) {
    const QString question = QStringLiteral("Password of %1:").arg(server);
    question_->setText(wrong ? QStringLiteral("That password is wrong.\n") + question : question);
    password_->clear();
    password_->setFocus();
    open();
}

} // namespace ovelo
