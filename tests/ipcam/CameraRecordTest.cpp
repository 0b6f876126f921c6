#include "ipcam/CameraRecord.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ovelo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const CameraRecord kPorch{"porch", "http://10.0.0.5/jpg", "me", "secret"};
const CameraRecord kYard{"yard", "http://10.0.0.6/mjpg?a=1,2", "", ""};

TEST(CameraRecordTest, EmptyTextIsAnEmptyListBothWays) {
    EXPECT_EQ(cameralist::format({}), "");
    const auto parsed = cameralist::parse("");
    EXPECT_THAT(parsed.cameras, IsEmpty());
    EXPECT_FALSE(parsed.isDamaged);
}

TEST(CameraRecordTest, OneCameraIsItsValuesWithSeparatorsBetween) {
    const std::string text = cameralist::format({{"a", "u", "x", "p"}});

    EXPECT_EQ(text, "asegsegseg,usegsegseg,xsegsegseg,p");
}

TEST(CameraRecordTest, CamerasAreSeparatedInTheirOrder) {
    const std::string text = cameralist::format({{"a", "u", "x", "p"}, {"b", "", "", ""}});

    EXPECT_EQ(text, "asegsegseg,usegsegseg,xsegsegseg,precrecrec,bsegsegseg,segsegseg,segsegseg,");
}

TEST(CameraRecordTest, ReadsWhatItWrites) {
    const std::vector<CameraRecord> lists[] = {
        {kPorch},
        {kPorch, kYard, kPorch},
        {{"", "", "", ""}},
        // Values that look like a separator at their ends.
        {{"segsegseg", ",", "recrecrec", "segseg"}, {",", "seg,", "rec,", "recrecrec"}},
    };
    for (const auto& list : lists) {
        const auto parsed = cameralist::parse(cameralist::format(list));
        EXPECT_EQ(parsed.cameras, list);
        EXPECT_FALSE(parsed.isDamaged);
    }
}

TEST(CameraRecordTest, RecordWithTooFewValuesIsLeftOut) {
    const auto parsed = cameralist::parse("brokensegsegseg,http://10.0.0.4recrecrec," +
                                          cameralist::format({kPorch, kYard}) +
                                          "recrecrec,alsosegsegseg,asegsegseg,b");

    EXPECT_THAT(parsed.cameras, ElementsAre(kPorch, kYard));
    EXPECT_TRUE(parsed.isDamaged);
}

TEST(CameraRecordTest, ValuesBeyondTheFourthAreIgnoredButTold) {
    const auto parsed = cameralist::parse("asegsegseg,usegsegseg,xsegsegseg,psegsegseg,more");

    EXPECT_THAT(parsed.cameras, ElementsAre(CameraRecord{"a", "u", "x", "p"}));
    EXPECT_TRUE(parsed.isDamaged);
}

TEST(CameraRecordTest, NothingBetweenSeparatorsIsNoCameraAndNoDamage) {
    const auto parsed =
        cameralist::parse("recrecrec," + cameralist::format({kPorch}) + "recrecrec,recrecrec,");

    EXPECT_THAT(parsed.cameras, ElementsAre(kPorch));
    EXPECT_FALSE(parsed.isDamaged);
}

TEST(CameraRecordTest, FindsASeparatorInAnyValue) {
    EXPECT_FALSE(cameralist::separatorIn(kPorch));
    EXPECT_FALSE(cameralist::separatorIn({"segsegseg", "recrecrec", ",", ""}));
    EXPECT_EQ(cameralist::separatorIn({"asegsegseg,b", "", "", ""}), "segsegseg,");
    EXPECT_EQ(cameralist::separatorIn({"", "recrecrec,", "", ""}), "recrecrec,");
    EXPECT_EQ(cameralist::separatorIn({"", "", "segsegseg,", ""}), "segsegseg,");
    EXPECT_EQ(cameralist::separatorIn({"", "", "", "xrecrecrec,"}), "recrecrec,");
}

} // namespace
} // namespace ovelo
