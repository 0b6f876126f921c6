#include "fakes/GstVideoFixture.h"
#include "fakes/TemporaryFolder.h"

#include <gst/gst.h>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <fstream>

namespace ovelo {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr const char* kStreet = "/usr/share/doc/opencv-doc/examples/data/vtest.avi"; // 10 a second

class GstFileSourceTest : public GstVideoFixture {
protected:
    void SetUp() override {
        GstVideoFixture::SetUp();
        if (!std::filesystem::exists(kStreet)) {
            GTEST_SKIP() << "the package opencv-doc is missing: no real footage to test with";
        }
    }

    /// The first pictures of the street as a file of their own.
    std::string cutClip(int pictures) {
        const auto path = (folder.path() / "clip.avi").string();
        run(fmt::format("filesrc location={} ! avidemux ! avdec_msmpeg4 ! identity eos-after={} "
                        "! jpegenc ! avimux ! filesink location={}",
                        kStreet, pictures + 1, path)); // the last one before the end does not pass
        return "file://" + path;
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

    std::string write(const char* name, const std::string& bytes) {
        const auto path = folder.path() / name;
        std::ofstream(path, std::ios::binary) << bytes;
        return "file://" + path.string();
    }

    TemporaryFolder folder;
};

TEST_F(GstFileSourceTest, PlaysRealFootageAtItsOwnRate) {
    const auto device = make(std::string("file://") + kStreet);
    ASSERT_FALSE(device->open());
    device->start(watcher.handler());
    ASSERT_TRUE(watcher.waitFor(12));
    device->close();

    const auto times = watcher.arrivals();
    EXPECT_NEAR(std::chrono::duration<double>(times[11] - times[1]).count(), 1.0, 0.15);
    EXPECT_EQ(watcher.malformed(), 0U);
    EXPECT_GE(watcher.different(), 11U);
}

TEST_F(GstFileSourceTest, StartsAgainAtTheEndWithoutAGap) {
    constexpr std::size_t kLength = 5;
    const auto device = make(cutClip(kLength));
    ASSERT_FALSE(device->open());
    device->start(watcher.handler());
    ASSERT_TRUE(watcher.waitFor(3 * kLength + 1));
    device->close();

    const auto sums = watcher.sums();
    const auto times = watcher.arrivals();
    for (std::size_t i = 1; i <= 3 * kLength; ++i) {
        const std::chrono::duration<double> gap = times[i] - times[i - 1];
        EXPECT_LT(gap.count(), 0.25) << "before picture " << i;
        if (i >= kLength) {
            EXPECT_EQ(sums[i], sums[i - kLength]) << "picture " << i;
        }
    }
    EXPECT_EQ(watcher.different(), kLength);
    EXPECT_TRUE(ends.empty());
}

TEST_F(GstFileSourceTest, ShowsTheFirstPictureFirst) {
    const auto uri = cutClip(5);
    std::vector<std::uint64_t> firsts;
    for (int round = 0; round < 2; ++round) {
        FrameWatcher pictures;
        const auto device = make(uri);
        ASSERT_FALSE(device->open());
        serveFor(150ms); // an open file waits
        device->start(pictures.handler());
        ASSERT_TRUE(pictures.waitFor(2));
        device->close();
        firsts.push_back(pictures.sums().front());
        EXPECT_NE(pictures.sums()[0], pictures.sums()[1]);
    }
    EXPECT_EQ(firsts[0], firsts[1]);
}

TEST_F(GstFileSourceTest, TakesNamesThatNeedQuoting) {
    cutClip(5);
    const auto odd = folder.path() / "a \"b\" ! c.avi";
    std::filesystem::rename(folder.path() / "clip.avi", odd);
    char* uri = gst_filename_to_uri(odd.c_str(), nullptr);
    const auto device = make(uri);
    g_free(uri);
    EXPECT_FALSE(device->open());
}

TEST_F(GstFileSourceTest, ShowsAStillPictureOnceASecond) {
    const auto path = (folder.path() / "still.jpg").string();
    run("videotestsrc num-buffers=1 pattern=ball ! jpegenc ! filesink location=" + path);
    const auto device = make("file://" + path);
    ASSERT_FALSE(device->open());
    device->start(watcher.handler());
    ASSERT_TRUE(watcher.waitFor(3)) << watcher.count() << testing::PrintToString(ends);
    device->close();

    const auto times = watcher.arrivals();
    EXPECT_NEAR(std::chrono::duration<double>(times[2] - times[1]).count(), 1, 0.3);
    EXPECT_EQ(watcher.different(), 1U);
}

TEST_F(GstFileSourceTest, RefusesWhatCannotBePlayedInTheLibrarysWords) {
    const auto textOf = [&](const std::string& source) {
        const auto before = std::chrono::steady_clock::now();
        const auto failure = make(source)->open();
        EXPECT_LT(std::chrono::steady_clock::now() - before, 3s) << source;
        return failure ? failure->text : "";
    };
    EXPECT_EQ(textOf("file:///no/such/file.avi"), "Resource not found.");
    EXPECT_EQ(textOf(write("notes.txt", "Only words, and many of them, line after line.\n")),
              "Could not determine type of stream.");
    EXPECT_NE(textOf(write("empty.avi", "")), "");
    EXPECT_NE(textOf(write("noise.avi", std::string(100'000, '\xa7'))), "");
    EXPECT_NE(textOf("file://" + folder.path().string()), "");
}

TEST_F(GstFileSourceTest, RefusesAFileWithoutPictures) {
    const auto path = (folder.path() / "sound.wav").string();
    run("audiotestsrc num-buffers=20 ! wavenc ! filesink location=" + path);
    const auto failure = make("file://" + path)->open();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->text, "There are no pictures in it.");
}

TEST_F(GstFileSourceTest, SurvivesAFileThatIsCutOff) {
    std::ifstream whole(kStreet, std::ios::binary);
    std::string bytes(400'000, '\0');
    whole.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    const auto device = make(write("cut.avi", bytes));
    if (!device->open()) {
        device->start(watcher.handler());
        EXPECT_TRUE(watcher.waitFor(5));
    }
    device->close();
}

} // namespace

} // namespace ovelo
