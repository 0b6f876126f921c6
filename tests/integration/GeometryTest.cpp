// A known picture through the whole program: where each part of it must be seen, worked out by hand
// from the matrices.

#include "fakes/Eventually.h"
#include "integration/Program.h"
#include "integration/WireViewer.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace ovelo {
namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kBlock = 40;

/// A point with its origin at the bottom left, y upward.
struct Point {
    double x = 0;
    double y = 0;
};

/// Where a point of the source is drawn, by the order in which the transformations are stated.
Point place(Point p, int rotation, bool upsideDown, bool leftRight) {
    const double shrink = double(kHeight) / kWidth;
    switch (rotation) {
    case 1: // rotate by 90 degrees, shrink, move right by the height
        p = {kHeight - shrink * p.y, shrink * p.x};
        break;
    case 2:
        p = {kWidth - p.x, kHeight - p.y};
        break;
    case 3: // rotate by 270 degrees, move right by the difference, shrink, move up by the height
        p = {shrink * (p.y + (kWidth - kHeight)), kHeight - shrink * p.x};
        break;
    default:
        break;
    }
    if (leftRight) {
        p.x = kWidth - p.x;
    }
    if (upsideDown) {
        p.y = kHeight - p.y;
    }
    return p;
}

/// No two neighbours are alike, nor is any mirror image or rotation of the whole.
QRgb colourOf(int column, int row) {
    static constexpr std::array<QRgb, 6> kColours = {0xff202020, 0xffd02020, 0xff20c030,
                                                     0xff3040d0, 0xffd0d040, 0xffe0e0e0};
    return kColours.at(
        static_cast<std::size_t>((column * column + 3 * row + column * row * 2) % 6));
}

QImage blocks() {
    QImage image(kWidth, kHeight, QImage::Format_RGB32);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            image.setPixel(x, y, colourOf(x / kBlock, y / kBlock));
        }
    }
    return image;
}

bool near(QRgb left, QRgb right, int tolerance) {
    return std::abs(qRed(left) - qRed(right)) <= tolerance &&
           std::abs(qGreen(left) - qGreen(right)) <= tolerance &&
           std::abs(qBlue(left) - qBlue(right)) <= tolerance;
}

class GeometryTest : public ::testing::Test {
protected:
    GeometryTest() {
        const std::string file = program.home() / "blocks.png";
        blocks().save(QString::fromStdString(file));
        program.setting("captureSources=\"v|Still|filesrc location=" + file +
                        " ! pngdec ! imagefreeze is-live=true ! video/x-raw,framerate=20/1\"");
        program.start();
        EXPECT_TRUE(program.waitUntilListening()) << program.output();
        viewer = std::make_unique<WireViewer>(program.port());
    }
    ~GeometryTest() override { EXPECT_EQ(program.terminate(), 0); }

    /// Checks the middle of every block.
    static void expectPlaced(const QImage& picture, int rotation, bool upsideDown, bool leftRight) {
        ASSERT_EQ(picture.size(), QSize(kWidth, kHeight));
        for (int row = 0; row < kHeight / kBlock; ++row) {
            for (int column = 0; column < kWidth / kBlock; ++column) {
                const Point source{(column + 0.5) * kBlock, kHeight - (row + 0.5) * kBlock};
                const Point target = place(source, rotation, upsideDown, leftRight);
                const QRgb seen = picture.pixel(int(target.x), int(kHeight - target.y));
                EXPECT_TRUE(near(seen, colourOf(column, row), 40))
                    << "rotation " << rotation << " upside down " << upsideDown << " mirrored "
                    << leftRight << " block " << column << "," << row << std::hex << " is " << seen;
            }
        }
    }

    Program program;
    std::unique_ptr<WireViewer> viewer;
};

TEST_F(GeometryTest, EveryRotationAndFlipIsWhereItBelongs) {
    for (int rotation = 0; rotation < 4; ++rotation) {
        for (const bool upsideDown : {false, true}) {
            for (const bool leftRight : {false, true}) {
                expectPlaced(viewer->pictureAfter(""), rotation, upsideDown, leftRight);
                viewer->peer().send("WebcamConfig,FV\n"); // mirrors left to right
            }
            viewer->peer().send("WebcamConfig,FH\n"); // turns upside down
        }
        viewer->peer().send("WebcamConfig,RCC\n"); // one more quarter
    }
}

TEST_F(GeometryTest, QuarterTurnsLeaveBlackBands) {
    const QImage picture = viewer->pictureAfter("WebcamConfig,RCC\n");
    ASSERT_FALSE(picture.isNull());
    for (int y = 5; y < kHeight; y += 10) {
        for (const int x : {5, 30, 50, 250, 280, 315}) {
            EXPECT_TRUE(near(picture.pixel(x, y), 0xff000000, 24)) << x << "," << y;
        }
    }
}

TEST_F(GeometryTest, NightVisionIsGreenAndTwoAndAHalfTimesAsBright) {
    const QImage picture = viewer->pictureAfter("NightVision,1\n");
    ASSERT_FALSE(picture.isNull());
    for (int row = 0; row < kHeight / kBlock; ++row) {
        for (int column = 0; column < kWidth / kBlock; ++column) {
            const QRgb colour = colourOf(column, row);
            const int grey = (qRed(colour) + qGreen(colour) + qBlue(colour)) / 3;
            const int green = std::min(grey * 5 / 2, 255);
            const QRgb seen =
                picture.pixel(column * kBlock + kBlock / 2, row * kBlock + kBlock / 2);
            EXPECT_TRUE(near(seen, qRgb(0, green, 0), 40)) << std::hex << seen;
        }
    }
}

TEST_F(GeometryTest, TextsAreDrawnInTheirCornersSlantingUpwards) {
    const QImage plain = viewer->pictureAfter("NightVision,1\n");
    const QImage labelled = viewer->pictureAfter("WebcamConfig,ST\nWebcamConfig,SD\n");
    ASSERT_FALSE(labelled.isNull());
    const auto redden = [&](int left, int top, int right, int bottom) {
        int count = 0; // white text is the only red in a picture of night vision
        for (int y = top; y < bottom; ++y) {
            for (int x = left; x < right; ++x) {
                count += qRed(labelled.pixel(x, y)) > 90 && qRed(plain.pixel(x, y)) < 60 ? 1 : 0;
            }
        }
        return count;
    };
    EXPECT_GT(redden(0, 0, 60, 30), 20) << "the device's name, at the top left";
    EXPECT_GT(redden(90, 190, 150, 240), 20) << "the time begins at a third of the width";
    EXPECT_GT(redden(130, 60, 240, 190), 20) << "and runs upwards";
    EXPECT_EQ(redden(0, 120, 80, 240), 0);
    EXPECT_EQ(redden(250, 100, 320, 240), 0);
}

} // namespace
} // namespace ovelo
