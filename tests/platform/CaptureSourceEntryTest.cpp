#include "platform/CaptureSourceEntry.h"

#include <gtest/gtest.h>

namespace ovelo {

namespace {

TEST(CaptureSourceEntryTest, ReadsKindNameAndSource) {
    const auto video = CaptureSourceEntry::parse("v|Yard|rtsp://u:p@127.0.0.1:554/cam?x=1&y=2");
    ASSERT_TRUE(video);
    EXPECT_EQ(video.value(), (CaptureSourceEntry{MediaType::Video, "Yard",
                                                 "rtsp://u:p@127.0.0.1:554/cam?x=1&y=2"}));
    EXPECT_EQ(CaptureSourceEntry::parse("a|Mic|audiotestsrc").value().type, MediaType::Sound);
    EXPECT_EQ(CaptureSourceEntry::parse("m|Both|file:///a.mov").value().type, MediaType::Muxed);
}

TEST(CaptureSourceEntryTest, KeepsNamesAndSourcesToTheLetter) {
    const auto entry =
        CaptureSourceEntry::parse("v| Café \xe2\x98\x83 | videotestsrc pattern=ball ");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry.value().name, " Café \xe2\x98\x83 ");
    EXPECT_EQ(entry.value().source, " videotestsrc pattern=ball ");
}

class CaptureSourceEntryMalformedTest : public testing::TestWithParam<std::string> {};

TEST_P(CaptureSourceEntryMalformedTest, IsRefusedWithoutRepeatingTheText) {
    const auto entry = CaptureSourceEntry::parse(GetParam());
    ASSERT_FALSE(entry);
    EXPECT_FALSE(entry.error().empty());
    EXPECT_EQ(entry.error().find("secret"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(All, CaptureSourceEntryMalformedTest,
                         testing::Values("", "v", "v|", "v|name", "v|name|", "v||source",
                                         "v|  |source", "v|name|  ", "x|name|secret",
                                         "V|name|secret", "|name|secret", "vv|name|secret",
                                         "v|name|secret|more", "v|na\nme|secret", "v|name|secret\r",
                                         "v|\xff|secret", std::string("v|a\0b|secret", 12)));

TEST(CaptureSourceEntryTest, TellsUrisFromDescriptions) {
    EXPECT_EQ(formOfSource("rtsp://host/cam"), SourceForm::Network);
    EXPECT_EQ(formOfSource("rtspt://host/cam"), SourceForm::Network);
    EXPECT_EQ(formOfSource("HTTP://host/cam"), SourceForm::Network);
    EXPECT_EQ(formOfSource("https://host/cam"), SourceForm::Network);
    EXPECT_EQ(formOfSource("file:///clip.avi"), SourceForm::File);
    EXPECT_EQ(formOfSource("videotestsrc is-live=true"), SourceForm::Description);
    EXPECT_EQ(formOfSource("uridecodebin uri=rtsp://host/cam"), SourceForm::Description);
    EXPECT_EQ(formOfSource("rtsp://"), SourceForm::Description);
    EXPECT_EQ(formOfSource(""), SourceForm::Description);
}

} // namespace

} // namespace ovelo
