#include "viewer/MotionDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>

#include <utility>

namespace ovelo {

MotionDialog::MotionDialog(std::function<void(const MotionSettings&)> accepted, QWidget* parent)
    : QDialog(parent)
    , accepted_(std::move(accepted))
    , sense_(new QComboBox(this))
    , email_(new QCheckBox(QStringLiteral("Send an &e-mail"), this))
    , record_(new QCheckBox(QStringLiteral("&Record"), this))
    , push_(new QCheckBox(QStringLiteral("Notify &phones"), this)) {
    setWindowTitle(QStringLiteral("Motion detection"));
    // The words are those of the protocol.
    sense_->addItems({QStringLiteral("Low"), QStringLiteral("Medium"), QStringLiteral("High")});
    sense_->setAccessibleName(QStringLiteral("Sensitivity"));
    sense_->setToolTip(QStringLiteral("High: already small movements count"));
    build();
}

void MotionDialog::build() {
    auto* note = new QLabel(
        QStringLiteral("These settings belong to the server and hold for every viewer. The server "
                       "does not tell its sensitivity, so choose the one you want."),
        this);
    note->setWordWrap(true);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    auto* form = new QFormLayout(this);
    form->addRow(QStringLiteral("&Sensitivity"), sense_);
    form->addRow(QStringLiteral("When something moves"), email_);
    form->addRow(QString(), record_);
    form->addRow(QString(), push_);
    form->addRow(note);
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        accept();
        accepted_({sense_->currentText().toStdString(), email_->isChecked(), record_->isChecked(),
                   push_->isChecked()});
    });
}

void MotionDialog::ask(const MotionSettings& current) {
    sense_->setCurrentText(QString::fromStdString(current.sense));
    email_->setChecked(current.email);
    record_->setChecked(current.record);
    push_->setChecked(current.push);
    sense_->setFocus();
    open();
}

} // namespace ovelo
