#pragma once

#include "viewer/DataSourceList.h"
#include "viewer/LineInput.h"
#include "viewer/PictureFiles.h"
#include "viewer/RecordingList.h"
#include "viewer/SoundSaver.h"
#include "viewer/ViewerArguments.h"
#include "viewer/ViewerClient.h"

#include <chrono>
#include <functional>
#include <iosfwd>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ovelo {

/// How ovelo-viewer ends.
enum class ViewerExit { Done = 0, Failed = 1, Usage = 2, Password = 3 };

/// The viewer without a window: prints what the server says, or writes pictures to files.
///
/// thread  one; run() waits
class TextMode {
public:
    /// Asks the user for a password; none when there is nobody to ask.
    using Ask = std::function<std::optional<std::string>()>;

    /// out    the server's lines; the password is never among them
    /// error  what went wrong
    TextMode(ViewerArguments arguments, std::ostream& out, std::ostream& error, Ask ask);

    /// What the user types is sent from the moment on when the session is open; only with --text.
    ///
    /// fd  outlives this
    void readCommandsFrom(int fd) { input_ = fd; }

    /// For saving sound that is compressed.
    void decodeWith(SoundDecoder::Create createDecoder) {
        createDecoder_ = std::move(createDecoder);
    }

    ViewerExit run();

private:
    using Clock = std::chrono::steady_clock;

    void handle(const GreetingEvent& event);
    void handle(const AuthenticationEvent& event);
    void handle(const TextEvent& event);
    void handle(const ViewerBlock& block);
    void handle(const LostEvent& event);
    void providePassword();
    void begin(bool started);
    void askFor(bool started);
    void sendTyped();
    void chooseSource(const DataSourceList& list);
    void listRecordings(const RecordingList& list);
    void saveSound(const std::optional<Failure>& failure);
    void countPicture(const ViewerBlock& block);
    void savePicture(const ViewerBlock& block);
    void print(const std::string& line);
    void finish(ViewerExit exit, const std::string& problem = {});
    [[nodiscard]] bool mayTimeOut() const;
    [[nodiscard]] std::chrono::milliseconds turn() const;

    ViewerArguments arguments_;
    std::ostream& out_;
    std::ostream& error_;
    Ask ask_;
    ViewerClient client_;
    std::optional<PictureFiles> files_;
    unsigned pictures_ = 0;
    bool begun_ = false;
    bool sourceChosen_ = false;
    bool playbackBegun_ = false; // the pictures are those of the recording
    SoundDecoder::Create createDecoder_;
    std::optional<SoundSaver> sound_;
    Clock::time_point deadline_;
    std::optional<ViewerExit> exit_;
    std::mutex typedLock_;
    std::vector<std::string> typed_; // guarded by typedLock_; not sent yet
    int input_ = -1;
    std::optional<LineInput> typing_; // last: its thread uses the rest
};

} // namespace ovelo
