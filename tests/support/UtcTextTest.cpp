#include "support/UtcText.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

TEST(UtcTextTest, IsWrittenAsTheStoreHasIt) {
    EXPECT_EQ(utctext::of(0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(utctext::of(1706741998), "2024-01-31T22:59:58Z");
}

TEST(UtcTextTest, ReadsWhatItWrites) {
    for (const std::int64_t seconds : {0LL, 951782400LL, 1706741998LL, 4102444800LL}) {
        EXPECT_EQ(utctext::parse(utctext::of(seconds)), seconds);
    }
}

TEST(UtcTextTest, ReadsNothingElse) {
    for (const char* text : {"", "now", "2024-01-31", "2024-01-31T22:59:58", "2024-02-30T22:59:58Z",
                             "2024-01-31T22:59:58Z ", " 2024-01-31T22:59:58Z", "1706741998"}) {
        EXPECT_FALSE(utctext::parse(text)) << text;
    }
}

} // namespace
} // namespace ovelo
