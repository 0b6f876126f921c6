#include "viewer/DataSourceList.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

TEST(DataSourceListTest, ReadsCamerasAndMicrophones) {
    const auto list = DataSourceList::parse(
        "DATA_SOURCE|Camera A|uvc|v|1|IP Cam: porch|http://10.0.0.9/p.jpg|v|0|Mic|usb mic|a|1");

    ASSERT_TRUE(list);
    EXPECT_EQ(list->video, (std::vector<DataSource>{
                               {"Camera A", "uvc", true},
                               {"IP Cam: porch", "http://10.0.0.9/p.jpg", false},
                           }));
    EXPECT_EQ(list->audio, (std::vector<DataSource>{{"Mic", "usb mic", true}}));
}

TEST(DataSourceListTest, ReadsAnEmptyList) {
    const auto list = DataSourceList::parse("DATA_SOURCE");

    ASSERT_TRUE(list);
    EXPECT_TRUE(list->video.empty());
    EXPECT_TRUE(list->audio.empty());
}

TEST(DataSourceListTest, IsNoneForOtherLines) {
    EXPECT_FALSE(DataSourceList::parse("VERSION,1.000000,Low,0,0,0"));
    EXPECT_FALSE(DataSourceList::parse("DATA_SOURCES|a|b|v|1"));
    EXPECT_FALSE(DataSourceList::parse(""));
}

TEST(DataSourceListTest, KeepsBarsInsideAnIdentifier) {
    const auto list = DataSourceList::parse("DATA_SOURCE|gate|http://h/a|b|v|0|yard||v|1");

    ASSERT_TRUE(list);
    EXPECT_EQ(list->video,
              (std::vector<DataSource>{{"gate", "http://h/a|b", false}, {"yard", "", true}}));
}

TEST(DataSourceListTest, EndsAtAnEntryThatIsCutShort) {
    const auto list = DataSourceList::parse("DATA_SOURCE|one|id|v|1|two|id|v");

    ASSERT_TRUE(list);
    ASSERT_EQ(list->video.size(), 1U);
    EXPECT_EQ(list->video.front().name, "one");
}

TEST(DataSourceListTest, FindsACameraByItsExactName) {
    const auto list = DataSourceList::parse("DATA_SOURCE|one|id|v|1|Mic|id|a|1");

    ASSERT_TRUE(list);
    ASSERT_NE(list->findVideo("one"), nullptr);
    EXPECT_EQ(list->findVideo("One"), nullptr);
    EXPECT_EQ(list->findVideo("Mic"), nullptr);
}

TEST(DataSourceListTest, ChoosesACameraAndKeepsTheSelectedSound) {
    const auto list = DataSourceList::parse("DATA_SOURCE|one|id|v|1|A|id|a|0|B|id|a|1");
    const auto silent = DataSourceList::parse("DATA_SOURCE|one|id|v|1");

    ASSERT_TRUE(list && silent);
    EXPECT_EQ(list->choice("one"), "one|B");
    EXPECT_EQ(silent->choice("one"), "one|");
}

TEST(DataSourceListTest, ChoosesAMicrophoneAndKeepsTheSelectedCamera) {
    const auto list = DataSourceList::parse("DATA_SOURCE|one|id|v|1|A|id|a|0|B|id|a|1");
    const auto blind = DataSourceList::parse("DATA_SOURCE|Mic|id|a|0");

    ASSERT_TRUE(list && blind);
    EXPECT_EQ(list->soundChoice("A"), "one|A");
    EXPECT_EQ(blind->soundChoice("Mic"), "|Mic");
}

} // namespace
} // namespace ovelo
