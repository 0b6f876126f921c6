#include "platform/DateText.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

namespace ovelo {

namespace {

std::time_t localTime(int year, int month, int day, int hour, int minute, int second) {
    std::tm fields{};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    fields.tm_isdst = -1;
    return std::mktime(&fields);
}

const std::time_t kMoment = localTime(2024, 1, 31, 23, 59, 58);

} // namespace

class DateTextTest : public ::testing::Test {
protected:
    DateTextTest() { setLocale("C.UTF-8"); }
    ~DateTextTest() override { setLocale("C.UTF-8"); }

    static void setLocale(const char* name) { ::setenv("LC_ALL", name, 1); }
};

TEST_F(DateTextTest, TheCLocaleHasYearMonthAndDayAndTheTime) {
    for (const char* name : {"C", "C.UTF-8", "POSIX"}) {
        setLocale(name);
        EXPECT_EQ(datetext::shortStyle(kMoment), "2024-01-31 23:59") << name;
        EXPECT_EQ(datetext::mediumStyle(kMoment), "2024-01-31 23:59:58") << name;
    }
}

TEST_F(DateTextTest, FollowsTheUsersLocale) {
    setLocale("de_DE.UTF-8");
    EXPECT_EQ(datetext::shortStyle(kMoment), "31.01.24 23:59");
    EXPECT_EQ(datetext::mediumStyle(kMoment), "31.01.24 23:59:58");

    setLocale("en_US.UTF-8");
    EXPECT_EQ(datetext::shortStyle(kMoment), "1/31/24 11:59 PM");
    EXPECT_EQ(datetext::mediumStyle(kMoment), "1/31/24 11:59:58 PM");
}

TEST_F(DateTextTest, TheVariableForTimesGoesBeforeTheGeneralOne) {
    ::unsetenv("LC_ALL");
    ::setenv("LC_TIME", "de_DE.UTF-8", 1);
    ::setenv("LANG", "en_US.UTF-8", 1);
    EXPECT_EQ(datetext::shortStyle(kMoment), "31.01.24 23:59");

    ::unsetenv("LC_TIME");
    EXPECT_EQ(datetext::shortStyle(kMoment), "1/31/24 11:59 PM");

    ::unsetenv("LANG");
    EXPECT_EQ(datetext::shortStyle(kMoment), "2024-01-31 23:59");
}

TEST_F(DateTextTest, AnotherMomentHasAnotherText) {
    EXPECT_EQ(datetext::mediumStyle(kMoment), "2024-01-31 23:59:58");
    EXPECT_EQ(datetext::mediumStyle(kMoment + 1), "2024-01-31 23:59:59");
    EXPECT_EQ(datetext::mediumStyle(kMoment + 2), "2024-02-01 00:00:00");
    EXPECT_EQ(datetext::mediumStyle(kMoment), "2024-01-31 23:59:58");
}

TEST_F(DateTextTest, ThreadsGetTheTextsOfTheirOwnMoments) {
    std::vector<std::jthread> threads;
    for (int n = 0; n < 4; ++n) {
        threads.emplace_back([n] {
            const auto expected = "2024-01-31 23:59:5" + std::to_string(n);
            for (int i = 0; i < 200; ++i) {
                ASSERT_EQ(datetext::mediumStyle(kMoment - 8 + n), expected);
            }
        });
    }
}

} // namespace ovelo
