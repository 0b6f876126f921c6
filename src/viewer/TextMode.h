#pragma once

#include "viewer/DataSourceList.h"
#include "viewer/PictureFiles.h"
#include "viewer/ViewerArguments.h"
#include "viewer/ViewerClient.h"

#include <chrono>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

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
    void chooseSource(const DataSourceList& list);
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
    bool sourceChosen_ = false;
    Clock::time_point deadline_;
    std::optional<ViewerExit> exit_;
};

} // namespace ovelo
