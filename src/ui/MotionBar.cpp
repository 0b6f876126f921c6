#include "ui/MotionBar.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr int kHeight = 14;
constexpr double kFull = 0.6; // of the picture; twice what the lowest sensitivity asks for
constexpr double kCorner = 3;
constexpr QColor kQuiet(0x2f, 0xa3, 0x6b);
constexpr QColor kAlert(0xd6, 0x45, 0x45);

/// Where a part of the picture stands in the bar, 0 to 1. Small parts get more room than large
/// ones, because that is where the thresholds lie.
double placeOf(double part) {
    return part > 0 ? std::min(std::sqrt(part / kFull), 1.0) : 0.0;
}

} // namespace

MotionBar::MotionBar(QWidget* parent) : QWidget(parent) {
    setObjectName(u"motionBar"_s);
    setAccessibleName(u"Motion"_s);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void MotionBar::setReading(const std::optional<Reading>& reading) {
    if (reading == reading_) {
        return;
    }
    reading_ = reading;
    update();
}

double MotionBar::filled() const {
    return reading_ ? placeOf(reading_->ratio) : 0.0;
}

bool MotionBar::isMotion() const {
    return reading_ && reading_->ratio > reading_->threshold;
}

QSize MotionBar::sizeHint() const {
    return {300, kHeight};
}

QSize MotionBar::minimumSizeHint() const {
    return {120, kHeight};
}

void MotionBar::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    QColor dark = palette().color(QPalette::WindowText);
    dark.setAlphaF(0.15F);
    painter.setBrush(dark);
    painter.drawRoundedRect(QRectF(0, 0, width(), height()), kCorner, kCorner);
    if (!reading_) {
        return;
    }
    painter.setBrush(isMotion() ? kAlert : kQuiet);
    painter.drawRoundedRect(QRectF(0, 0, width() * filled(), height()), kCorner, kCorner);
    const double mark = width() * placeOf(reading_->threshold);
    painter.setPen(QPen(palette().color(QPalette::WindowText), 2));
    painter.drawLine(QPointF(mark, 0), QPointF(mark, height()));
}

} // namespace ovelo
