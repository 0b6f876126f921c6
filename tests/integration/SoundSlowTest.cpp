// A minute of sound through the whole program.

#include "integration/SoundFixture.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

class SoundSlowTest : public SoundTestFixture {};

TEST_F(SoundSlowTest, ListenerHearsEverySampleForAMinute) {
    expectEverySample(std::chrono::seconds(60));
}

} // namespace
} // namespace ovelo
