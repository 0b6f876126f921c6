#include "viewer/ServerVersion.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

TEST(ServerVersionTest, TellsWhatAMovementDoes) {
    EXPECT_EQ(ServerVersion::parse("VERSION,1.000000,Low,1,0,1"),
              (ServerVersion{1.0, true, false, true}));
    EXPECT_EQ(ServerVersion::parse("VERSION,1.000000,Low,0,1,0,more"),
              (ServerVersion{1.0, false, true, false}));
}

TEST(ServerVersionTest, IsNotReadFromOtherLines) {
    for (const char* line : {"", "VERSION", "VERSION,1.0,Low,0,0", "VERSION,one,Low,0,0,0",
                             "VERSION,1.0,Low,0,0,2", "version,1.0,Low,0,0,0"}) {
        EXPECT_FALSE(ServerVersion::parse(line)) << line;
    }
}

TEST(ServerVersionTest, KnowsTheEndOfAPlayback) {
    EXPECT_TRUE(isPlaybackDone("PLAYBACK_DONE"));
    EXPECT_FALSE(isPlaybackDone("PLAYBACK_DONE "));
    EXPECT_FALSE(isPlaybackDone(""));
}

} // namespace
} // namespace ovelo
