#pragma once

#include <QImage>
#include <QString>
#include <QWidget>

namespace ovelo {

/// Shows the newest picture as large as it fits, or why there is none.
///
/// A picture that is not live any more is dimmed and bears a message, so that nobody takes it for
/// the present.
///
/// thread  the window's
class PictureView final : public QWidget {
public:
    explicit PictureView(QWidget* parent = nullptr);

    void showLive(const QImage& picture);

    /// Dims what is shown and says why it is not live.
    void showMessage(const QString& message);

    /// A short text in the picture's upper corner, for what is not plain from the picture; empty:
    /// none.
    void showBadge(const QString& badge);
    [[nodiscard]] const QString& badge() const { return badge_; }

    [[nodiscard]] bool isLive() const { return message_.isEmpty() && !picture_.isNull(); }
    [[nodiscard]] const QString& message() const { return message_; }
    [[nodiscard]] QSize sizeHint() const override;

    /// Where the picture is drawn: in the middle, with its own aspect ratio.
    [[nodiscard]] QRectF pictureArea() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void paintMessage(QPainter& painter) const;
    void paintBadge(QPainter& painter) const;

    QImage picture_;
    QString message_; // empty: live
    QString badge_;
};

} // namespace ovelo
