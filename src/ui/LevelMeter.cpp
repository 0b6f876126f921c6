#include "ui/LevelMeter.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr int kHeight = 14;
constexpr double kGap = 2;
constexpr int kFirstLoud = LevelMeter::kLamps * 3 / 4;
constexpr int kFirstTooLoud = LevelMeter::kLamps * 11 / 12;

QColor lampColor(int lamp) {
    if (lamp >= kFirstTooLoud) {
        return {0xd6, 0x45, 0x45};
    }
    return lamp >= kFirstLoud ? QColor(0xe0, 0xa0, 0x30) : QColor(0x2f, 0xa3, 0x6b);
}

} // namespace

LevelMeter::LevelMeter(QWidget* parent) : QWidget(parent) {
    setObjectName(u"audioLevel"_s);
    setAccessibleName(u"Sound level"_s);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void LevelMeter::setLevel(float level) {
    // A comparison that a value which is no number fails, too.
    const float bounded = level > 0 ? std::min(level, 1.0F) : 0.0F;
    const int lit = static_cast<int>(std::lround(bounded * kLamps));
    if (lit != lit_) {
        lit_ = lit;
        update();
    }
}

QSize LevelMeter::sizeHint() const {
    return {200, kHeight};
}

QSize LevelMeter::minimumSizeHint() const {
    return {100, kHeight};
}

void LevelMeter::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    QColor dark = palette().color(QPalette::WindowText);
    dark.setAlphaF(0.15F);
    const double step = (width() + kGap) / kLamps;
    for (int lamp = 0; lamp < kLamps; ++lamp) {
        painter.setBrush(lamp < lit_ ? lampColor(lamp) : dark);
        painter.drawRoundedRect(QRectF(lamp * step, 0, step - kGap, height()), 1.5, 1.5);
    }
}

} // namespace ovelo
