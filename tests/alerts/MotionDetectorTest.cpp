#include "alerts/MotionDetector.h"

#include "fakes/MotionFixture.h"
#include "platform/Jpeg.h"

#include <gmock/gmock.h>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class MotionDetectorTest : public MotionFixture {};

TEST_F(MotionDetectorTest, WithAllActionsOffFramesAreNotExaminedAndDoNotCountForTheRateLimit) {
    move();
    EXPECT_EQ(examined, 0);
    EXPECT_FALSE(detector.level().isWatching);

    settings.setBoolean("useMotionEmail", true);
    move(); // at once, for none was examined
    EXPECT_EQ(examined, 1);
}

TEST_F(MotionDetectorTest, AnActionThatIsStoredAsFalseIsOff) {
    settings.setBoolean("useMotionEmail", false);
    settings.setString("useMotionRecord", "0");
    settings.setString("usePushNotification", "");
    settings.setString("alertCommand", "");
    move();
    EXPECT_EQ(examined, 0);
}

class MotionSwitchTest : public MotionDetectorTest,
                         public testing::WithParamInterface<const char*> {};

TEST_P(MotionSwitchTest, AnySwitchAloneHasFramesExamined) {
    settings.setString(GetParam(), "true");
    move();
    EXPECT_EQ(examined, 1);
    EXPECT_TRUE(detector.level().isWatching);
}

INSTANTIATE_TEST_SUITE_P(Switches, MotionSwitchTest,
                         testing::Values("useMotionEmail", "useMotionRecord", "usePushNotification",
                                         "alertCommand"));

TEST_F(MotionDetectorTest, TheFirstExaminedFrameNeverReportsMotion) {
    settings.setBoolean("useMotionEmail", true);
    show(unevenPicture(320, 240));
    EXPECT_EQ(motions(), 0);
    EXPECT_FALSE(detector.level().ratio.has_value());
}

TEST_F(MotionDetectorTest, AFrameShortlyBeforeTheTwoSecondsIsIgnoredEntirelyItsPictureIncluded) {
    settings.setString("alertCommand", "true");
    show(gray(0));
    clock.advance(1900ms);
    show(gray(100));
    EXPECT_EQ(examined, 1);

    clock.advance(99999us);
    show(gray(100));
    EXPECT_EQ(examined, 1);

    clock.advance(1us);
    show(gray(60)); // compared with the first one, and the picture of the alert
    ASSERT_EQ(events.size(), 1U);
    const auto picture = jpeg::decode(*events[0].jpeg);
    ASSERT_TRUE(picture);
    EXPECT_NEAR(picture.value().pixels[0], 60, 2);
}

TEST_F(MotionDetectorTest, TheRateLimitCountsFromTheLastExaminedFrame) {
    settings.setBoolean("useMotionEmail", true);
    for (int tenths = 0; tenths < 100; ++tenths) { // ten seconds at ten a second
        show(gray(0));
        clock.advance(100ms);
    }
    EXPECT_EQ(examined, 5);
}

struct Sensitivity {
    const char* name;
    const char* value;
    double threshold;
    int columns; // whose share of the picture it is, after the blur has made them 8 more
};

class SensitivityTest : public MotionDetectorTest,
                        public testing::WithParamInterface<Sensitivity> {};

TEST_P(SensitivityTest, ARatioEqualToTheThresholdIsNotMotionAndOneColumnMoreIs) {
    settings.setBoolean("useMotionEmail", true);
    settings.setString("motionSense", GetParam().value);
    show(gray(0));
    clock.advance(2s);
    show(bars(100, GetParam().columns, 0));
    EXPECT_EQ(motions(), 0);
    EXPECT_NEAR(detector.level().ratio.value_or(-1), GetParam().threshold, 1e-6);

    detector.reset();
    show(gray(0));
    clock.advance(2s);
    show(bars(100, GetParam().columns + 1, 0));
    EXPECT_EQ(motions(), 1);
    EXPECT_NEAR(detector.level().threshold, GetParam().threshold, 1e-6);
}

INSTANTIATE_TEST_SUITE_P(Levels, SensitivityTest,
                         testing::Values(Sensitivity{"Low", "Low", 0.3, 88},
                                         Sensitivity{"Medium", "Medium", 0.1, 24},
                                         Sensitivity{"High", "High", 0.05, 8},
                                         Sensitivity{"Unset", "", 0.05, 8}),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_F(MotionDetectorTest, WithoutASensitivityThatOfHighIsUsed) {
    settings.setBoolean("useMotionEmail", true);
    show(gray(0));
    clock.advance(2s);
    show(bars(100, 9, 0));
    EXPECT_EQ(motions(), 1);
}

TEST_F(MotionDetectorTest, AnUnknownSensitivityKeepsTheLastOne) {
    settings.setBoolean("useMotionEmail", true);
    settings.setString("motionSense", "Low");
    show(gray(0));
    for (const char* unknown : {"low", "HIGH", "", "0.01"}) {
        settings.setString("motionSense", unknown);
        clock.advance(2s);
        show(gray(0));
        EXPECT_NEAR(detector.level().threshold, 0.3, 1e-6) << unknown;
    }
    settings.remove("motionSense");
    detector.reset(); // keeps it, too
    show(gray(0));
    EXPECT_NEAR(detector.level().threshold, 0.3, 1e-6);
}

TEST_F(MotionDetectorTest, MotionIsLoggedWithRatioAndThreshold) {
    settings.setBoolean("useMotionEmail", true);
    settings.setString("motionSense", "Medium");
    show(gray(0));
    clock.advance(2s);
    show(bars(100, 72, 0)); // 80 columns of 320
    EXPECT_THAT(log.text(), HasSubstr(": Motion detected: 0.250000 0.100000\n"));
}

TEST_F(MotionDetectorTest, AWholeChangeFromTenToTwoHundredAndFiftyIsNotSeen) {
    settings.setBoolean("useMotionEmail", true);
    show(gray(10));
    clock.advance(2s);
    show(gray(250));
    EXPECT_EQ(motions(), 0);
    EXPECT_EQ(detector.level().ratio, 0.0);
}

TEST_F(MotionDetectorTest, AWholeChangeFromOneHundredAndTwentyToOneHundredAndFortyIsSeen) {
    settings.setBoolean("useMotionEmail", true);
    show(gray(120));
    clock.advance(2s);
    show(gray(140));
    EXPECT_EQ(motions(), 1);
    EXPECT_EQ(detector.level().ratio, 1.0);
}

TEST_F(MotionDetectorTest, AFrameOfAnotherShapeIsScaledAndComparedAsAnyOther) {
    settings.setBoolean("useMotionEmail", true);
    const auto dark = [](int, int) { return Colour{0, 0, 0, 255}; };
    show(pictureOf(640, 360, dark));
    clock.advance(2s);
    show(gray(100));
    EXPECT_EQ(motions(), 1);
}

TEST_F(MotionDetectorTest, ScaledPicturesOfAnotherSizeStartAfresh) {
    settings.setBoolean("useMotionEmail", true);
    auto given = environment();
    VideoFrame scaled;
    given.GetResizedImage = [&](const VideoFrame&, float, float) { return scaled; };
    MotionDetector other(given);
    const auto feed = [&](int width, int height, int level) {
        const auto byte = static_cast<std::uint8_t>(level);
        scaled = pictureOf(width, height, [=](int, int) { return Colour{byte, byte, byte, 255}; });
        other.detect(scaled, document);
        clock.advance(2s);
        return other.level().ratio;
    };

    EXPECT_FALSE(feed(320, 240, 0));
    EXPECT_FALSE(feed(160, 120, 100));
    EXPECT_EQ(feed(160, 120, 0), 1.0);
    EXPECT_FALSE(feed(163, 61, 0)); // rows with a remainder
    EXPECT_EQ(feed(163, 61, 0), 0.0);
    EXPECT_EQ(motions(), 1);
}

TEST_F(MotionDetectorTest, AFrameWithoutPixelsIsTakenAsBlack) {
    settings.setBoolean("useMotionEmail", true);
    show({});
    clock.advance(2s);
    show(gray(100));
    EXPECT_EQ(motions(), 1);
}

TEST_F(MotionDetectorTest, APictureThatCannotBeMadeIsLeftOut) {
    settings.setBoolean("useMotionEmail", true);
    auto given = environment();
    given.CreateIplImageFromUIImage = [](const VideoFrame&) { return IplImagePointer(); };
    MotionDetector other(given);
    other.detect(gray(0), document);
    clock.advance(2s);
    other.detect(gray(100), document);
    EXPECT_EQ(motions(), 0);
}

TEST_F(MotionDetectorTest, AfterAResetTheNextFrameIsAFirstOneAndIsExaminedAtOnce) {
    settings.setBoolean("useMotionEmail", true);
    move();
    detector.reset();
    EXPECT_FALSE(detector.level().isWatching);
    move();
    EXPECT_EQ(examined, 2);
    EXPECT_EQ(motions(), 0);

    moveAfter(2s);
    EXPECT_EQ(motions(), 1);
}

TEST_F(MotionDetectorTest, TheLevelSaysWhetherAnybodyWatches) {
    EXPECT_FALSE(detector.level().isWanted);
    EXPECT_FALSE(detector.level().isWatching);
    EXPECT_NEAR(detector.level().threshold, 0.05, 1e-6);
    settings.setBoolean("useMotionRecord", true);
    EXPECT_TRUE(detector.level().isWanted);
    EXPECT_FALSE(detector.level().isWatching);
    move();
    EXPECT_TRUE(detector.level().isWatching);
    EXPECT_FALSE(detector.level().ratio);

    moveAfter(2s);
    EXPECT_EQ(detector.level().ratio, 1.0);

    settings.setBoolean("useMotionRecord", false);
    EXPECT_FALSE(detector.level().isWanted);
    EXPECT_FALSE(detector.level().isWatching);
    moveAfter(2s);
    EXPECT_FALSE(detector.level().isWatching);
    EXPECT_FALSE(detector.level().ratio);
}

TEST_F(MotionDetectorTest, TheLevelSaysThatNobodyWatchesWhenNoFramesCome) {
    settings.setBoolean("useMotionRecord", true);
    firstMotion();
    clock.advance(5s);
    EXPECT_TRUE(detector.level().isWatching);
    clock.advance(1us);
    EXPECT_FALSE(detector.level().isWatching);
    EXPECT_TRUE(detector.level().isWanted);
}

} // namespace

} // namespace ovelo
