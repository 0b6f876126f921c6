#include "viewer/Icons.h"

#include <QPainter>
#include <QPainterPath>
#include <QPalette>

#include <functional>

namespace ovelo::viewer_icons {

namespace {

constexpr int kSize = 16;    // units
constexpr int kSharpest = 3; // pixels for each unit, on the finest screens
constexpr double kPen = 1.5;
constexpr QColor kRed(214, 40, 40);

using Draw = std::function<void(QPainter&, const QColor&)>;

QPixmap drawn(const QColor& color, const Draw& draw) {
    QPixmap pixmap(kSize * kSharpest, kSize * kSharpest);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(kSharpest, kSharpest);
    painter.setPen(QPen(color, kPen, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    draw(painter, color);
    painter.end();
    pixmap.setDevicePixelRatio(kSharpest);
    return pixmap;
}

QIcon icon(const QPalette& palette, const Draw& draw) {
    QIcon result(drawn(palette.color(QPalette::ButtonText), draw));
    result.addPixmap(drawn(palette.color(QPalette::Disabled, QPalette::ButtonText), draw),
                     QIcon::Disabled);
    return result;
}

void drawHorn(QPainter& painter, const QColor& color) {
    QPainterPath horn;
    horn.moveTo(1.5, 6);
    horn.lineTo(4, 6);
    horn.lineTo(7.5, 2.5);
    horn.lineTo(7.5, 13.5);
    horn.lineTo(4, 10);
    horn.lineTo(1.5, 10);
    horn.closeSubpath();
    painter.fillPath(horn, color);
}

/// Three quarters of a circle with a head at its end, clockwise.
void drawTurn(QPainter& painter, const QColor& color) {
    painter.setPen(QPen(color, 1.8, Qt::SolidLine, Qt::FlatCap));
    painter.drawArc(QRectF(2.5, 3, 11, 11), 40 * 16, 280 * 16);
    QPainterPath head;
    head.moveTo(14.6, 1.6);
    head.lineTo(14.6, 7.4);
    head.lineTo(9.2, 6.4);
    head.closeSubpath();
    painter.fillPath(head, color);
}

} // namespace

QIcon speaker(const QPalette& palette) {
    return icon(palette, [](QPainter& painter, const QColor& color) {
        drawHorn(painter, color);
        painter.drawArc(QRectF(5.5, 5, 6, 6), -50 * 16, 100 * 16);
        painter.drawArc(QRectF(3, 2.5, 11, 11), -50 * 16, 100 * 16);
    });
}

QIcon mutedSpeaker(const QPalette& palette) {
    return icon(palette, [](QPainter& painter, const QColor& color) {
        drawHorn(painter, color);
        painter.drawLine(QPointF(10, 6), QPointF(14, 10));
        painter.drawLine(QPointF(14, 6), QPointF(10, 10));
    });
}

QIcon record(const QPalette& palette) {
    return icon(palette, [](QPainter& painter, const QColor& color) {
        painter.drawEllipse(QRectF(1.5, 1.5, 13, 13));
        painter.setPen(Qt::NoPen);
        painter.setBrush(color.alpha() == 255 ? kRed : color);
        painter.drawEllipse(QRectF(4, 4, 8, 8));
    });
}

QIcon recordings(const QPalette& palette) {
    return icon(palette, [](QPainter& painter, const QColor& color) {
        painter.drawRoundedRect(QRectF(1.5, 3, 13, 10), 1.5, 1.5);
        QPainterPath play;
        play.moveTo(6.2, 5.2);
        play.lineTo(11, 8);
        play.lineTo(6.2, 10.8);
        play.closeSubpath();
        painter.fillPath(play, color);
    });
}

QIcon moon(const QPalette& palette) {
    return icon(palette, [](QPainter& painter, const QColor& color) {
        QPainterPath disc;
        disc.addEllipse(QRectF(2, 2, 12, 12));
        QPainterPath shadow;
        shadow.addEllipse(QRectF(6, 0.5, 11, 11));
        painter.fillPath(disc.subtracted(shadow), color);
    });
}

QIcon turnLeft(const QPalette& palette) {
    return icon(palette, [](QPainter& painter, const QColor& color) {
        painter.translate(kSize, 0);
        painter.scale(-1, 1);
        drawTurn(painter, color);
    });
}

QIcon turnRight(const QPalette& palette) {
    return icon(palette, &drawTurn);
}

} // namespace ovelo::viewer_icons
