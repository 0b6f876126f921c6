#include "platform/GstCameraCaps.h"

#include "platform/GstRuntime.h"

#include <gst/gst.h>

#include <gtest/gtest.h>

namespace ovelo {

namespace {

class GstCameraCapsTest : public testing::Test {
protected:
    void SetUp() override { GstRuntime::begin(); }

    static std::string chosenOf(const char* offered) {
        GstCaps* caps = gst_caps_from_string(offered);
        const auto format = chooseCameraFormat(caps);
        gst_caps_unref(caps);
        return format ? (format->isJpeg ? "JPEG: " : "raw: ") + format->caps : "nothing";
    }
};

TEST_F(GstCameraCapsTest, TakesTheSmallestRawSizeThatIsLargeEnough) {
    EXPECT_EQ(chosenOf("video/x-raw,format=YUY2,width=1280,height=720,framerate=30/1;"
                       "video/x-raw,format=YUY2,width=320,height=240,framerate={30/1,15/1};"
                       "video/x-raw,format=YUY2,width=160,height=120,framerate=30/1;"
                       "image/jpeg,width=320,height=240,framerate=30/1"),
              "raw: video/x-raw, format=(string)YUY2, width=(int)320, height=(int)240, "
              "framerate=(fraction)30/1;");
}

TEST_F(GstCameraCapsTest, PrefersJpegToARawPictureThatComesTooSlowly) {
    EXPECT_EQ(chosenOf("video/x-raw,format=YUY2,width=1920,height=1080,framerate=5/1;"
                       "image/jpeg,width=1920,height=1080,framerate=30/1;"
                       "image/jpeg,width=640,height=480,framerate={60/1,25/1}"),
              "JPEG: image/jpeg, width=(int)640, height=(int)480, framerate=(fraction)25/1;");
}

TEST_F(GstCameraCapsTest, FixesRangesAtOurSize) {
    EXPECT_EQ(
        chosenOf("video/x-raw,format=NV12,width=[2,4096],height=[2,4096],framerate=[1/1,120/1]"),
        "raw: video/x-raw, format=(string)NV12, width=(int)320, height=(int)240, "
        "framerate=(fraction)30/1;");
}

TEST_F(GstCameraCapsTest, LeavesOutWhatItCannotTake) {
    EXPECT_EQ(chosenOf("video/x-h264,width=640,height=480,framerate=30/1"), "nothing");
    EXPECT_EQ(chosenOf("video/x-raw(memory:DMABuf),width=640,height=480"), "nothing");
    EXPECT_FALSE(chooseCameraFormat(nullptr));
}

} // namespace

} // namespace ovelo
