#include "audio/AudioCaptureFixture.h"

namespace ovelo {

namespace {

class AudioCaptureSlowTest : public AudioCaptureFixture {};

TEST_F(AudioCaptureSlowTest, SendsAMinuteOfAacWithoutAGap) {
    expectGaplessAac(std::chrono::seconds(60));
}

} // namespace

} // namespace ovelo
