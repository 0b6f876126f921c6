#pragma once

#include "platform/Clock.h"
#include "platform/MovieFileOutput.h"

#include <sigc++/sigc++.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

namespace ovelo {

class CaptureSession;
class DocumentWindow;
class Logger;

/// Records the capture session to a movie on request, and puts the finished movie into the
/// recordings folder.
///
/// thread  main, but for the delegate's calls
class MovieRecording final : private MovieFileOutput::Delegate {
public:
    using Path = std::filesystem::path;
    using OutputFactory = std::function<std::unique_ptr<MovieFileOutput>()>;

    /// Everything that it is given; all of it outlives the recording.
    struct Environment {
        CaptureSession& session;
        Logger& log;
        const Clock& clock;
        OutputFactory output;                    // see movieOutputFactory()
        std::function<Path()> recordedDirectory; // where movies are kept; empty: nowhere
        Path temporary;                          // where they are written
    };

    /// With the user's recordings folder and the process's temporary folder.
    static Environment environment(CaptureSession& session, Logger& log, const Clock& clock,
                                   OutputFactory output);

    explicit MovieRecording(Environment environment);

    /// Ends a recording that goes on, within a few seconds.
    ~MovieRecording() override;
    MovieRecording(const MovieRecording&) = delete;
    MovieRecording& operator=(const MovieRecording&) = delete;

    /// Where errors are shown; none before it is set.
    void setWindow(DocumentWindow* window) { window_ = window; }

    /// Begins to record, unless a recording goes on, is being finished, or has ended in an error.
    void startRecording();

    void stopRecording();

    /// Begins or ends the writing of the movie file; ending takes a moment, which is not waited for.
    void setRecording(bool recording);

    /// A movie file is being written. Main thread only.
    [[nodiscard]] bool isRecording() const;

    /// Serves the main thread until nothing is being recorded, finished or moved: how the end of the
    /// program waits for a recording that was told to end.
    ///
    /// return  false when the limit is over first; a movie that is being copied stays in the
    ///         temporary folder then
    bool waitUntilIdle(std::chrono::milliseconds limit);

    /// isRecording() is about to be another value. Emitted on the main thread.
    sigc::signal<void()>& recordingWillChange() { return recordingWillChange_; }

    /// isRecording() may be another value now. Emitted on the main thread.
    sigc::signal<void()>& recordingChanged() { return recordingChanged_; }

private:
    void willStartRecording(const Path& file) override;
    void didStartRecording(const Path& file) override;
    bool shouldChangeOutputFile(const Path& file, const MovieError& error) override;
    void mustChangeOutputFile(const Path& file, const MovieError& error) override;
    void willFinishRecording(const Path& file) override;
    void didFinishRecording(const Path& file, const std::optional<MovieError>& error) override;

    [[nodiscard]] Path temporaryFile() const;
    void keep(const Path& file);
    void willFinishRecording() { recordingWillChange_.emit(); }
    void present(const MovieError& error);
    void releaseOutput();
    void onMainThread(std::function<void()> call);

    Environment environment_;
    DocumentWindow* window_ = nullptr;
    sigc::signal<void()> recordingWillChange_;
    sigc::signal<void()> recordingChanged_;
    bool isStuck_ = false; // an error left the output where it is
    std::stop_source giveUpCopies_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
    std::unique_ptr<MovieFileOutput> movieFileOutput_; // its end calls the delegate: it goes first
};

} // namespace ovelo
