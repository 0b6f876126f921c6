#include "ui/Layouts.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ovelo::layouts {

namespace {

constexpr int kBannerIcon = 56;
constexpr int kNoteWidth = 300;

} // namespace

QFormLayout* form() {
    auto* form = new QFormLayout;
    form->setContentsMargins(0, 0, 0, 0);
    form->setHorizontalSpacing(12);
    form->setVerticalSpacing(8);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    return form;
}

QLabel* note(const QString& text) {
    auto* label = new QLabel(text);
    label->setWordWrap(true);
    label->setMinimumWidth(kNoteWidth);
    label->setForegroundRole(QPalette::PlaceholderText);
    scaleFont(*label, 0.92, false);
    return label;
}

QWidget* section(const QString& title, QLayout* content) {
    auto* heading = new QLabel(title);
    scaleFont(*heading, 1.05, true);
    auto* section = new QWidget;
    section->setAccessibleName(title);
    auto* column = new QVBoxLayout(section);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(8);
    column->addWidget(heading);
    column->addLayout(content);
    return section;
}

QBoxLayout* banner(const QString& title, const QString& text) {
    auto* icon = new QLabel;
    icon->setPixmap(QApplication::windowIcon().pixmap(kBannerIcon, kBannerIcon));
    auto* heading = new QLabel(title);
    scaleFont(*heading, 1.5, true);
    auto* sentence = new QLabel(text);
    sentence->setWordWrap(true);
    sentence->setMinimumWidth(kNoteWidth);

    auto* words = new QVBoxLayout;
    words->setSpacing(4);
    words->addWidget(heading);
    words->addWidget(sentence);
    auto* row = new QHBoxLayout;
    row->setSpacing(16);
    row->addWidget(icon, 0, Qt::AlignTop);
    row->addLayout(words, 1);
    return row;
}

void alignForms(const QWidget& window) {
    QList<QWidget*> labels;
    int widest = 0;
    for (const QFormLayout* form : window.findChildren<QFormLayout*>()) {
        for (int row = 0; row < form->rowCount(); ++row) {
            const QLayoutItem* item = form->itemAt(row, QFormLayout::LabelRole);
            if (item != nullptr && item->widget() != nullptr) {
                labels.append(item->widget());
                widest = std::max(widest, item->sizeHint().width());
            }
        }
    }
    for (QWidget* label : labels) {
        label->setMinimumWidth(widest);
    }
}

void plainButtons(const QWidget& dialog) {
    for (const QDialogButtonBox* box : dialog.findChildren<QDialogButtonBox*>()) {
        for (QAbstractButton* button : box->buttons()) {
            button->setIcon({});
        }
    }
}

QCheckBox* showPasswordBox(QLineEdit& password) {
    auto* box = new QCheckBox(u"&Show password"_s);
    QObject::connect(box, &QCheckBox::toggled, &password, [&password](bool shown) {
        password.setEchoMode(shown ? QLineEdit::Normal : QLineEdit::Password);
    });
    return box;
}

void scaleFont(QLabel& label, double factor, bool bold) {
    QFont font = label.font();
    font.setPointSizeF(font.pointSizeF() * factor);
    font.setBold(bold);
    label.setFont(font);
}

} // namespace ovelo::layouts
