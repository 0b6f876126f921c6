#include "viewer/ViewerSound.h"

#include "fakes/FakeSound.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

using Samples = std::vector<std::int16_t>;

constexpr const char* kPcmLine = "CONFIG_AUDIO,4000.000000,1819304813,14,2,1,2,1,16,0.500000,20000";
constexpr const char* kAacLine = "CONFIG_AUDIO,8000.000000,1633772320,0,0,1024,0,1,0,0.500000,4096";

/// Samples of the value 256.
ViewerBlock block(std::uint32_t id, std::size_t samples) {
    ViewerBlock result{{BlockKind::Sound, id, static_cast<std::uint32_t>(samples * 2), 1, false},
                       Bytes(samples * 2, 0)};
    for (std::size_t i = 0; i < samples; ++i) {
        result.bytes[i * 2] = 1;
    }
    return result;
}

class ViewerSoundTest : public testing::Test {
protected:
    std::unique_ptr<SoundPlayer> createPlayer(int rate, SoundPlayer::Functions functions) {
        rates.push_back(rate);
        auto made = std::make_unique<FakePlayer>(std::move(functions));
        player = made.get();
        return made;
    }

    Samples play(double secondsFromNow) {
        Samples samples(80);
        player->functions.render(samples,
                                 std::chrono::steady_clock::now() +
                                     std::chrono::duration_cast<SoundPlayer::Time::duration>(
                                         std::chrono::duration<double>(secondsFromNow)));
        return samples;
    }

    std::vector<int> rates;
    std::vector<std::string> problems;
    FakePlayer* player = nullptr;
    ViewerSound sound{{&FakeDecoder::create,
                       [this](int rate, SoundPlayer::Functions functions) {
                           return createPlayer(rate, std::move(functions));
                       }},
                      [this](const std::string& problem) { problems.push_back(problem); }};
};

TEST_F(ViewerSoundTest, PlaysABlockAsSoonAsItHasCome) {
    sound.handleLine("VERSION,1.000000,Low,0,0,0");
    EXPECT_TRUE(rates.empty());
    sound.handleLine(kPcmLine);
    EXPECT_EQ(rates, (std::vector<int>{4000}));
    EXPECT_FALSE(sound.lag());
    sound.handleBlock(block(0, 4000));

    play(0.15); // the volume comes up from nothing
    EXPECT_EQ(play(0.2).back(), 256);
    EXPECT_NEAR(*sound.lag(), 1.12, 0.01);
    EXPECT_NEAR(*sound.shortestDelay(), 1.12, 0.01);
    EXPECT_TRUE(problems.empty());
}

TEST_F(ViewerSoundTest, HoldsSoundBackLikeThePictures) {
    sound.setDelay(2);
    sound.handleLine(kPcmLine);
    sound.handleBlock(block(0, 4000));

    EXPECT_EQ(play(0.5).back(), 0);
    play(1.2);
    EXPECT_EQ(play(1.25).back(), 256);
    EXPECT_EQ(sound.lag(), 0.0);
}

TEST_F(ViewerSoundTest, IsSilentWhileMutedAndFollowsTheVolume) {
    sound.handleLine(kPcmLine);
    sound.handleBlock(block(0, 4000));
    play(0.15);
    play(0.17);
    sound.setMuted(true);
    const auto fading = play(0.19);
    EXPECT_GT(fading.front(), 200); // not all at once
    EXPECT_EQ(fading.back(), 0);
    EXPECT_EQ(play(0.21), Samples(80, 0));

    sound.setMuted(false);
    sound.setVolume(0.5);
    play(0.23);
    EXPECT_EQ(play(0.25).back(), 32);
}

TEST_F(ViewerSoundTest, BeginsAnewWithEachFormat) {
    sound.handleLine(kPcmLine);
    sound.handleLine(kAacLine);

    EXPECT_EQ(rates, (std::vector<int>{4000, 8000}));
}

TEST_F(ViewerSoundTest, GoesOnPlayingWhenTheSameFormatIsToldAgain) {
    sound.handleLine(kPcmLine);
    sound.handleBlock(block(0, 4000));
    play(0.15);
    sound.handleLine(kPcmLine);

    EXPECT_EQ(rates.size(), 1U);
    EXPECT_EQ(play(0.2).back(), 256);
}

TEST_F(ViewerSoundTest, WaitsWhileTheServerHasNoMicrophone) {
    constexpr const char* kNothing = "CONFIG_AUDIO,0.000000,0,0,0,0,0,0,0,0.000000,0";
    sound.handleLine(kNothing);
    EXPECT_TRUE(rates.empty());
    sound.handleLine(kPcmLine); // one was chosen
    EXPECT_EQ(rates.size(), 1U);
    sound.handleLine(kNothing);
    sound.handleBlock(block(0, 4000));
    EXPECT_FALSE(sound.lag());
    sound.handleLine(kPcmLine);
    EXPECT_EQ(rates.size(), 2U);

    for (const std::string& problem : problems) {
        EXPECT_EQ(problem, "");
    }
}

TEST_F(ViewerSoundTest, ComplainsOnceAboutBrokenBlocks) {
    sound.handleLine(kAacLine);
    sound.handleBlock(block(0, 10));
    sound.handleBlock(block(1, 10));

    EXPECT_EQ(problems.size(), 1U);
}

TEST_F(ViewerSoundTest, SaysWhatItCannotPlay) {
    sound.handleLine("CONFIG_AUDIO,x");
    sound.handleBlock(block(0, 10));
    sound.handleLine("CONFIG_AUDIO,8000.0,5,0,0,1024,0,1,0,0.5,4096");
    sound.handleBlock(block(0, 10));

    EXPECT_TRUE(rates.empty());
    EXPECT_EQ(problems.size(), 2U);
}

TEST_F(ViewerSoundTest, TakesNoFormatThatComesWhenSoundIsNotWantedAnyMore) {
    sound.handleLine(kPcmLine);
    sound.setWanted(false);
    sound.handleLine(kPcmLine);
    EXPECT_EQ(rates.size(), 1U);
    EXPECT_FALSE(sound.lag());

    sound.setWanted(true);
    sound.handleLine(kPcmLine);
    EXPECT_EQ(rates.size(), 2U);
}

TEST_F(ViewerSoundTest, HasNoSoundAfterTheConnectionIsLost) {
    sound.handleLine(kPcmLine);
    sound.handleBlock(block(0, 4000));
    sound.reset();

    EXPECT_FALSE(sound.lag());
    EXPECT_FALSE(sound.shortestDelay());
    sound.handleBlock(block(1, 4000));
    EXPECT_FALSE(sound.lag());
}

} // namespace
} // namespace ovelo
