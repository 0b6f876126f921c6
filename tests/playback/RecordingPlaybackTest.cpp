#include "RecordingFixture.h"
#include "fakes/Eventually.h"
#include "fakes/MainLoopThread.h"

#include <algorithm>
#include <iostream>

namespace ovelo {

using namespace std::chrono_literals;

class RecordingPlaybackTest : public RecordingFixture {
protected:
    using Seconds = std::chrono::duration<double>;

    /// Plays to the end; returns when it began.
    ReadingSink::Moment playAll(const std::string& name) {
        const auto begin = std::chrono::steady_clock::now();
        control_.startPlayback(name);
        EXPECT_TRUE(eventually([&] { return !sink_.texts().empty(); }, 20s));
        return begin;
    }
    /// The pictures came in real time: each when it was its turn.
    void expectRealTime(ReadingSink::Moment begin, double rate, double length) {
        const auto sent = sink_.sent();
        ASSERT_FALSE(sent.empty());
        const auto first = sent.front().when;
        std::cout << "  first picture after " << Seconds(first - begin).count() * 1000 << " ms, "
                  << sent.size() << " pictures in " << Seconds(sink_.end() - first).count()
                  << " s\n";
        EXPECT_NEAR(Seconds(sink_.end() - first).count(), length, 0.5); // a busy computer's
        EXPECT_LE(static_cast<double>(sent.size()), length * 20 + 1);
        EXPECT_GE(static_cast<double>(sent.size()), length * 4); // likewise
        for (const auto& [number, when] : sent) {
            EXPECT_NEAR(number / rate, Seconds(when - first).count(), 0.5);
        }
        EXPECT_TRUE(std::is_sorted(sent.begin(), sent.end(), [](const auto& a, const auto& b) {
            return a.number < b.number;
        }));
        EXPECT_EQ(sink_.texts(), std::vector<std::string>{"PLAYBACK_DONE\n"});
    }

    MainLoopThread mainLoop_;
    PlaybackControl control_ = makeControl();
};

TEST_F(RecordingPlaybackTest, PlaysASmallRecordingInRealTime) {
    makeRecording("a.mov", 30, 15,
                  "-f lavfi -i sine=duration=2 -c:v mpeg4 -q:v 3 -c:a aac -b:a 16k -shortest");
    expectRealTime(playAll("a.mov"), 15, 2);
}

TEST_F(RecordingPlaybackTest, PlaysALargeRecordingInRealTime) {
    makeRecording("a.mov", 90, 30,
                  "-vf scale=1920:1080:flags=neighbor -c:v libx264 -preset veryfast "
                  "-pix_fmt yuv420p");
    expectRealTime(playAll("a.mov"), 30, 3);
}

TEST_F(RecordingPlaybackTest, SendsOnePictureOfAVeryShortRecording) {
    makeRecording("a.mov", 1, 30, "-c:v mjpeg");

    playAll("a.mov");

    EXPECT_EQ(sink_.sent().size(), 1U);
    EXPECT_EQ(sink_.texts().size(), 1U);
}

TEST_F(RecordingPlaybackTest, EndsAtOnceWithWhatIsNoMovie) {
    writeFile(folder_.path() / "empty.mov", "");
    writeFile(folder_.path() / "text.mov", "This is a text and no movie.\n");
    for (const char* name : {"empty.mov", "text.mov", "missing.mov"}) {
        sink_.clear();
        playAll(name);
        EXPECT_TRUE(sink_.sent().empty());
    }
}

TEST_F(RecordingPlaybackTest, TurnsAndMirrorsAndDoesNothingElse) {
    makeRecording("a.mov", 1, 1, "-vf negate -c:v mjpeg"); // a white picture
    const auto grey = [this] {
        const auto picture = sink_.last();
        return static_cast<int>(picture.pixels[picture.bytesPerRow * 120 + 160 * 4]);
    };
    settings_.setBoolean("night_vision", true); // would be green
    settings_.setBoolean("show_timestamp", true);
    settings_.setBoolean("show_devicename", true);
    control_.startPlayback("a.mov");
    ASSERT_TRUE(eventually([&] { return !sink_.sent().empty(); }));
    EXPECT_GT(grey(), 200);
    const auto whole = sink_.last();
    EXPECT_GT(whole.pixels[whole.bytesPerRow * 120 + 5 * 4], 200);

    settings_.setInteger("rotate_val", 1); // leaves black at both sides
    const auto seen = sink_.sent().size();
    ASSERT_TRUE(eventually([&] { return sink_.sent().size() > seen + 1; }));

    const auto turned = sink_.last();
    EXPECT_LT(turned.pixels[turned.bytesPerRow * 120 + 5 * 4], 50);
    EXPECT_GT(grey(), 200);
}

TEST_F(RecordingPlaybackTest, ReplacesARecordingByAnother) {
    makeRecording("a.mov", 100, 10, "-c:v mjpeg");
    control_.startPlayback("a.mov");
    ASSERT_TRUE(eventually([&] { return sink_.sent().size() > 4; }));

    control_.startPlayback("a.mov");

    const auto startOfSecond = [this]() -> int {
        const auto sent = sink_.sent();
        const auto before =
            std::adjacent_find(sent.begin(), sent.end(),
                               [](const auto& a, const auto& b) { return b.number < a.number; });
        return before == sent.end() ? -1 : std::next(before)->number;
    };
    ASSERT_TRUE(eventually([&] { return startOfSecond() >= 0; }));
    EXPECT_EQ(startOfSecond(), 0);
    EXPECT_TRUE(sink_.texts().empty());
}

} // namespace ovelo
