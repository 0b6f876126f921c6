#include "platform/GstMovieEncoders.h"

#include "fakes/HiddenElements.h"
#include "platform/FirstThatWorks.h"
#include "platform/GstRuntime.h"
#include "platform/MovieFixture.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

class GstMovieEncodersTest : public MovieFixture {
protected:
    GstMovieEncodersTest() { GstRuntime::begin(); }

    /// return: false when the computer has no such element, which the tests' packages bring
    static bool has(const char* element) {
        GstElementFactory* factory = gst_element_factory_find(element);
        const bool isThere = factory != nullptr;
        gst_clear_object(&factory);
        return isThere;
    }
    void recordThreeSeconds() {
        start();
        pass(3s);
        stop();
        EXPECT_FALSE(witness_.error()) << witness_.error()->text;
    }
    void expectTheWholeMovie() {
        EXPECT_EQ(probe_.complaints(), "");
        EXPECT_EQ(probe_.codecs(), (std::vector<std::string>{"h264", "aac"}));
        EXPECT_NEAR(probe_.duration(), 3.0, 0.067);
        const auto pictures = probe_.pictures();
        ASSERT_EQ(pictures.size(), 45U);
        for (std::size_t i = 0; i < pictures.size(); ++i) {
            EXPECT_EQ(pictures[i].number, static_cast<int>(i));
            EXPECT_NEAR(pictures[i].time, static_cast<double>(i) / 15, 0.002);
        }
        EXPECT_LT(worstBeep(beginningsOfBeeps(probe_.sound())), 0.002);
    }
};

TEST_F(GstMovieEncodersTest, TheOtherEncoderOfH264RecordsTheSameMovie) {
    const HiddenElements hidden({"openh264enc"});
    if (!has("x264enc")) {
        GTEST_SKIP() << "NOT TESTED: gstreamer1.0-plugins-ugly is missing";
    }
    recordThreeSeconds();

    expectTheWholeMovie();
    EXPECT_EQ(probe_.profile(), "Constrained Baseline\n");
}

TEST_F(GstMovieEncodersTest, TheOtherEncoderOfSoundRecordsTheSameMovie) {
    const HiddenElements hidden({"voaacenc"});
    ASSERT_TRUE(has("avenc_aac")) << "gstreamer1.0-libav is missing";
    recordThreeSeconds();

    expectTheWholeMovie();
}

TEST_F(GstMovieEncodersTest, WithoutAnEncoderThePackagesAreNamed) {
    const HiddenElements hidden({"openh264enc", "x264enc", "avenc_mpeg4", "voaacenc", "avenc_aac"});

    EXPECT_EQ(movieencoders::pictures(PictureCodec::H264).error(),
              "Pictures cannot be encoded in H.264: install the package gstreamer1.0-plugins-bad "
              "or gstreamer1.0-plugins-ugly. (no element \"openh264enc\"; no element \"x264enc\")");
    EXPECT_EQ(movieencoders::pictures(PictureCodec::Mpeg4).error(),
              "Pictures cannot be encoded in MPEG-4: install the package gstreamer1.0-libav. "
              "(no element \"avenc_mpeg4\")");
    EXPECT_EQ(movieencoders::sound().error(),
              "Sound cannot be encoded: install the package gstreamer1.0-plugins-bad or "
              "gstreamer1.0-libav. (no element \"voaacenc\"; no element \"avenc_aac\")");
}

TEST_F(GstMovieEncodersTest, ARecordingWithoutAnEncoderTellsAndLeavesNoFile) {
    const HiddenElements hidden({"openh264enc", "x264enc"});
    start();
    ASSERT_TRUE(witness_.waitForEnd());

    ASSERT_TRUE(witness_.error());
    EXPECT_NE(witness_.error()->text.find("gstreamer1.0-plugins-ugly"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(GstMovieEncodersTest, WhatIsInstalledButCannotBeMadeIsPassedOver) {
    const std::vector<std::string> candidates{"first", "second", "third"};
    std::vector<std::string> tried;
    const auto make = [&](const std::string& candidate) -> Result<std::string> {
        tried.push_back(candidate);
        return candidate == "second" ? Result<std::string>(candidate) : Failure{"no " + candidate};
    };
    const auto made = firstThatWorks<std::string>(candidates, "Install one.", make);
    ASSERT_TRUE(made);
    EXPECT_EQ(made.value(), "second");
    EXPECT_EQ(tried, (std::vector<std::string>{"first", "second"}));
    EXPECT_EQ(firstThatWorks<std::string>(std::vector<std::string>{"first", "third"},
                                          "Install one.", make)
                  .error(),
              "Install one. (no first; no third)");
}

} // namespace

} // namespace ovelo
