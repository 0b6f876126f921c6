#include "ui/CapturePreview.h"

#include "platform/CaptureSession.h"

#include <QEvent>
#include <QPainter>
#include <QTimer>
#include <QWindow>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

/// A little under a tenth of a second, so that a camera's jitter does not turn ten pictures a
/// second into five.
constexpr std::chrono::milliseconds kBetweenWakes{90};

/// The same while the user works in another window.
constexpr std::chrono::milliseconds kBetweenWakesUnwatched{240};

/// Rows of the screen that Qt scales without help from other threads.
constexpr int kBandRows = 64;

constexpr QColor kBackground(0x17, 0x1a, 0x1f);
constexpr QColor kMessage(0xa8, 0xb0, 0xba);

} // namespace

CapturePreview::CapturePreview(QWidget* parent) : QWidget(parent), missing_(new QTimer(this)) {
    setObjectName(u"capturePreview"_s);
    setAccessibleName(u"Live picture"_s);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAttribute(Qt::WA_OpaquePaintEvent);
    missing_->setSingleShot(true);
    missing_->setInterval(kPatience);
    connect(missing_, &QTimer::timeout, this, &CapturePreview::clear);
}

CapturePreview::~CapturePreview() {
    if (session_ != nullptr) {
        session_->setPreview({});
    }
}

void CapturePreview::setSession(CaptureSession& session) {
    session_ = &session;
    session.setPreview([this](const VideoFrame& frame) { takeFrame(frame); });
}

void CapturePreview::setLive(bool live) {
    live_ = live;
    reconsider();
}

void CapturePreview::setMessage(const QString& message) {
    if (message != message_) {
        message_ = message;
        setAccessibleDescription(message);
        update();
    }
}

void CapturePreview::takeFrame(const VideoFrame& frame) {
    if (!wanted_) {
        return;
    }
    {
        const std::scoped_lock lock(newestLock_);
        newest_ = frame;
    }
    const Steady::time_point now = Steady::now();
    const auto interval = watched_ ? kBetweenWakes : kBetweenWakesUnwatched;
    if (now - lastWake_ < interval || woken_.exchange(true)) {
        return;
    }
    lastWake_ = now;
    QMetaObject::invokeMethod(
        this, [this] { present(); }, Qt::QueuedConnection);
}

QSize CapturePreview::sizeHint() const {
    return {512, 384};
}

QSize CapturePreview::minimumSizeHint() const {
    return {320, 240};
}

void CapturePreview::present() {
    woken_ = false;
    VideoFrame newest;
    {
        const std::scoped_lock lock(newestLock_);
        newest = std::exchange(newest_, {});
    }
    if (!wanted_ || newest.pixels == nullptr) {
        return;
    }
    // Opaque by contract, and taken as such: blending would cost twice as much. The screen's own
    // format is scaled faster, and a copy gives the camera its memory back.
    const QImage picture(newest.pixels, newest.width, newest.height,
                         static_cast<qsizetype>(newest.bytesPerRow), QImage::Format_RGBX8888);
    shown_ = picture.convertToFormat(QImage::Format_RGB32);
    missing_->start();
    update(pictureArea().toAlignedRect());
}

void CapturePreview::clear() {
    missing_->stop();
    shown_ = {};
    update();
}

bool CapturePreview::canBeSeen() const {
    const QWindow* handle = window()->windowHandle();
    return isVisible() && !window()->isMinimized() && handle != nullptr && handle->isExposed();
}

void CapturePreview::reconsider() {
    watched_ = isActiveWindow();
    const bool wanted = live_ && canBeSeen();
    if (wanted_.exchange(wanted) == wanted || wanted) {
        return;
    }
    // The camera gets its picture memory back.
    const std::scoped_lock lock(newestLock_);
    newest_ = {};
    clear();
}

void CapturePreview::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    window()->installEventFilter(this);
    if (QWindow* handle = window()->windowHandle()) {
        handle->installEventFilter(this);
    }
    reconsider();
}

void CapturePreview::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    reconsider();
}

bool CapturePreview::eventFilter(QObject* watched, QEvent* event) {
    const QEvent::Type type = event->type();
    if (type == QEvent::WindowStateChange || type == QEvent::Expose ||
        type == QEvent::WindowActivate || type == QEvent::WindowDeactivate) {
        // The window takes the event in first.
        QMetaObject::invokeMethod(
            this, [this] { reconsider(); }, Qt::QueuedConnection);
    }
    return QWidget::eventFilter(watched, event);
}

QRectF CapturePreview::pictureArea() const {
    const QSizeF fitted = QSizeF(4, 3).scaled(size(), Qt::KeepAspectRatio);
    QRectF area(QPointF(), fitted);
    area.moveCenter(QRectF(rect()).center());
    return area;
}

void CapturePreview::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    if (!showsPicture()) {
        painter.fillRect(rect(), kBackground);
        painter.setPen(kMessage);
        painter.drawText(rect().adjusted(24, 24, -24, -24), Qt::AlignCenter | Qt::TextWordWrap,
                         message_);
        return;
    }
    const QRectF area = pictureArea();
    if (area != QRectF(rect())) {
        painter.fillRect(rect(), kBackground);
    }
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    // In bands, which one thread paints: waking Qt's painting threads ten times a second for more
    // than that costs three times as much as the painting.
    const int bandHeight = std::max(1, static_cast<int>(kBandRows / devicePixelRatioF()));
    for (int top = 0; top < height(); top += bandHeight) {
        painter.setClipRect(0, top, width(), bandHeight);
        painter.drawImage(area, shown_);
    }
}

} // namespace ovelo
