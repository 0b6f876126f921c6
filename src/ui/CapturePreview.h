#pragma once

#include "platform/VideoFrame.h"

#include <QImage>
#include <QWidget>

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>

class QTimer;

namespace ovelo {

class CaptureSession;

/// The live picture of the capture session, as the camera delivers it.
///
/// Costs the capture thread no more than keeping the newest picture, and nothing at all while
/// nobody can see it.
///
/// thread    main, but for takeFrame()
/// lifetime  ends before the session does
class CapturePreview final : public QWidget {
public:
    explicit CapturePreview(QWidget* parent = nullptr);
    ~CapturePreview() override;

    /// Shows the pictures of this session from now on.
    void setSession(CaptureSession& session);

    /// False: no picture is fetched or shown until it is true again.
    void setLive(bool live);

    /// What is said while there is no picture.
    void setMessage(const QString& message);

    /// Forgets the picture that is shown, because its camera is not the source any more.
    void clear();

    /// Keeps the picture for the next time that the screen is drawn. Any thread, one call at a
    /// time.
    void takeFrame(const VideoFrame& frame);

    [[nodiscard]] bool showsPicture() const { return !shown_.isNull(); }

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

    /// Pictures that stay away for longer than this are missed.
    static constexpr std::chrono::seconds kPatience{3};

protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    using Steady = std::chrono::steady_clock;

    void reconsider();
    void present();
    [[nodiscard]] bool canBeSeen() const;
    [[nodiscard]] QRectF pictureArea() const;

    CaptureSession* session_ = nullptr; // given, not owned
    QTimer* missing_ = nullptr;
    QString message_;
    QImage shown_;
    bool live_ = true;

    // The capture thread's side.
    std::atomic<bool> wanted_{false};
    std::atomic<bool> watched_{false};
    std::atomic<bool> woken_{false};
    Steady::time_point lastWake_; // the capture thread's alone
    std::mutex newestLock_;
    VideoFrame newest_; // guarded by newestLock_
};

} // namespace ovelo
