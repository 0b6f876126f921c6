// Real footage of people in a street, through the whole program to a viewer, beside an independent
// decoding of it.

#include "integration/Program.h"
#include "integration/WireViewer.h"
#include "platform/CHandle.h"

#include <QBuffer>

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace ovelo {
namespace {

constexpr const char* kFootage = "/usr/share/doc/opencv-doc/examples/data/vtest.avi";

void unref(GstElement* element) {
    gst_element_set_state(element, GST_STATE_NULL);
    gst_object_unref(element);
}
using Pipeline = CHandle<GstElement, &unref>;
using Sample = CHandle<GstSample, &gst_sample_unref>;

QImage imageOf(GstSample* sample) {
    GstBuffer* buffer = gst_sample_get_buffer(sample);
    QImage image(320, 240, QImage::Format_RGB32);
    gst_buffer_extract(buffer, 0, image.bits(), static_cast<gsize>(image.sizeInBytes()));
    return image;
}

/// The first pictures of the footage, stretched to 320 x 240.
std::vector<QImage> decodeFootage(std::size_t count) {
    gst_init(nullptr, nullptr);
    const std::string description = std::string("filesrc location=") + kFootage +
                                    " ! decodebin ! videoconvert ! videoscale add-borders=false ! "
                                    "video/x-raw,format=BGRx,width=320,height=240,"
                                    "pixel-aspect-ratio=1/1 ! appsink name=sink sync=false";
    const Pipeline pipeline(gst_parse_launch(description.c_str(), nullptr));
    const Pipeline sink(gst_bin_get_by_name(GST_BIN(pipeline.get()), "sink"));
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    std::vector<QImage> pictures;
    while (pictures.size() < count) {
        const Sample sample(gst_app_sink_pull_sample(GST_APP_SINK(sink.get())));
        if (!sample) {
            break;
        }
        pictures.push_back(imageOf(sample.get()));
    }
    return pictures;
}

/// What the compression of viewers' pictures does to a picture, by another encoder.
QImage compressed(const QImage& picture) {
    constexpr int kQuality = 40;
    QByteArray bytes;
    QBuffer buffer(&bytes);
    picture.save(&buffer, "JPG", kQuality);
    return QImage::fromData(bytes, "JPG").convertToFormat(QImage::Format_RGB32);
}

/// Mean difference of all three colours on every second pixel, 0 to 255.
double difference(const QImage& left, const QImage& right) {
    double sum = 0;
    int count = 0;
    for (int y = 0; y < 240; y += 2) {
        for (int x = 0; x < 320; x += 2) {
            const QRgb a = left.pixel(x, y);
            const QRgb b = right.pixel(x, y);
            sum += std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) +
                   std::abs(qBlue(a) - qBlue(b));
            count += 3;
        }
    }
    return sum / count;
}

struct Match {
    std::size_t index = 0;
    double difference = std::numeric_limits<double>::max();
};

Match bestMatch(const std::vector<QImage>& pictures, const QImage& picture) {
    Match best;
    for (std::size_t index = 0; index < pictures.size(); ++index) {
        const double value = difference(pictures[index], picture);
        if (value < best.difference) {
            best = {index, value};
        }
    }
    return best;
}

TEST(FootageTest, PeopleWalkInTheViewersPicturesAsInTheFile) {
    if (!std::filesystem::exists(kFootage)) {
        GTEST_SKIP() << "package opencv-doc is missing";
    }
    std::vector<QImage> original = decodeFootage(150);
    ASSERT_EQ(original.size(), 150U);
    std::transform(original.begin(), original.end(), original.begin(), compressed);
    Program program;
    program.setting(std::string("captureSources=v|Street|file://") + kFootage);
    program.start();
    ASSERT_TRUE(program.waitUntilListening()) << program.output();
    WireViewer viewer(program.port());

    std::vector<std::size_t> indices;
    for (int index = 0; index < 20; ++index) {
        const QImage picture = viewer.nextPicture();
        ASSERT_EQ(picture.size(), QSize(320, 240)) << program.log();
        const Match match = bestMatch(original, picture);
        EXPECT_LT(match.difference, 3.0) << "the same compression and nothing else";
        EXPECT_GT(difference(original[match.index], picture.mirrored(true, false)),
                  3 * match.difference);
        EXPECT_GT(difference(original[match.index], picture.mirrored(false, true)),
                  3 * match.difference);
        EXPECT_GT(difference(original[match.index], picture.rgbSwapped()), match.difference);
        indices.push_back(match.index);
    }
    EXPECT_TRUE(std::is_sorted(indices.begin(), indices.end()));
    EXPECT_GT(indices.back(), indices.front() + 10) << "they walk";
    EXPECT_EQ(program.terminate(), 0);
}

} // namespace
} // namespace ovelo
