#include "viewer/RecordingList.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

using Recordings = std::vector<Recording>;

struct Sample {
    const char* line;
    Recordings expected;
};

class RecordedListSampleTest : public testing::TestWithParam<Sample> {};

TEST_P(RecordedListSampleTest, IsReadAsExpected) {
    const auto list = RecordingList::parse(GetParam().line);

    ASSERT_TRUE(list);
    EXPECT_EQ(list->recordings, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, RecordedListSampleTest,
    testing::Values(Sample{"RECORDED_LIST", {}},
                    Sample{"RECORDED_LIST,-Ovelo_20240131235959.mov-20240131235959",
                           {{"Ovelo_20240131235959.mov", "20240131235959"}}},
                    Sample{"RECORDED_LIST,-b.mov-20240131235959,-a.mov-20231231000000",
                           {{"b.mov", "20240131235959"}, {"a.mov", "20231231000000"}}},
                    // Names with what stands between names.
                    Sample{"RECORDED_LIST,-a, b - c.mov-20240131235959,-,-.mov-20240131235959",
                           {{"a, b - c.mov", "20240131235959"}, {",-.mov", "20240131235959"}}},
                    Sample{"RECORDED_LIST,-x-20240131235959,-y.mov-20240131235959",
                           {{"x-20240131235959,-y.mov", "20240131235959"}}},
                    Sample{"RECORDED_LIST,-a.mov-99999999999999,-b.mov-20240131235959",
                           {{"a.mov-99999999999999,-b.mov", "20240131235959"}}},
                    Sample{"RECORDED_LIST,-a.mov-20240131235959.mov-20240131235959",
                           {{"a.mov-20240131235959.mov", "20240131235959"}}},
                    Sample{"RECORDED_LIST,-Käse \xE7\x8C\xAB.mov-20240131235959",
                           {{"Käse \xE7\x8C\xAB.mov", "20240131235959"}}},
                    Sample{"RECORDED_LIST,-.mov-20240131235959", {{".mov", "20240131235959"}}},
                    // The one case that cannot be told apart.
                    Sample{"RECORDED_LIST,-a.mov-20240131235959,-b.mov-20240131235959",
                           {{"a.mov", "20240131235959"}, {"b.mov", "20240131235959"}}},
                    // What is not in the form of an entry ends the list.
                    Sample{"RECORDED_LIST,", {}}, Sample{"RECORDED_LIST,-", {}},
                    Sample{"RECORDED_LIST,-a.mov", {}},
                    Sample{"RECORDED_LIST,-a.mov-2024013123595", {}},
                    Sample{"RECORDED_LIST,-a.mov-202401312359590", {}},
                    Sample{"RECORDED_LIST,-a.mov-20241331235959", {}},
                    Sample{"RECORDED_LIST,-a.mov-2024013123595x", {}},
                    Sample{"RECORDED_LIST,a.mov-20240131235959", {}},
                    Sample{"RECORDED_LIST,-a.mov-20240131235959,-b", {{"a.mov", "20240131235959"}}},
                    Sample{"RECORDED_LIST,-a.mov-20240131235959,", {}}));

TEST(RecordingListTest, IsNotReadFromOtherLines) {
    for (const char* line : {"", "RECORDED_LISTS,-a.mov-20240131235959", "DATA_SOURCE|a|b|v|1",
                             "recorded_list", "VERSION,1.000000,Low,0,0,0"}) {
        EXPECT_FALSE(RecordingList::parse(line)) << line;
    }
}

TEST(RecordingListTest, ReadsALongListQuickly) {
    std::string line = "RECORDED_LIST";
    for (int i = 0; i < 10000; ++i) {
        line += ",-Ovelo_20240131235959.mov-20240131235959";
    }

    EXPECT_EQ(RecordingList::parse(line)->recordings.size(), 10000U);
}

} // namespace
} // namespace ovelo
