#include "ui/EmailHelpPanel.h"

#include "app/MyDocument.h"
#include "ui/Layouts.h"
#include "ui/Text.h"

#include <QDialogButtonBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace ovelo {

EmailHelpPanel::EmailHelpPanel(MyDocument& document, QWidget* window) : QDialog(window) {
    setObjectName(u"emailHelpPanel"_s);
    setWindowTitle(u"E-mail Help"_s);
    text_ = new QPlainTextEdit;
    text_->setObjectName(u"emailText"_s);
    text_->setAccessibleName(u"Help for e-mail settings"_s);
    text_->setReadOnly(true);
    text_->setTabChangesFocus(true);
    text_->document()->setDocumentMargin(12);
    text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, [&document] { document.helpClose(); });

    auto* column = new QVBoxLayout(this);
    column->addWidget(text_);
    column->addWidget(buttons);
    layouts::plainButtons(*this);
    resize(560, 480);
}

std::string EmailHelpPanel::text() const {
    return fromQt(text_->toPlainText());
}

void EmailHelpPanel::setText(const std::string& text) {
    text_->setPlainText(toQt(text));
}

} // namespace ovelo
