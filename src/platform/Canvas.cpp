#include "platform/Canvas.h"

#include "platform/Assert.h"
#include "platform/Console.h"

#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QPen>
#include <QTransform>

#include <cmath>
#include <cstring>
#include <mutex>

namespace ovelo {

namespace {

// Geometry and white do not care which byte is red, and Qt is fastest with this format.
constexpr auto kFormat = QImage::Format_ARGB32_Premultiplied;

QImage imageOver(const Canvas::Surface& surface) {
    OVELO_ASSERT(surface.width > 0 && surface.height > 0, "a canvas has an area");
    return {surface.pixels, surface.width, surface.height,
            static_cast<qsizetype>(surface.bytesPerRow), kFormat};
}

QImage imageOver(const VideoFrame& picture) {
    return {picture.pixels, picture.width, picture.height,
            static_cast<qsizetype>(picture.bytesPerRow), kFormat};
}

/// Sine and cosine, without the rounding that would turn a quarter turn into a little less.
QTransform rotation(double radians) {
    const auto exact = [](double value) {
        const double whole = std::round(value);
        return std::abs(value - whole) < 1e-9 ? whole : value;
    };
    const double cosine = exact(std::cos(radians));
    const double sine = exact(std::sin(radians));
    return {cosine, sine, -sine, cosine, 0, 0};
}

/// Without a style hint: Qt would prefer any serif font to the one of the same metrics that the
/// system names.
QFont fontOf(const Canvas::Lettering& lettering) {
    QFont font(QString::fromLatin1(lettering.family));
    font.setBold(lettering.bold);
    font.setPixelSize(lettering.size); // points would depend on the screen
    font.setHintingPreference(QFont::PreferNoHinting);
    font.setStyleStrategy(QFont::ForceOutline);
    font.setKerning(false);
    font.setLetterSpacing(QFont::AbsoluteSpacing, lettering.characterSpacing);
    return font;
}

QString printable(std::u32string_view text) {
    QString printable;
    for (const char32_t character : text) {
        const bool control = character < 0x20 || (character >= 0x7F && character < 0xA0);
        printable += QString::fromUcs4(control ? U" " : &character, 1);
    }
    return printable;
}

/// Without a graphical application Qt ends the process when it is asked for a font.
bool hasFonts() {
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr) {
        return true;
    }
    static std::once_flag said;
    std::call_once(
        said, [] { console::write("texts are not drawn: there is no graphical application"); });
    return false;
}

} // namespace

struct Canvas::Painter {
    explicit Painter(const Surface& surface) : image(imageOver(surface)), painter(&image) {
        painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        painter.setTransform(QTransform(1, 0, 0, -1, 0, surface.height)); // y upward
    }

    void apply(const QTransform& transform) { painter.setTransform(transform, true); }

    QImage image;
    QPainter painter;
};

Canvas::Canvas(const Surface& surface) : painter_(std::make_unique<Painter>(surface)) {
}

Canvas::~Canvas() = default;

void Canvas::fillBlack() {
    painter_->painter.save();
    painter_->painter.resetTransform();
    painter_->painter.fillRect(painter_->image.rect(), Qt::black);
    painter_->painter.restore();
}

void Canvas::translate(double x, double y) {
    painter_->apply(QTransform::fromTranslate(x, y));
}

void Canvas::scale(double x, double y) {
    painter_->apply(QTransform::fromScale(x, y));
}

void Canvas::rotate(double radians) {
    painter_->apply(rotation(radians));
}

void Canvas::drawImage(const VideoFrame& picture, double width, double height) {
    painter_->painter.save();
    painter_->apply(QTransform(1, 0, 0, -1, 0, height)); // a picture's rows come from the top
    painter_->painter.drawImage(QRectF(0, 0, width, height), imageOver(picture));
    painter_->painter.restore();
}

void Canvas::drawText(std::u32string_view text, double x, double y, const Lettering& lettering) {
    if (text.empty() || !hasFonts()) {
        return;
    }
    QPainterPath letters;
    letters.setFillRule(Qt::WindingFill);
    letters.addText(0, 0, fontOf(lettering), printable(text));
    QPainter& painter = painter_->painter;
    painter.save();
    painter_->apply(QTransform::fromTranslate(x, y));
    painter_->apply(rotation(lettering.direction));
    painter_->apply(QTransform::fromScale(1, -1)); // letters stand upright
    painter.fillPath(letters, QColor::fromRgbF(1, 1, 1, static_cast<float>(lettering.fillAlpha)));
    painter.strokePath(
        letters, QPen(Qt::white, lettering.strokeWidth, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
    painter.restore();
}

void stretch(const VideoFrame& picture, const Canvas::Surface& target) {
    const QImage stretched =
        imageOver(picture)
            .scaled(target.width, target.height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
            .convertToFormat(kFormat);
    const std::size_t length = static_cast<std::size_t>(target.width) * sizeof(QRgb);
    for (int y = 0; y < target.height; ++y) {
        std::memcpy(target.pixels + static_cast<std::size_t>(y) * target.bytesPerRow,
                    stretched.constScanLine(y), length);
    }
}

} // namespace ovelo
