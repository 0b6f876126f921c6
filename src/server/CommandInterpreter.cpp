#include "server/CommandInterpreter.h"

#include "platform/Console.h"
#include "platform/Mutex.h"
#include "platform/Numbers.h"
#include "platform/Settings.h"
#include "server/CommandSession.h"
#include "server/ViewerDocument.h"
#include "support/Logger.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <vector>

namespace ovelo {

namespace {

std::vector<std::string> splitAtCommas(const std::string& text) {
    std::vector<std::string> fields;
    std::size_t begin = 0;
    for (std::size_t comma = text.find(','); comma != std::string::npos;
         comma = text.find(',', begin)) {
        fields.push_back(text.substr(begin, comma - begin));
        begin = comma + 1;
    }
    fields.push_back(text.substr(begin));
    return fields;
}

constexpr int kAac = 1; // ViewerDocument::setAudioFormat

bool isOne(const std::string& text) {
    return numbers::leadingInteger(text) == 1;
}

/// Held by whoever writes back what it has read, so that the change of another viewer's thread is
/// not lost.
Mutex& settingsChange() {
    static Mutex lock{LockRank::Transport};
    return lock;
}

} // namespace

CommandInterpreter::CommandInterpreter(CommandSession& session, ViewerDocument& document,
                                       Settings& settings, Logger& log)
    : session_(session)
    , document_(document)
    , settings_(settings)
    , log_(log) {
}

CommandInterpreter::Handler CommandInterpreter::find(std::string_view name) {
    using Self = CommandInterpreter;
    static const std::map<std::string_view, Handler> kHandlers = {
        {"Password", &Self::password},
        {"FrameRate", &Self::frameRate},
        {"Audio", &Self::audio},
        {"Sync", &Self::sync},
        {"Hello", &Self::hello},
        {"GetSources", &Self::getSources},
        {"GetRecorded", &Self::getRecorded},
        {"Start", &Self::start},
        {"Stop", &Self::stop},
        {"Record", &Self::record},
        {"Playback", &Self::playback},
        {"NightVision", &Self::nightVision},
        {"WebcamConfig", &Self::webcamConfig},
        {"MotionConfig", &Self::motionConfig},
        {"APNS", &Self::apns},
    };
    const auto found = kHandlers.find(name);
    return found == kHandlers.end() ? nullptr : found->second;
}

void CommandInterpreter::prccessLine(const std::string& line, int connection_type) {
    // Kept: whole lines, a password too. The log is off unless the user wants it, and only its
    // owner may read it.
    console::write(fmt::format("<{}>", line));
    log_.write(fmt::format("prccessLine(): <{}>\n", line));
    const std::size_t comma = line.find(',');
    if (comma == std::string::npos) {
        log_.write(fmt::format("prccessLine() parsing error: <{}>\n", line));
        return;
    }
    const Handler handler = find(std::string_view(line).substr(0, comma));
    if (handler == nullptr) {
        log_.write(fmt::format("Unrecognized command: <{}>\n", line));
        return;
    }
    (this->*handler)({line.substr(comma + 1), connection_type});
}

void CommandInterpreter::password(const Command& command) {
    if (command.argument != session_.getPassword()) {
        session_.writeString("AUTH_FALLED\n", command.connection_type); // sic
        return;
    }
    session_.writeString("AUTH_OK\n", command.connection_type);
    session_.setAuthenticated(command.connection_type);
    session_.sendVersion();
}

void CommandInterpreter::frameRate(const Command& command) {
    constexpr float kSlowest = 5.0F; // pictures a second at 0
    constexpr float kRange = 15.0F;  // more of them at 1
    const auto value = static_cast<float>(numbers::leadingDouble(command.argument));
    session_.setFrameRateWait(1.0F / (value * kRange + kSlowest));
}

void CommandInterpreter::audio(const Command& command) {
    const bool wanted = isOne(command.argument);
    if (wanted) {
        reply(document_.getAudioParameters(), command);
    }
    session_.setEnableSound(wanted);
}

void CommandInterpreter::sync(const Command& command) {
    constexpr double kRange = 4.0; // seconds from 0 to 1
    constexpr double kMiddle = 0.5;
    constexpr double kMiddleSeconds = 2.0;
    const double value = numbers::leadingDouble(command.argument);
    session_.setFrameDelay(static_cast<float>(kRange * (value - kMiddle) + kMiddleSeconds));
}

void CommandInterpreter::hello(const Command& /*command*/) {
    // A sign of life: that a line came is all it says.
}

void CommandInterpreter::getSources(const Command& command) {
    if (command.argument == "AAC") {
        document_.setAudioFormat(kAac);
    }
    reply(document_.getDataSource(), command);
}

void CommandInterpreter::getRecorded(const Command& command) {
    reply(document_.getRecordedList(), command);
}

void CommandInterpreter::reply(const std::string& line, const Command& command) {
    if (!line.empty()) {
        session_.writeString(line, command.connection_type);
    }
}

void CommandInterpreter::start(const Command& command) {
    document_.stopPlayback();
    document_.setDataSource(command.argument);
    session_.setStarted(command.connection_type, true);
}

void CommandInterpreter::stop(const Command& command) {
    session_.setStarted(command.connection_type, false);
}

void CommandInterpreter::record(const Command& command) {
    document_.setStartRecording(numbers::leadingBoolean(command.argument));
}

void CommandInterpreter::playback(const Command& command) {
    document_.startPlayback(command.argument);
    session_.setStarted(command.connection_type, true);
}

void CommandInterpreter::nightVision(const Command& command) {
    settings_.setBoolean("night_vision", isOne(command.argument));
}

void CommandInterpreter::webcamConfig(const Command& command) {
    const std::string& operation = command.argument;
    // Kept: clockwise turns left and counter-clockwise turns right.
    if (operation == "RC") {
        document_.rotateLeft();
    } else if (operation == "RCC") {
        document_.rotateRight();
    } else if (operation == "FV") {
        toggle("flip_vertically");
    } else if (operation == "FH") {
        toggle("flip_horizontally");
    } else if (operation == "SD") {
        toggle("show_devicename");
    } else if (operation == "ST") {
        toggle("show_timestamp");
    }
}

void CommandInterpreter::toggle(std::string_view key) {
    const MutexLock lock(settingsChange());
    settings_.setBoolean(key, !settings_.boolean(key));
}

void CommandInterpreter::motionConfig(const Command& command) {
    const std::vector<std::string> fields = splitAtCommas(command.argument);
    settings_.setString("motionSense", fields.front());
    constexpr std::array<std::string_view, 3> kSwitches = {"useMotionEmail", "useMotionRecord",
                                                           "usePushNotification"};
    for (std::size_t index = 0; index < kSwitches.size() && index + 1 < fields.size(); ++index) {
        settings_.setBoolean(kSwitches.at(index), isOne(fields[index + 1]));
    }
}

void CommandInterpreter::apns(const Command& command) {
    constexpr std::size_t kMostTokens =
        256; // nobody has more phones; a peer must not fill the disk
    const MutexLock lock(settingsChange());
    Settings::Array tokens = settings_.array("devList").value_or(Settings::Array());
    const bool isNew = std::find(tokens.begin(), tokens.end(), command.argument) == tokens.end();
    if (isNew && tokens.size() >= kMostTokens) {
        log_.write("prccessLine() too many device tokens\n");
        return;
    }
    if (isNew) {
        tokens.push_back(command.argument);
    }
    settings_.setArray("devList", tokens);
}

} // namespace ovelo
