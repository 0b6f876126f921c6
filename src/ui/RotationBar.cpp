#include "ui/RotationBar.h"

#include "app/MyDocument.h"
#include "platform/Settings.h"
#include "ui/Icons.h"
#include "ui/Layouts.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include <array>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr int kQuarterTurns = 4;

QString turnText(int quarterTurns) {
    switch (quarterTurns % kQuarterTurns) {
    case 1:
        return u"turned a quarter counter-clockwise"_s;
    case 2:
        return u"turned upside down"_s;
    case 3:
        return u"turned a quarter clockwise"_s;
    default:
        return {};
    }
}

/// What the settings do to the picture on its way to viewers, in words.
QString effectOf(const Settings& settings) {
    QStringList effects;
    effects.append(turnText(settings.integer("rotate_val")));
    // Kept: the key flip_horizontally mirrors top to bottom, flip_vertically left to right.
    effects.append(settings.boolean("flip_horizontally") ? u"flipped top to bottom"_s : QString());
    effects.append(settings.boolean("flip_vertically") ? u"mirrored left to right"_s : QString());
    effects.removeAll(QString());
    return effects.isEmpty() ? u"Viewers get the picture as it is here."_s
                             : u"Viewers get it %1."_s.arg(effects.join(u", "_s));
}

QPushButton* button(const QIcon& icon, const QString& text, const QString& name,
                    const QString& toolTip) {
    auto* button = new QPushButton(icon, text);
    button->setObjectName(name);
    button->setToolTip(toolTip);
    return button;
}

} // namespace

RotationBar::RotationBar(MyDocument& document, Settings& settings) : settings_(settings) {
    build(document);
    settings_.changed().connect(sigc::mem_fun(*this, &RotationBar::refresh));
    refresh();
}

void RotationBar::build(MyDocument& document) {
    // Kept: the document's rotateRight turns the picture counter-clockwise. People press the button
    // for what they will see.
    QPushButton* left = button(icons::rotateLeft(palette()), u"Rotate &Left"_s, u"rotateRight"_s,
                               u"Turn viewers' picture a quarter counter-clockwise"_s);
    QPushButton* right = button(icons::rotateRight(palette()), u"Rotate &Right"_s, u"rotateLeft"_s,
                                u"Turn viewers' picture a quarter clockwise"_s);
    connect(left, &QPushButton::clicked, this, [&document] { document.rotateRight(); });
    connect(right, &QPushButton::clicked, this, [&document] { document.rotateLeft(); });
    effect_ = layouts::note();
    effect_->setObjectName(u"rotationEffect"_s);
    effect_->setMinimumWidth(0);

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(left);
    row->addWidget(right);
    row->addSpacing(8);
    row->addWidget(effect_, 1);
}

void RotationBar::refresh() {
    effect_->setText(effectOf(settings_));
}

} // namespace ovelo
