#include "platform/GstMovieFileOutput.h"

#include "platform/MovieComposer.h"
#include "platform/Threads.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace ovelo {

namespace {

// How often the recorder looks for what has come: rarely enough to cost nothing, often enough that
// few pictures are held.
constexpr std::chrono::milliseconds kPace{50};

Result<FileDescriptor> openFile(const std::filesystem::path& file) {
    FileDescriptor descriptor(::open(
        file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    const int error = errno;
    if (!descriptor.isOpen()) {
        return Failure{fmt::format("The movie file \"{}\" cannot be created: {}", file.string(),
                                   std::strerror(error))};
    }
    return descriptor;
}

} // namespace

PictureCodec GstMovieFileOutput::codecNamed(std::string_view name) {
    return name == "mpeg4" ? PictureCodec::Mpeg4 : PictureCodec::H264;
}

GstMovieFileOutput::GstMovieFileOutput(PictureCodec codec, const Clock& clock, Log log)
    : codec_(codec)
    , clock_(clock)
    , log_(std::move(log)) {
}

GstMovieFileOutput::~GstMovieFileOutput() {
    recordToOutputFile(std::nullopt);
    waitForEnd();
}

void GstMovieFileOutput::waitForEnd() {
    if (thread_.joinable()) {
        thread_.join();
    }
}

void GstMovieFileOutput::setCompressionOptions(MediaType mediaType, const std::string& preset) {
    // Both presets are what the encoders do anyway; others are unknown.
    const char* known = mediaType == MediaType::Sound ? kMovieSoundOptions : kMoviePictureOptions;
    for (auto& connection : connections_) {
        if (connection.mediaType == mediaType && preset == known) {
            connection.compressionOptions = preset;
        }
    }
}

void GstMovieFileOutput::recordToOutputFile(const std::optional<Path>& file) {
    if (!file) {
        inbox_.close(clock_.steady());
        return;
    }
    if (outputFile()) {
        return;
    }
    waitForEnd(); // it has been announced
    size_ = 0;
    milliseconds_ = 0;
    toldDrops_ = false;
    goesOnSilent_ = false;
    setOutputFile(file);
    inbox_.open();
    thread_ = std::jthread([this, path = *file, begun = clock_.steady()] { record(path, begun); });
}

void GstMovieFileOutput::takePicture(const VideoFrame& frame, Steady time) {
    constexpr int kWidth = 320;
    constexpr int kHeight = 240;
    constexpr std::size_t kRow = 4UL * kWidth;
    // The encoder goes by this shape alone.
    if (frame.pixels != nullptr && frame.width == kWidth && frame.height == kHeight &&
        frame.bytesPerRow == kRow) {
        inbox_.add(frame, time);
    }
}

void GstMovieFileOutput::record(const Path& file, Steady begun) {
    settleThread("movie");
    if (delegate_ != nullptr) {
        delegate_->willStartRecording(file);
    }
    const std::optional<MovieError> error = compose(file, begun);
    inbox_.close(clock_.steady());
    [[maybe_unused]] const MovieInbox::Batch rest = inbox_.take();
    if (delegate_ != nullptr) {
        delegate_->willFinishRecording(file);
    }
    setOutputFile(std::nullopt);
    if (delegate_ != nullptr) {
        delegate_->didFinishRecording(file, error);
    }
}

/// One recording from the first byte to the last. return: why it failed
std::optional<MovieError> GstMovieFileOutput::compose(const Path& file, Steady begun) {
    auto made = makeComposer(file, begun);
    if (!made) {
        return MovieError{made.error()};
    }
    MovieComposer& composer = *made.value();
    if (delegate_ != nullptr) {
        delegate_->didStartRecording(file);
    }
    std::optional<MovieError> trouble;
    while (!trouble && !inbox_.waitForEnd(kPace)) {
        const Steady now = clock_.steady();
        composer.take(inbox_.take(), now);
        publish(composer);
        noteDrops(false);
        trouble = troubleOf(file, composer);
    }
    inbox_.close(clock_.steady());
    composer.take(inbox_.take(), inbox_.end());
    composer.finish(inbox_.end());
    publish(composer);
    noteDrops(true);
    if (!trouble && composer.failure()) {
        trouble = MovieError{composer.failure()->text};
    }
    if (trouble) {
        trouble->finishedSuccessfully = !composer.failure();
    }
    return trouble;
}

/// What stands in the way of going on.
std::optional<MovieError> GstMovieFileOutput::troubleOf(const Path& file, MovieComposer& composer) {
    if (const auto failure = composer.failure()) {
        const MovieError error{failure->text};
        if (delegate_ != nullptr) {
            delegate_->mustChangeOutputFile(file, error);
        }
        return error;
    }
    const auto failure = composer.soundFailure();
    if (!failure || goesOnSilent_) {
        return std::nullopt;
    }
    const MovieError error{failure->text, true};
    goesOnSilent_ = delegate_ != nullptr && !delegate_->shouldChangeOutputFile(file, error);
    return goesOnSilent_ ? std::nullopt : std::optional(error);
}

Result<std::unique_ptr<MovieComposer>> GstMovieFileOutput::makeComposer(const Path& file,
                                                                        Steady begun) const {
    auto pictures = movieencoders::pictures(codec_);
    if (!pictures) {
        return Failure{pictures.error()};
    }
    auto sound = movieencoders::sound();
    if (!sound) {
        return Failure{sound.error()};
    }
    auto descriptor = openFile(file);
    if (!descriptor) {
        return Failure{descriptor.error()};
    }
    return std::make_unique<MovieComposer>(
        MovieComposer::Parts{codec_, std::move(pictures).value(), std::move(sound).value(),
                             std::move(descriptor).value(), clock_.timeOfDay().seconds},
        begun);
}

void GstMovieFileOutput::publish(const MovieComposer& composer) {
    size_ = composer.size();
    milliseconds_ = composer.duration().count();
}

void GstMovieFileOutput::noteDrops(bool isEnd) {
    const std::uint64_t dropped = inbox_.dropped();
    if (dropped == 0 || !log_ || (toldDrops_ && !isEnd)) {
        return;
    }
    toldDrops_ = true;
    log_(isEnd ? fmt::format("Recording dropped {} pictures or pieces of sound\n", dropped)
               : std::string("Recording does not keep up: pictures are dropped\n"));
}

void GstMovieFileOutput::setOutputFile(const std::optional<Path>& file) {
    const std::lock_guard lock(fileLock_);
    outputFile_ = file;
}

std::optional<MovieFileOutput::Path> GstMovieFileOutput::outputFile() const {
    const std::lock_guard lock(fileLock_);
    return outputFile_;
}

std::string GstMovieFileOutput::recordedDuration() const {
    constexpr std::int64_t kSecond = 1000;
    constexpr std::int64_t kMinute = 60 * kSecond;
    constexpr std::int64_t kHour = 60 * kMinute;
    const std::int64_t all = milliseconds_;
    return fmt::format("{:02}:{:02}:{:02}.{:03}", all / kHour, all / kMinute % 60,
                       all / kSecond % 60, all % kSecond);
}

} // namespace ovelo
