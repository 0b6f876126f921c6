#include "viewer/ViewerArguments.h"

#include <gtest/gtest.h>

namespace ovelo {
namespace {

using namespace std::chrono_literals;
using Arguments = std::vector<std::string>;

TEST(ViewerArgumentsTest, HasDefaults) {
    const auto parsed = ViewerArguments::parse({});

    ASSERT_TRUE(parsed);
    EXPECT_TRUE(parsed.value().host.empty());
    EXPECT_EQ(parsed.value().port, 1726);
    EXPECT_EQ(parsed.value().delay, 0);
    EXPECT_FALSE(parsed.value().isTextual());
}

TEST(ViewerArgumentsTest, ReadsHostAndPort) {
    const auto parsed = ViewerArguments::parse({"camera.local:8080"});

    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed.value().host, "camera.local");
    EXPECT_EQ(parsed.value().port, 8080);
}

TEST(ViewerArgumentsTest, ReadsEveryOption) {
    const auto parsed =
        ViewerArguments::parse({"--password", "a b", "--save=x.jpg", "--frames", "3", "--delay=0.5",
                                "--frame-rate", "20", "--source", "Cam", "--timeout", "1.5",
                                "--send", "NightVision,1", "--send", "Hello,", "10.0.0.1"});

    ASSERT_TRUE(parsed) << parsed.error();
    const auto& arguments = parsed.value();
    EXPECT_EQ(arguments.password, "a b");
    EXPECT_EQ(arguments.save, "x.jpg");
    EXPECT_EQ(arguments.frames, 3U);
    EXPECT_EQ(arguments.delay, 0.5);
    EXPECT_EQ(arguments.frameRate, 20);
    EXPECT_EQ(arguments.source, "Cam");
    EXPECT_EQ(arguments.timeout, 1500ms);
    EXPECT_EQ(arguments.send, (std::vector<std::string>{"NightVision,1", "Hello,"}));
    EXPECT_TRUE(arguments.isTextual());
}

TEST(ViewerArgumentsTest, ReadsTheOptionsOfSoundAndRecordings) {
    const auto parsed = ViewerArguments::parse({"--save-sound", "x.wav", "--seconds=2.5", "--play",
                                                "a, b.mov", "--record", "--list-recordings", "h"});

    ASSERT_TRUE(parsed) << parsed.error();
    EXPECT_EQ(parsed.value().saveSound, "x.wav");
    EXPECT_EQ(parsed.value().seconds, 2.5);
    EXPECT_EQ(parsed.value().play, "a, b.mov");
    EXPECT_TRUE(parsed.value().record);
    EXPECT_TRUE(parsed.value().listRecordings);
}

TEST(ViewerArgumentsTest, WorksWithoutAWindowWhenNoneIsNeeded) {
    for (const Arguments& words : {Arguments{"--save-sound", "x.wav"}, Arguments{"--record"},
                                   Arguments{"--list-recordings"}, Arguments{"--play", "a"}}) {
        EXPECT_TRUE(ViewerArguments::parse(words).value().isTextual()) << words.front();
    }
    EXPECT_FALSE(ViewerArguments::parse({"host"}).value().isTextual());
}

class WrongArgumentsTest : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(WrongArgumentsTest, AreRefusedWithAText) {
    const auto parsed = ViewerArguments::parse(GetParam());

    ASSERT_FALSE(parsed);
    EXPECT_FALSE(parsed.error().empty());
}

using Words = Arguments;

INSTANTIATE_TEST_SUITE_P(
    Lines, WrongArgumentsTest,
    testing::Values(Words{"--nonsense"}, Words{"--delay"}, Words{"--delay", "-1"},
                    Words{"--delay", "nan"}, Words{"--delay", "1e9"}, Words{"--delay", "1,5"},
                    Words{"--frame-rate", "4"}, Words{"--frame-rate", "inf"},
                    Words{"--text", "--frames", "0"}, Words{"--text", "--frames", "-1"},
                    Words{"--frames", "2"}, Words{"--seconds", "0"}, Words{"--seconds", "nan"},
                    Words{"--save-sound="}, Words{"--play", ""},
                    Words{"--play", "a", "--source", "b"}, Words{"--record=yes"},
                    Words{"--text=yes"}, Words{"--timeout", "0"}, Words{"--save="},
                    Words{"--password", "a\nb"}, Words{"--password", ""}, Words{"one", "two"},
                    Words{":1726"}, Words{"host:"}, Words{"host:0"}, Words{"host:65536"},
                    Words{"host:17x"}, Words{"fe80::1"}, Words{"a host"}));

} // namespace
} // namespace ovelo
