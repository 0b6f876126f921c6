#pragma once

#include "fakes/Eventually.h"
#include "fakes/FakeClock.h"
#include "fakes/MovieScene.h"
#include "platform/GstMovieFileOutput.h"

namespace ovelo {

/// Feeds a recorder with numbered pictures, 15 a second, and beeps, in injected time: as fast as the
/// encoders are.
class MovieFeeder {
public:
    using Micro = std::chrono::microseconds;

    MovieFeeder(GstMovieFileOutput& output, FakeClock& clock) : output_(output), clock_(clock) {}

    /// Lets time go on. return: false when the recorder does not keep up
    [[nodiscard]] bool pass(std::chrono::milliseconds time) {
        const auto end = clock_.steady() + time;
        while (clock_.steady() < end) {
            clock_.advance(Micro(1000));
            if (!deliver()) {
                return false;
            }
        }
        return eventually([this] { return output_.waiting() == 0; });
    }

    bool hasPictures = true;
    bool hasSound = true;
    int number = 0;           // of the next picture
    Micro pictureStep{66667}; // between two pictures
    double soundClock = 1.0;  // the pace of the sound's hardware; 1.0002 is 200 ppm fast
    Micro soundJitter{0};     // that times of blocks are wrong by, every other one

private:
    bool deliver() {
        const auto now = clock_.steady();
        bool keepsUp = true;
        if (now >= nextPicture_) {
            if (hasPictures) {
                output_.takePicture(numberedPicture(number++), now);
                keepsUp = eventually([this] { return output_.waiting() < 20; });
            }
            nextPicture_ += pictureStep;
        }
        while (now >= soundTime()) {
            if (hasSound) {
                sound();
            }
            ++blocks_;
        }
        return keepsUp;
    }

    /// When the first sample of the next block is heard.
    [[nodiscard]] Clock::Steady soundTime() const {
        const double seconds = static_cast<double>(blocks_ * kBlock) / (kSoundRate * soundClock);
        return begun_ + std::chrono::round<Micro>(std::chrono::duration<double>(seconds));
    }

    /// The beeps of the world, heard by hardware whose pace is its own.
    void sound() {
        std::vector<std::int16_t> block(kBlock);
        for (std::size_t i = 0; i < kBlock; ++i) {
            const auto mine = static_cast<double>(blocks_ * kBlock + static_cast<std::int64_t>(i));
            block[i] = beeps(std::llround(mine / soundClock), 1)[0];
        }
        output_.takeSound({block, soundTime() + (blocks_ % 2 == 0 ? soundJitter : Micro(0))});
    }

    static constexpr std::int64_t kBlock = 320;

    GstMovieFileOutput& output_;
    FakeClock& clock_;
    const Clock::Steady begun_ = clock_.steady();
    Clock::Steady nextPicture_ = begun_;
    std::int64_t blocks_ = 0;
};

} // namespace ovelo
