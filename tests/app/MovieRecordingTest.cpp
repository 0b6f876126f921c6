#include "app/MovieRecording.h"

#include "app/MovieOutputFactory.h"
#include "fakes/Eventually.h"
#include "fakes/FakeCapture.h"
#include "fakes/FakeClock.h"
#include "fakes/FakeMovieOutput.h"
#include "fakes/FakeWindow.h"
#include "fakes/MovieScene.h"
#include "fakes/TemporaryFolder.h"
#include "fakes/TestLog.h"
#include "platform/CaptureSession.h"
#include "platform/MainThread.h"
#include "platform/MemorySettings.h"
#include "support/MyUtil.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

class MovieRecordingTest : public testing::Test {
protected:
    MovieRecordingTest() {
        MainThread::begin();
        std::filesystem::create_directory(kept_);
        std::filesystem::create_directory(temporary_);
        recording_.setWindow(&window_);
        recording_.recordingWillChange().connect([this] { ++announced_; });
        recording_.recordingChanged().connect([this] { ++changed_; });
    }
    ~MovieRecordingTest() override { MainThread::end(); }

    void record() {
        recording_.startRecording();
        file_ = output_->files.empty() ? "" : output_->files[0];
        recording_.stopRecording();
        ASSERT_TRUE(recording_.waitUntilIdle(5s));
    }
    std::string finalName() const { return "Ovelo_" + MyUtil::getDTString(clock_) + ".mov"; }
    static std::size_t filesIn(const std::filesystem::path& folder) {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(folder), {}));
    }

    TemporaryFolder folder_;
    std::filesystem::path kept_ = folder_.path() / "Ovelo";
    std::filesystem::path temporary_ = folder_.path() / "tmp dir";
    TestLog log_;
    FakeClock clock_;
    FakeWindow window_;
    CaptureSession session_;
    FakeMovieOutput* output_ = nullptr; // the last one that was made
    int outputs_ = 0;
    std::filesystem::path file_; // the last one that record() recorded to
    std::optional<MovieError> error_;
    int announced_ = 0;
    int changed_ = 0;
    MovieRecording recording_{
        MovieRecording::Environment{session_, log_.log(), clock_,
                                    [this] {
                                        auto output = std::make_unique<FakeMovieOutput>();
                                        output->error = error_;
                                        output_ = output.get();
                                        ++outputs_;
                                        return output;
                                    },
                                    [this] { return kept_; }, temporary_}};
};

TEST_F(MovieRecordingTest, RecordsToATemporaryFileThatNobodyElseCanRead) {
    recording_.startRecording();

    EXPECT_TRUE(recording_.isRecording());
    ASSERT_EQ(output_->files.size(), 1U);
    const auto file = output_->files[0];
    EXPECT_EQ(file.parent_path(), temporary_);
    EXPECT_TRUE(file.filename().string().starts_with("QTRecorder_"));
    EXPECT_EQ(file.extension(), ".mov");
    struct stat facts {};
    ASSERT_EQ(::stat(file.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777U, 0600U);
    EXPECT_EQ(changed_, 1);
}

TEST_F(MovieRecordingTest, ChoosesAPresetForPicturesAndOneForSound) {
    recording_.startRecording();

    EXPECT_EQ(output_->options,
              (std::map<MediaType, std::string>{
                  {MediaType::Video, "QTCompressionOptions240SizeMPEG4Video"},
                  {MediaType::Sound, "QTCompressionOptionsVoiceQualityAACAudio"}}));
}

TEST_F(MovieRecordingTest, StartingTwiceIsStartingOnce) {
    recording_.startRecording();
    recording_.startRecording();

    EXPECT_EQ(outputs_, 1);
    EXPECT_EQ(output_->files.size(), 1U);
}

TEST_F(MovieRecordingTest, StoppingWhileNothingIsRecordedDoesNothing) {
    recording_.setRecording(false);
    recording_.stopRecording();

    EXPECT_EQ(outputs_, 0);
    EXPECT_EQ(log_.text(), "");
    EXPECT_TRUE(recording_.waitUntilIdle(0ms));
}

TEST_F(MovieRecordingTest, KeepsTheFinishedMovieUnderTheTimeOfItsEnd) {
    recording_.startRecording();
    clock_.advance(90s);
    recording_.stopRecording();
    ASSERT_TRUE(recording_.waitUntilIdle(5s));

    EXPECT_EQ(readFile(kept_ / finalName()), "movie");
    EXPECT_EQ(filesIn(temporary_), 0U);
    EXPECT_FALSE(recording_.isRecording());
    EXPECT_EQ(announced_, 2);
    EXPECT_EQ(changed_, 2);
}

TEST_F(MovieRecordingTest, LogsTheCourseOfARecording) {
    record();

    const std::string url =
        "file://" + folder_.path().string() + "/tmp%20dir/" + file_.filename().string();
    EXPECT_TRUE(log_.contains(": Will start recording to " + url + "\n"));
    EXPECT_TRUE(log_.contains(": Did start recording to " + url + "\n"));
    EXPECT_TRUE(log_.contains(": Recorded:\n5 Bytes\n00:00:01.500 Duration\n"));
}

TEST_F(MovieRecordingTest, RecordsAgainWhenTheFirstMovieIsKept) {
    record();
    clock_.advance(1s);
    record();

    EXPECT_EQ(outputs_, 2);
    EXPECT_EQ(filesIn(kept_), 2U);
}

TEST_F(MovieRecordingTest, TheSecondMovieOfASecondStaysInTheTemporaryFolder) {
    record();
    const std::string first = readFile(kept_ / finalName());
    record();

    EXPECT_EQ(filesIn(kept_), 1U);
    EXPECT_EQ(readFile(kept_ / finalName()), first);
    EXPECT_EQ(filesIn(temporary_), 1U);
    EXPECT_TRUE(window_.errors.empty());
    recording_.startRecording();
    EXPECT_TRUE(recording_.isRecording()) << "the failed move is silent and without consequence";
}

TEST_F(MovieRecordingTest, WithoutADocumentsFolderTheMovieStaysWhereItIs) {
    kept_.clear();
    record();

    EXPECT_EQ(filesIn(temporary_), 1U);
    EXPECT_FALSE(recording_.isRecording());
}

TEST_F(MovieRecordingTest, AnErrorIsShownAndNothingCanBeRecordedAfterIt) {
    error_ = MovieError{"The disk is full."};
    record();

    EXPECT_EQ(window_.errors, (std::vector<std::string>{"The disk is full. / "}));
    EXPECT_EQ(filesIn(temporary_), 1U);
    EXPECT_EQ(filesIn(kept_), 0U);
    EXPECT_TRUE(log_.contains("Must change file due to error The disk is full.\n"));
    EXPECT_TRUE(log_.contains("Should change file due to error The disk is full.\n"));
    EXPECT_TRUE(output_->shouldChange);
    recording_.startRecording();
    EXPECT_EQ(outputs_, 1);
    EXPECT_FALSE(recording_.isRecording());
}

TEST_F(MovieRecordingTest, AMovieThatIsWholeInSpiteOfAnErrorIsKept) {
    error_ = MovieError{"The sound ended.", true};
    record();

    EXPECT_EQ(filesIn(kept_), 1U);
    EXPECT_TRUE(window_.errors.empty());
}

TEST_F(MovieRecordingTest, ItsEndFinishesARecordingThatGoesOn) {
    {
        MovieRecording brief({session_, log_.log(), clock_,
                              [] { return std::make_unique<FakeMovieOutput>(); },
                              [this] { return kept_; }, temporary_});
        brief.startRecording();
    }

    EXPECT_EQ(filesIn(kept_), 1U);
    FakeMovieOutput other;
    EXPECT_FALSE(session_.addOutput(other)) << "the session has lost its output";
    session_.removeOutput(other);
}

TEST_F(MovieRecordingTest, RecordsARealMovieOfTheSession) {
    MemorySettings settings;
    MovieRecording real({session_, log_.log(), Clock::system(),
                         movieOutputFactory(settings, Clock::system(), log_.log()),
                         [this] { return kept_; }, temporary_});
    auto camera = std::make_shared<FakeDevice>(MediaType::Video, "camera");
    const auto input = std::make_shared<CaptureDeviceInput>(camera);
    ASSERT_FALSE(session_.addInput(input));
    session_.startRunning();
    real.startRecording();
    for (int i = 0; i < 20; ++i) {
        camera->handler(numberedPicture(i));
        MainThread::serveUntil([] { return false; }, 20ms);
    }
    real.stopRecording();
    ASSERT_TRUE(real.waitUntilIdle(5s));

    ASSERT_EQ(filesIn(kept_), 1U);
    const MovieProbe probe(std::filesystem::directory_iterator(kept_)->path());
    EXPECT_EQ(probe.complaints(), "");
    EXPECT_EQ(probe.codecs(), std::vector<std::string>{"h264"});
    const auto pictures = probe.pictures();
    ASSERT_EQ(pictures.size(), 20U);
    EXPECT_EQ(pictures.back().number, 19);
}

TEST_F(MovieRecordingTest, AnUnwritableTemporaryFolderIsAnErrorOfTheRecording) {
    MemorySettings settings;
    MovieRecording real({session_, log_.log(), Clock::system(),
                         movieOutputFactory(settings, Clock::system(), log_.log()),
                         [this] { return kept_; }, temporary_ / "missing"});
    real.setWindow(&window_);
    real.startRecording();
    ASSERT_TRUE(MainThread::serveUntil([this] { return !window_.errors.empty(); }, 5s));

    EXPECT_NE(window_.errors[0].find("cannot be created: No such file or directory"),
              std::string::npos);
    EXPECT_FALSE(real.isRecording());
}

} // namespace

} // namespace ovelo
