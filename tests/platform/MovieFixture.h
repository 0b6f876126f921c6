#pragma once

#include "fakes/MovieFeeder.h"
#include "fakes/TemporaryFolder.h"
#include "platform/GstMovieFileOutput.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

/// Records in injected time, as fast as the encoders are.
class MovieFixture : public testing::Test {
protected:
    MovieFixture() { output_.setDelegate(&witness_); }

    void start() { output_.recordToOutputFile(file_); }
    void stop() {
        output_.recordToOutputFile(std::nullopt);
        ASSERT_TRUE(witness_.waitForEnd());
    }
    void pass(std::chrono::milliseconds time) { ASSERT_TRUE(feeder_.pass(time)); }

    /// How far beeps are from whole seconds, the one at the very beginning left out. Without any
    /// other they are infinitely far.
    static double worstBeep(const std::vector<double>& beginnings) {
        std::optional<double> worst;
        for (const double beginning : beginnings) {
            if (beginning > 0.5) {
                worst = std::max(worst.value_or(0), std::abs(beginning - std::round(beginning)));
            }
        }
        return worst.value_or(std::numeric_limits<double>::infinity());
    }

    TemporaryFolder folder_;
    std::filesystem::path file_ = folder_.path() / "movie.mov";
    FakeClock clock_;
    MovieWitness witness_;
    std::vector<std::string> log_;
    MovieProbe probe_{file_};
    GstMovieFileOutput output_{PictureCodec::H264, clock_,
                               [this](const std::string& line) { log_.push_back(line); }};
    MovieFeeder feeder_{output_, clock_};
};

} // namespace ovelo
