#include "viewer/PictureView.h"

#include <QPixmap>

#include <gtest/gtest.h>

namespace ovelo {
namespace {

QImage whitePicture() {
    QImage picture(320, 240, QImage::Format_RGB32);
    picture.fill(Qt::white);
    return picture;
}

/// What is drawn in the upper part of the picture, away from any message.
int brightness(PictureView& view) {
    const QRectF area = view.pictureArea();
    const QPoint point(static_cast<int>(area.center().x()), static_cast<int>(area.top()) + 4);
    return view.grab().toImage().pixelColor(point).lightness();
}

TEST(PictureViewTest, KeepsTheAspectRatioInAWideWindow) {
    PictureView view;
    view.resize(800, 240);
    view.showLive(whitePicture());

    EXPECT_EQ(view.pictureArea(), QRectF(240, 0, 320, 240));
}

TEST(PictureViewTest, KeepsTheAspectRatioInATallWindow) {
    PictureView view;
    view.resize(640, 1000);
    view.showLive(whitePicture());

    EXPECT_EQ(view.pictureArea(), QRectF(0, 260, 640, 480));
}

TEST(PictureViewTest, DimsAPictureThatIsNotLive) {
    PictureView view;
    view.resize(640, 480);
    view.showLive(whitePicture());
    EXPECT_TRUE(view.isLive());
    EXPECT_EQ(brightness(view), 255);

    view.showMessage(QStringLiteral("Connection lost"));

    EXPECT_FALSE(view.isLive());
    EXPECT_LT(brightness(view), 128);
}

TEST(PictureViewTest, IsLiveAgainWithTheNextPicture) {
    PictureView view;
    view.resize(640, 480);
    view.showMessage(QStringLiteral("Connecting"));
    EXPECT_FALSE(view.isLive());

    view.showLive(whitePicture());

    EXPECT_TRUE(view.isLive());
    EXPECT_EQ(brightness(view), 255);
}

TEST(PictureViewTest, TellsAssistiveTechnologyWhatItShows) {
    PictureView view;
    view.showMessage(QStringLiteral("Connecting"));

    EXPECT_EQ(view.accessibleDescription(), QStringLiteral("Connecting"));
}

} // namespace
} // namespace ovelo
