#include "support/MyUtil.h"

#include "fakes/FakeClock.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

TEST(MyUtilTest, TimeStampIsTheSecondsOfTheWallClock) {
    FakeClock clock;
    clock.advance(std::chrono::milliseconds(1999));

    EXPECT_EQ(MyUtil::getTimeStamp(clock), 1700000001);
}

TEST(MyUtilTest, ElapsedSecondsKeepTheirFraction) {
    FakeClock clock;
    clock.advance(std::chrono::milliseconds(250));
    const TimeValue start = clock.timeOfDay();
    clock.advance(std::chrono::milliseconds(2500));

    EXPECT_NEAR(MyUtil::getElapsedSeconds(start, clock), 2.5F, 1e-5F);
}

TEST(MyUtilTest, EmailAddressHasAtLeastThreeCharactersAndAnAtSign) {
    EXPECT_FALSE(MyUtil::valideEmailAddress(""));
    EXPECT_FALSE(MyUtil::valideEmailAddress("a@"));
    EXPECT_FALSE(MyUtil::valideEmailAddress("abc"));
    EXPECT_TRUE(MyUtil::valideEmailAddress("a@b"));
    EXPECT_FALSE(MyUtil::valideEmailAddress("ü@")) << "characters count, not bytes";
}

TEST(MyUtilTest, AccountHasAnEmailOfMoreThanThreeCharacters) {
    EXPECT_FALSE(MyUtil::isAccountEmail(""));
    EXPECT_FALSE(MyUtil::isAccountEmail("a@b"));
    EXPECT_FALSE(MyUtil::isAccountEmail("ü@b")) << "characters count, not bytes";
    EXPECT_TRUE(MyUtil::isAccountEmail("a@bc"));
}

} // namespace
} // namespace ovelo
