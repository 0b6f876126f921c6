#include "platform/GstSoundDevice.h"

#include "fakes/FrameWatcher.h"
#include "fakes/SoundTools.h"
#include "fakes/SoundWatcher.h"
#include "fakes/TemporaryFolder.h"
#include "platform/GstRuntime.h"

#include <gst/gst.h>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kTone = "audiotestsrc is-live=true freq=440 volume=0.5 samplesperbuffer=640";

class GstSoundDeviceTest : public testing::Test {
protected:
    void SetUp() override {
        GstRuntime::begin();
        MainThread::begin();
    }
    void TearDown() override { MainThread::end(); }

    template <typename Device>
    std::shared_ptr<Device> make(MediaType type, const std::string& source) {
        auto device = Device::make(
            {type, "Test source", source, {source, nullptr}},
            {disposal, [this](const std::string& line) { addLog(line); }, {1s, 100ms, 200ms, 10s}});
        device->ended().connect([this](const std::string& reason) { ends.push_back(reason); });
        return device;
    }
    std::shared_ptr<GstSoundDevice> sound(const std::string& source) {
        return make<GstSoundDevice>(MediaType::Sound, source);
    }
    std::shared_ptr<GstVideoDevice> muxed(const std::string& source) {
        return make<GstVideoDevice>(MediaType::Muxed, source);
    }
    static bool serveUntil(const std::function<bool()>& done,
                           std::chrono::milliseconds limit = 10s) {
        return MainThread::serveUntil(done, limit);
    }

    std::string path(const char* name) const { return (folder.path() / name).string(); }

    /// A film of so many seconds with a picture 20 times a second and a tone.
    std::string film(int seconds, bool hasSound) const {
        const auto file = path("film.avi");
        run(fmt::format("videotestsrc num-buffers={} ! video/x-raw,width=160,height=120,"
                        "framerate=20/1 ! jpegenc ! avimux name=m ! filesink location={} {}",
                        seconds * 20, file,
                        hasSound ? fmt::format("audiotestsrc num-buffers={} samplesperbuffer=800 "
                                               "freq=440 ! audio/x-raw,rate=16000,channels=2 ! m.",
                                               seconds * 20)
                                 : ""));
        return "file://" + file;
    }
    static void run(const std::string& description) {
        GError* error = nullptr;
        const GstPointer<GstElement> pipeline(gst_parse_launch(description.c_str(), &error));
        ASSERT_EQ(error, nullptr) << error->message;
        gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
        const GstPointer<GstBus> bus(gst_element_get_bus(pipeline.get()));
        GstMessage* message = gst_bus_timed_pop_filtered(
            bus.get(), 20 * GST_SECOND,
            static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(GST_MESSAGE_TYPE(message), GST_MESSAGE_EOS);
        gst_message_unref(message);
        gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    }

    /// Those that control sources; the library keeps its own for later, for a quarter of a minute.
    static std::size_t threads() {
        std::size_t count = 0;
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
            count += readFile(task.path() / "comm").starts_with("sound control") ? 1 : 0;
        }
        return count;
    }
    std::vector<std::string> log() {
        const std::lock_guard guard(logLock);
        return lines;
    }

    TemporaryFolder folder;
    std::vector<std::string> ends;
    SoundWatcher watcher;
    std::shared_ptr<GstDisposal> disposal = std::make_shared<GstDisposal>();

private:
    void addLog(const std::string& line) {
        const std::lock_guard guard(logLock);
        lines.push_back(line);
    }

    std::mutex logLock;
    std::vector<std::string> lines;
};

/// Blocks of 40 ms, each when it was heard, one after the other.
void expectSteady(const std::vector<SoundWatcher::Arrival>& arrivals) {
    for (std::size_t i = 0; i < arrivals.size(); ++i) {
        EXPECT_EQ(arrivals[i].samples, 640U);
        const auto age = std::chrono::duration<double>(arrivals[i].now - arrivals[i].time).count();
        EXPECT_GT(age, -0.3) << i;
        EXPECT_LT(age, 0.3) << i;
        if (i > 0) {
            const auto step = arrivals[i].time - arrivals[i - 1].time;
            EXPECT_NEAR(std::chrono::duration<double>(step).count(), 0.04, 0.005) << i;
        }
    }
}

TEST_F(GstSoundDeviceTest, IsHeardInBlocksWithTheirTimes) {
    const auto device = sound(kTone);
    ASSERT_FALSE(device->open());
    const auto tap = device->tapSound(watcher.handler());
    ASSERT_TRUE(watcher.waitFor(1.7));

    expectSteady(watcher.arrivals());
    const auto fit = sound::compareWithSweep(watcher.samples(), 1, 440, 440, kSoundRate);
    EXPECT_GT(fit.worst, 0.9999);
    EXPECT_THAT(device->formatSummaries(), ElementsAre("16000 Hz, mono"));
}

TEST_F(GstSoundDeviceTest, CostsNothingWhileNobodyHearsIt) {
    const auto before = threads();
    const auto device = sound(kTone);
    ASSERT_FALSE(device->open());
    EXPECT_EQ(threads(), before);
    {
        const auto tap = device->tapSound(watcher.handler());
        ASSERT_TRUE(watcher.waitFor(0.1));
        EXPECT_GT(threads(), before);
    }
    EXPECT_TRUE(serveUntil([&] { return threads() == before; }));
    const auto heard = watcher.seconds();

    const auto tap = device->tapSound(watcher.handler());
    EXPECT_TRUE(watcher.waitFor(heard + 0.1));
}

TEST_F(GstSoundDeviceTest, IsHeardWhenItsDescriptionEndsWithAFormat) {
    const auto device =
        sound("audiotestsrc is-live=true ! audio/x-raw,format=S16LE,rate=48000,channels=1");
    ASSERT_FALSE(device->open());
    const auto tap = device->tapSound(watcher.handler());
    EXPECT_TRUE(watcher.waitFor(0.1));
}

TEST_F(GstSoundDeviceTest, IsSilentWhileItIsClosed) {
    const auto before = threads();
    const auto device = sound(kTone);
    const auto tap = device->tapSound(watcher.handler());
    EXPECT_EQ(threads(), before);

    ASSERT_FALSE(device->open());
    ASSERT_TRUE(watcher.waitFor(0.1));
    device->close();
    const auto heard = watcher.seconds();
    serveUntil([] { return false; }, 100ms);
    EXPECT_EQ(watcher.seconds(), heard);

    ASSERT_FALSE(device->open());
    EXPECT_TRUE(watcher.waitFor(heard + 0.1));
}

TEST_F(GstSoundDeviceTest, IsHeardByTwoAtOnceThroughOneSource) {
    const auto device = sound(kTone);
    ASSERT_FALSE(device->open());
    auto tap = device->tapSound(watcher.handler());
    ASSERT_TRUE(watcher.waitFor(0.1));
    const auto withOne = threads();
    SoundWatcher other;
    auto second = device->tapSound(other.handler());
    ASSERT_TRUE(other.waitFor(0.2));
    EXPECT_EQ(threads(), withOne);

    tap.reset();
    const auto heard = watcher.seconds();
    ASSERT_TRUE(other.waitFor(other.seconds() + 0.2));
    EXPECT_EQ(watcher.seconds(), heard);
    expectSteady(other.arrivals());
}

TEST_F(GstSoundDeviceTest, TakesTapsThatComeAndGoWhileItSounds) {
    const auto device = sound(kTone);
    ASSERT_FALSE(device->open());
    const auto steady = device->tapSound(watcher.handler());
    for (int i = 0; i < 30; ++i) {
        SoundWatcher other;
        const auto tap = device->tapSound(other.handler());
        ASSERT_TRUE(watcher.waitFor(watcher.seconds() + 0.01));
    }
    expectSteady(watcher.arrivals());
}

TEST_F(GstSoundDeviceTest, LetsItsTapsOutliveIt) {
    auto device = sound(kTone);
    ASSERT_FALSE(device->open());
    auto tap = device->tapSound(watcher.handler());
    ASSERT_TRUE(watcher.waitFor(0.1));
    device.reset();
    tap.reset();
}

TEST_F(GstSoundDeviceTest, PlaysAFileAgainAndAgainAtItsOwnRate) {
    sound::writeWav(path("sweep.wav"), sound::sweep(1, 200, 2000, 44100), 44100);
    const auto device = sound("file://" + path("sweep.wav"));
    ASSERT_FALSE(device->open());
    const auto tap = device->tapSound(watcher.handler());
    ASSERT_TRUE(watcher.waitFor(3.6));

    const auto arrivals = watcher.arrivals();
    expectSteady(arrivals);
    const std::chrono::duration<double> took = arrivals.back().now - arrivals.front().now;
    EXPECT_NEAR(took.count(), 3.6, 0.3);
    const auto fit = sound::compareWithSweep(watcher.samples(), 1, 200, 2000, kSoundRate);
    EXPECT_GT(fit.worst, 0.98) << "at " << fit.where << " s";
}

TEST_F(GstSoundDeviceTest, HearsTheSoundOfAFilm) {
    const auto device = sound(film(2, true));
    ASSERT_FALSE(device->open());
    const auto tap = device->tapSound(watcher.handler());
    EXPECT_TRUE(watcher.waitFor(0.2));
    EXPECT_TRUE(ends.empty());
}

TEST_F(GstSoundDeviceTest, DoesNotRunAheadOfTime) {
    const auto device = sound("audiotestsrc samplesperbuffer=640");
    ASSERT_FALSE(device->open());
    const auto tap = device->tapSound(watcher.handler());
    ASSERT_TRUE(watcher.waitFor(1));
    const auto arrivals = watcher.arrivals();
    const std::chrono::duration<double> took = arrivals.back().now - arrivals.front().now;
    EXPECT_NEAR(took.count(), 1, 0.15);
}

TEST_F(GstSoundDeviceTest, TellsThatItEnded) {
    const auto device = sound("audiotestsrc is-live=true num-buffers=5 samplesperbuffer=640");
    ASSERT_FALSE(device->open());
    const auto tap = device->tapSound(watcher.handler());
    ASSERT_TRUE(serveUntil([&] { return !ends.empty(); }));
    EXPECT_THAT(ends, ElementsAre("The source has ended."));
    EXPECT_GT(watcher.seconds(), 0.1);
    device->close();
}

TEST_F(GstSoundDeviceTest, TellsThatThereIsNoSoundInAFile) {
    const auto device = sound(film(1, false));
    ASSERT_FALSE(device->open());
    const auto tap = device->tapSound(watcher.handler());
    ASSERT_TRUE(serveUntil([&] { return !ends.empty(); }));
    EXPECT_THAT(ends, ElementsAre("There is no sound in it."));
}

TEST_F(GstSoundDeviceTest, CannotBeOpenedWhenItsSourceIsNot) {
    EXPECT_TRUE(sound("file:///no/such/file.wav")->open());
    EXPECT_TRUE(sound("nosuchelement")->open());
    EXPECT_FALSE(sound(kTone)->isOpen());
}

TEST_F(GstSoundDeviceTest, TriesANetworkSourceAgain) {
    const auto device = sound("http://127.0.0.1:1/sound.wav");
    ASSERT_FALSE(device->open());
    const auto tap = device->tapSound(watcher.handler());
    ASSERT_TRUE(serveUntil([&] { return log().size() >= 2; }));
    EXPECT_THAT(log().front(), HasSubstr("Sound stream dropped: Test source - "));
    EXPECT_TRUE(ends.empty());
    const auto began = std::chrono::steady_clock::now();
    device->close();
    EXPECT_LT(std::chrono::steady_clock::now() - began, 500ms);
}

TEST_F(GstSoundDeviceTest, HearsAFilmWhileItsPicturesAreSeen) {
    const auto device = muxed(film(1, true));
    FrameWatcher pictures;
    ASSERT_FALSE(device->open());
    const auto tap = device->tapSound(watcher.handler());
    ASSERT_NE(tap, nullptr);
    serveUntil([] { return false; }, 100ms);
    EXPECT_EQ(watcher.seconds(), 0); // not started

    device->start(pictures.handler());
    ASSERT_TRUE(watcher.waitFor(2.4)); // more than two laps
    device->stop();
    const auto heard = watcher.seconds();
    EXPECT_NEAR(static_cast<double>(pictures.count()), heard * 20, 12);
    EXPECT_TRUE(ends.empty());
    for (const auto& arrival : watcher.arrivals()) {
        EXPECT_LT(std::chrono::abs(arrival.now - arrival.time), 300ms);
    }
    serveUntil([] { return false; }, 100ms);
    EXPECT_EQ(watcher.seconds(), heard);

    device->start(pictures.handler());
    EXPECT_TRUE(watcher.waitFor(heard + 0.2));
    device->close();
}

TEST_F(GstSoundDeviceTest, ShowsAFilmThatNobodyHears) {
    const auto device = muxed(film(1, true));
    FrameWatcher pictures;
    ASSERT_FALSE(device->open());
    device->start(pictures.handler());
    EXPECT_TRUE(pictures.waitFor(45));
    const auto tap = device->tapSound(watcher.handler()); // in the midst of it
    EXPECT_TRUE(watcher.waitFor(0.3));
    device->close();
}

TEST_F(GstSoundDeviceTest, ShowsAFilmWithoutSound) {
    const auto device = muxed(film(1, false));
    FrameWatcher pictures;
    ASSERT_FALSE(device->open());
    const auto tap = device->tapSound(watcher.handler());
    device->start(pictures.handler());
    EXPECT_TRUE(pictures.waitFor(30)); // starts again at its end all the same
    EXPECT_EQ(watcher.seconds(), 0);
    device->close();
}

TEST_F(GstSoundDeviceTest, HearsAndSeesWhatADescriptionHas) {
    for (const char* source :
         {"videotestsrc is-live=true audiotestsrc is-live=true samplesperbuffer=640",
          "audiotestsrc is-live=true samplesperbuffer=640 videotestsrc is-live=true ! "
          "videoconvert"}) {
        SoundWatcher heard;
        FrameWatcher pictures;
        const auto device = muxed(source);
        ASSERT_FALSE(device->open());
        const auto tap = device->tapSound(heard.handler());
        device->start(pictures.handler());
        EXPECT_TRUE(pictures.waitFor(5)) << source;
        EXPECT_TRUE(heard.waitFor(0.2)) << source;
        device->close();
    }
}

TEST_F(GstSoundDeviceTest, TakesDescribedStreamsThatAppearLater) {
    film(1, true);
    const auto device =
        muxed("filesrc location=" + path("film.avi") + " ! decodebin"); // pads come when it plays
    FrameWatcher pictures;
    ASSERT_FALSE(device->open());
    const auto tap = device->tapSound(watcher.handler());
    device->start(pictures.handler());
    EXPECT_TRUE(watcher.waitFor(0.2));
    EXPECT_TRUE(pictures.waitFor(3));
    device->close();
}

TEST_F(GstSoundDeviceTest, HearsNothingOfACameraWithoutSound) {
    EXPECT_EQ(make<GstVideoDevice>(MediaType::Video, "videotestsrc is-live=true")
                  ->tapSound(watcher.handler()),
              nullptr);
}

} // namespace

} // namespace ovelo
