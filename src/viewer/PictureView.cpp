#include "viewer/PictureView.h"

#include <QPainter>

namespace ovelo {

namespace {

constexpr QSize kPictureSize(640, 480); // twice what servers send
constexpr QSize kSmallest(160, 120);
constexpr QColor kBackground(24, 24, 27);
constexpr QColor kDim(0, 0, 0, 150);
constexpr QColor kMessageBackground(0, 0, 0, 190);
constexpr int kMessageMargin = 12; // logical pixels
constexpr int kBadgeMargin = 6;

} // namespace

PictureView::PictureView(QWidget* parent) : QWidget(parent) {
    setMinimumSize(kSmallest);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAccessibleName(QStringLiteral("Picture"));
}

QSize PictureView::sizeHint() const {
    return kPictureSize;
}

void PictureView::showLive(const QImage& picture) {
    picture_ = picture;
    message_.clear();
    setAccessibleDescription(QStringLiteral("Live picture"));
    update();
}

void PictureView::showMessage(const QString& message) {
    if (message_ == message) {
        return;
    }
    message_ = message;
    setAccessibleDescription(message);
    update();
}

void PictureView::showBadge(const QString& badge) {
    if (badge_ != badge) {
        badge_ = badge;
        update();
    }
}

QRectF PictureView::pictureArea() const {
    const QSizeF size = QSizeF(picture_.size()).scaled(QSizeF(this->size()), Qt::KeepAspectRatio);
    return {(width() - size.width()) / 2, (height() - size.height()) / 2, size.width(),
            size.height()};
}

void PictureView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.fillRect(rect(), kBackground);
    if (!picture_.isNull()) {
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(pictureArea(), picture_);
    }
    if (!message_.isEmpty()) {
        painter.fillRect(rect(), kDim);
        paintMessage(painter);
    }
    if (!badge_.isEmpty()) {
        paintBadge(painter);
    }
}

void PictureView::paintBadge(QPainter& painter) const {
    const QRect room = rect().adjusted(kMessageMargin, kMessageMargin, -2 * kMessageMargin, 0);
    const QString shown = painter.fontMetrics().elidedText(badge_, Qt::ElideMiddle, room.width());
    const QRect text = painter.boundingRect(room.translated(kBadgeMargin, kBadgeMargin),
                                            Qt::AlignLeft | Qt::AlignTop, shown);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(kMessageBackground);
    painter.drawRoundedRect(text.adjusted(-kBadgeMargin, -kBadgeMargin, kBadgeMargin, kBadgeMargin),
                            kBadgeMargin, kBadgeMargin);
    painter.setPen(Qt::white);
    painter.drawText(text, Qt::AlignCenter, shown);
}

void PictureView::paintMessage(QPainter& painter) const {
    const QRect room =
        rect().adjusted(2 * kMessageMargin, kMessageMargin, -2 * kMessageMargin, -kMessageMargin);
    constexpr int kLayout = Qt::AlignCenter | Qt::TextWordWrap;
    const QRect text = painter.boundingRect(room, kLayout, message_);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(kMessageBackground);
    painter.drawRoundedRect(
        text.adjusted(-kMessageMargin, -kMessageMargin, kMessageMargin, kMessageMargin),
        kMessageMargin, kMessageMargin);
    painter.setPen(Qt::white);
    painter.drawText(room, kLayout, message_);
}

} // namespace ovelo
