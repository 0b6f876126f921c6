#include "ui/Icons.h"

#include "platform/Folders.h"
#include "ui/Text.h"

#include <QPainter>
#include <QPainterPath>
#include <QPalette>

using namespace Qt::StringLiterals;

namespace ovelo::icons {

namespace {

constexpr int kSize = 16;
constexpr int kSharpest = 3; // pixels for each unit, on the finest screens

/// Three quarters of a circle with a head at its end, clockwise.
QPixmap circleArrow(const QColor& color, bool mirrored) {
    QPixmap pixmap(kSize * kSharpest, kSize * kSharpest);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(mirrored ? -kSharpest : kSharpest, kSharpest);
    painter.translate(mirrored ? -kSize : 0, 0);
    painter.setPen(QPen(color, 1.8, Qt::SolidLine, Qt::FlatCap));
    painter.drawArc(QRectF(2.5, 3, 11, 11), 40 * 16, 280 * 16);
    QPainterPath head;
    head.moveTo(14.6, 1.6);
    head.lineTo(14.6, 7.4);
    head.lineTo(9.2, 6.4);
    head.closeSubpath();
    painter.fillPath(head, color);
    painter.end();
    pixmap.setDevicePixelRatio(kSharpest);
    return pixmap;
}

QIcon circleArrowIcon(const QPalette& palette, bool mirrored) {
    return {circleArrow(palette.color(QPalette::ButtonText), mirrored)};
}

} // namespace

QIcon rotateLeft(const QPalette& palette) {
    return circleArrowIcon(palette, true);
}

QIcon rotateRight(const QPalette& palette) {
    return circleArrowIcon(palette, false);
}

QIcon application() {
    QIcon icon;
    for (const char* file : {"ovelo-32.png", "ovelo-64.png", "ovelo-128.png", "ovelo-256.png"}) {
        icon.addFile(toQt((folders::resources() / "icons" / file).string()));
    }
    return icon;
}

} // namespace ovelo::icons
