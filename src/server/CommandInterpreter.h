#pragma once

#include <string>
#include <string_view>

namespace ovelo {

class CommandSession;
class Logger;
class Settings;
class ViewerDocument;

/// Carries out the lines that a viewer sends: COMMAND "," ARGUMENT. docs/viewer-protocol.md
/// describes them all.
///
/// Commands are carried out whether or not the viewer has authenticated; nothing is trimmed, and
/// names are compared exactly. A line without a comma, or with an unknown command, is logged and
/// not answered.
///
/// thread  the session's reader thread
class CommandInterpreter {
public:
    CommandInterpreter(CommandSession& session, ViewerDocument& document, Settings& settings,
                       Logger& log);

    void prccessLine(const std::string& line, int connection_type); // sic

private:
    /// What follows the first comma, and where the line came from.
    struct Command {
        std::string argument;
        int connection_type = 0;
    };
    using Handler = void (CommandInterpreter::*)(const Command&);
    static Handler find(std::string_view name);

    void password(const Command& command);
    void frameRate(const Command& command);
    void audio(const Command& command);
    void sync(const Command& command);
    void hello(const Command& command);
    void getSources(const Command& command);
    void getRecorded(const Command& command);
    void start(const Command& command);
    void stop(const Command& command);
    void record(const Command& command);
    void playback(const Command& command);
    void nightVision(const Command& command);
    void webcamConfig(const Command& command);
    void motionConfig(const Command& command);
    void apns(const Command& command);
    void reply(const std::string& line, const Command& command);
    void toggle(std::string_view key);

    // Given, not owned.
    CommandSession& session_;
    ViewerDocument& document_;
    Settings& settings_;
    Logger& log_;
};

} // namespace ovelo
