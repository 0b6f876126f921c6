#include "app/MovieRecording.h"

#include "app/DocumentWindow.h"
#include "platform/CaptureSession.h"
#include "platform/FileDescriptor.h"
#include "platform/Folders.h"
#include "platform/MainThread.h"
#include "support/FileMove.h"
#include "support/Logger.h"
#include "support/MyUtil.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <cstdlib>
#include <string_view>
#include <utility>

namespace ovelo {

namespace {

constexpr std::string_view kTemporaryName = "QTRecorder_XXXXXX.mov";
constexpr int kExtensionLength = 4;

std::string fileUrl(const std::filesystem::path& file) {
    constexpr std::string_view kPlain = "-._~/"; // RFC 3986, 2.3 and 3.3
    std::string url = "file://";
    for (const char letter : file.string()) {
        const auto byte = static_cast<unsigned char>(letter);
        const bool isAlphanumeric = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                                    (byte >= 'a' && byte <= 'z');
        if (isAlphanumeric || kPlain.find(letter) != std::string_view::npos) {
            url += letter;
        } else {
            url += fmt::format("%{:02X}", byte);
        }
    }
    return url;
}

} // namespace

MovieRecording::Environment MovieRecording::environment(CaptureSession& session, Logger& log,
                                                        const Clock& clock, OutputFactory output) {
    return {session,
            log,
            clock,
            std::move(output),
            &MyUtil::getRecordedDirectory,
            folders::temporary()};
}

MovieRecording::MovieRecording(Environment environment) : environment_(std::move(environment)) {
}

MovieRecording::~MovieRecording() {
    giveUpCopies_.request_stop();
    releaseOutput();
}

void MovieRecording::startRecording() {
    if (movieFileOutput_) {
        return;
    }
    movieFileOutput_ = environment_.output();
    movieFileOutput_->setDelegate(this);
    if (const auto failure = environment_.session.addOutput(*movieFileOutput_)) {
        movieFileOutput_.reset();
        present({failure->text});
        return;
    }
    for (const auto& connection : movieFileOutput_->connections()) {
        if (connection.mediaType == MediaType::Video) {
            movieFileOutput_->setCompressionOptions(connection.mediaType, kMoviePictureOptions);
        } else if (connection.mediaType == MediaType::Sound) {
            movieFileOutput_->setCompressionOptions(connection.mediaType, kMovieSoundOptions);
        }
    }
    setRecording(true);
}

void MovieRecording::stopRecording() {
    setRecording(false);
}

void MovieRecording::setRecording(bool recording) {
    if (isRecording() == recording || !movieFileOutput_) {
        return;
    }
    if (!recording) {
        movieFileOutput_->recordToOutputFile(std::nullopt);
        return;
    }
    recordingWillChange_.emit();
    movieFileOutput_->recordToOutputFile(temporaryFile());
    recordingChanged_.emit();
}

bool MovieRecording::isRecording() const {
    return movieFileOutput_ && movieFileOutput_->outputFile();
}

/// A new, empty file: nobody else can take the name. Where none can be made the name is one that
/// cannot be recorded to either, and the output says why.
MovieRecording::Path MovieRecording::temporaryFile() const {
    std::string name = (environment_.temporary / kTemporaryName).string();
    const FileDescriptor file(::mkostemps(name.data(), kExtensionLength, O_CLOEXEC));
    return name;
}

bool MovieRecording::waitUntilIdle(std::chrono::milliseconds limit) {
    const auto isIdle = [this] { return !movieFileOutput_ || (isStuck_ && !isRecording()); };
    if (MainThread::serveUntil(isIdle, limit)) {
        return true;
    }
    giveUpCopies_.request_stop();
    return false;
}

void MovieRecording::willStartRecording(const Path& file) {
    environment_.log.write(fmt::format("Will start recording to {}\n", fileUrl(file)));
}

void MovieRecording::didStartRecording(const Path& file) {
    environment_.log.write(fmt::format("Did start recording to {}\n", fileUrl(file)));
}

bool MovieRecording::shouldChangeOutputFile(const Path& /*file*/, const MovieError& error) {
    environment_.log.write(fmt::format("Should change file due to error {}\n", error.text));
    return true;
}

void MovieRecording::mustChangeOutputFile(const Path& /*file*/, const MovieError& error) {
    environment_.log.write(fmt::format("Must change file due to error {}\n", error.text));
}

void MovieRecording::willFinishRecording(const Path& /*file*/) {
    onMainThread([this] { willFinishRecording(); });
}

void MovieRecording::didFinishRecording(const Path& file, const std::optional<MovieError>& error) {
    environment_.log.write(fmt::format("Recorded:\n{} Bytes\n{} Duration\n",
                                       movieFileOutput_->recordedFileSize(),
                                       movieFileOutput_->recordedDuration()));
    onMainThread([this] { recordingChanged_.emit(); });
    if (error && !error->finishedSuccessfully) {
        // Kept: the output stays with the session, so that no other recording can be started.
        onMainThread([this, problem = *error] {
            isStuck_ = true;
            present(problem);
        });
        return;
    }
    keep(file);
    onMainThread([this] { releaseOutput(); });
}

/// Moves a finished movie to the others. One that cannot be moved stays where it is, silently.
void MovieRecording::keep(const Path& file) {
    const Path folder = environment_.recordedDirectory();
    if (folder.empty()) {
        return;
    }
    const std::string name = "Ovelo_" + MyUtil::getDTString(environment_.clock) + ".mov";
    [[maybe_unused]] const auto failure = moveFile(file, folder / name, giveUpCopies_.get_token());
}

void MovieRecording::present(const MovieError& error) {
    if (window_ != nullptr) {
        window_->presentError(error.text, "");
    }
}

void MovieRecording::releaseOutput() {
    if (movieFileOutput_) {
        environment_.session.removeOutput(*movieFileOutput_);
        // The end of a recording asks it once more: the pointer goes last.
        movieFileOutput_->recordToOutputFile(std::nullopt);
        movieFileOutput_->waitForEnd();
        movieFileOutput_.reset();
        isStuck_ = false;
    }
}

void MovieRecording::onMainThread(std::function<void()> call) {
    MainThread::perform([alive = std::weak_ptr(alive_), call = std::move(call)] {
        if (alive.lock()) {
            call();
        }
    });
}

} // namespace ovelo
