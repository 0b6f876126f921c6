#include "viewer/ViewerArguments.h"

#include <fmt/format.h>

#include <charconv>
#include <functional>
#include <map>
#include <string_view>

namespace ovelo {

namespace {

constexpr double kLongestDelay = 30;    // seconds; servers keep 600 pictures at most
constexpr double kLongestTimeout = 1e6; // seconds
constexpr std::chrono::seconds kTimeout{10};
constexpr std::chrono::seconds kUdpTimeout{90}; // a server asks twice a minute whom to answer
constexpr double kLongestSound = 3600;          // seconds
constexpr double kSlowest = 5;                  // pictures a second
constexpr double kFastest = 20;

/// What one option does with its value; the answer is a text for the user when the value will not
/// do.
using Setter = std::function<std::optional<std::string>(ViewerArguments&, const std::string&)>;

template <typename Number>
std::optional<Number> parseNumber(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

/// A number of `lowest` to `highest`; not-a-number is none.
std::optional<double> parseWithin(std::string_view text, double lowest, double highest) {
    const auto number = parseNumber<double>(text);
    return number && *number >= lowest && *number <= highest ? number : std::nullopt;
}

std::optional<std::string> setFrames(ViewerArguments& arguments, const std::string& value) {
    arguments.frames = parseNumber<unsigned>(value);
    if (!arguments.frames || *arguments.frames == 0) {
        return "--frames needs a number of pictures, at least 1";
    }
    return std::nullopt;
}

std::optional<std::string> setPassword(ViewerArguments& arguments, const std::string& value) {
    constexpr std::size_t kLongest = 2000; // so that its line is one that servers accept
    if (value.empty() || value.size() > kLongest || value.find('\n') != std::string::npos) {
        return "--password needs a text on one line";
    }
    arguments.password = value;
    return std::nullopt;
}

std::optional<std::string> setDelay(ViewerArguments& arguments, const std::string& value) {
    const auto seconds = parseWithin(value, 0, kLongestDelay);
    if (!seconds) {
        return fmt::format("--delay needs seconds, 0 to {}", kLongestDelay);
    }
    arguments.delay = *seconds;
    return std::nullopt;
}

std::optional<std::string> setFrameRate(ViewerArguments& arguments, const std::string& value) {
    arguments.frameRate = parseWithin(value, kSlowest, kFastest);
    if (!arguments.frameRate) {
        return fmt::format("--frame-rate needs pictures a second, {} to {}", kSlowest, kFastest);
    }
    return std::nullopt;
}

std::optional<std::string> setTimeout(ViewerArguments& arguments, const std::string& value) {
    const auto seconds = parseWithin(value, 0.001, kLongestTimeout);
    if (!seconds) {
        return "--timeout needs a number of seconds";
    }
    arguments.givenTimeout =
        std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(*seconds));
    return std::nullopt;
}

std::optional<std::string> setUdp(ViewerArguments& arguments, const std::string& value) {
    arguments.udpPort = parseNumber<std::uint16_t>(value);
    return arguments.udpPort ? std::nullopt
                             : std::optional<std::string>("--udp needs a port of this computer, 0 "
                                                          "for any");
}

std::optional<std::string> setSave(ViewerArguments& arguments, const std::string& value) {
    if (value.empty()) {
        return "--save needs a file name";
    }
    arguments.save = value;
    return std::nullopt;
}

std::optional<std::string> setSaveSound(ViewerArguments& arguments, const std::string& value) {
    if (value.empty()) {
        return "--save-sound needs a file name";
    }
    arguments.saveSound = value;
    return std::nullopt;
}

std::optional<std::string> setSeconds(ViewerArguments& arguments, const std::string& value) {
    const auto seconds = parseWithin(value, 0.001, kLongestSound);
    if (!seconds) {
        return fmt::format("--seconds needs a number, up to {}", kLongestSound);
    }
    arguments.seconds = *seconds;
    return std::nullopt;
}

std::optional<std::string> setPlay(ViewerArguments& arguments, const std::string& value) {
    if (value.empty()) {
        return "--play needs the name of a recording; see --list-recordings";
    }
    arguments.play = value;
    return std::nullopt;
}

std::optional<std::string> setSource(ViewerArguments& arguments, const std::string& value) {
    arguments.source = value;
    return std::nullopt;
}

std::optional<std::string> addLine(ViewerArguments& arguments, const std::string& value) {
    arguments.send.push_back(value);
    return std::nullopt;
}

const std::map<std::string_view, Setter> kValued = {
    {"--password", setPassword},    {"--save", setSave},
    {"--frames", setFrames},        {"--delay", setDelay},
    {"--source", setSource},        {"--timeout", setTimeout},
    {"--frame-rate", setFrameRate}, {"--send", addLine},
    {"--save-sound", setSaveSound}, {"--play", setPlay},
    {"--seconds", setSeconds},      {"--udp", setUdp},
};

const std::map<std::string_view, bool ViewerArguments::*> kSwitches = {
    {"--text", &ViewerArguments::text},
    {"--record", &ViewerArguments::record},
    {"--list-recordings", &ViewerArguments::listRecordings},
    {"--help", &ViewerArguments::help},
    {"-h", &ViewerArguments::help},
    {"--version", &ViewerArguments::version},
};

/// Reads the option at `index`, whose value stands behind "=" or is the next word, and goes to its
/// last word.
std::optional<std::string> readOption(ViewerArguments& arguments,
                                      const std::vector<std::string>& words, std::size_t& index) {
    const std::string& word = words[index];
    const auto equals = word.find('=');
    const std::string name = word.substr(0, equals);
    if (const auto found = kSwitches.find(name); found != kSwitches.end()) {
        arguments.*found->second = true;
        return equals == std::string::npos ? std::nullopt
                                           : std::optional(fmt::format("{} takes no value", name));
    }
    const auto found = kValued.find(name);
    if (found == kValued.end()) {
        return fmt::format("unknown option {}; see --help", name);
    }
    if (equals != std::string::npos) {
        return found->second(arguments, word.substr(equals + 1));
    }
    if (++index >= words.size()) {
        return fmt::format("{} needs a value", name);
    }
    return found->second(arguments, words[index]);
}

std::optional<std::string> readAddress(ViewerArguments& arguments, const std::string& word) {
    if (!arguments.host.empty()) {
        return fmt::format("one server only, not also \"{}\"", word);
    }
    if (!parseAddress(word, arguments.host, arguments.port)) {
        return fmt::format("\"{}\" is not a host or host:port", word);
    }
    return std::nullopt;
}

std::optional<std::string> checkTogether(const ViewerArguments& arguments) {
    if (arguments.frames && !arguments.isTextual()) {
        return "--frames goes with --save or --text";
    }
    if (arguments.udpPort && arguments.host.empty()) {
        return "--udp needs the server's public host:port";
    }
    if (arguments.play && arguments.source) {
        return "--play and --source do not go together: choosing a camera ends a playback";
    }
    return std::nullopt;
}

} // namespace

bool parseAddress(const std::string& text, std::string& host, std::uint16_t& port) {
    const auto colon = text.find(':');
    std::uint16_t number = kViewerPort;
    if (colon != std::string::npos) {
        const auto given = parseNumber<std::uint16_t>(std::string_view(text).substr(colon + 1));
        if (!given || *given == 0) {
            return false;
        }
        number = *given;
    }
    if (colon == 0 || text.empty() || text.find_first_of(" \t\n") != std::string::npos) {
        return false;
    }
    host = text.substr(0, colon);
    port = number;
    return true;
}

ViewerOptions ViewerArguments::connection() const {
    ViewerOptions options;
    options.host = host;
    options.port = port;
    options.password = password.value_or("");
    options.connectTimeout = timeout;
    if (udpPort) {
        options.udpPort = udpPort;
        options.isWholePicture = isWholePicture;
        options.revival = std::chrono::seconds(3); // what starts the pictures may have been lost
    }
    return options;
}

Result<ViewerArguments> ViewerArguments::parse(const std::vector<std::string>& words) {
    ViewerArguments arguments;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const bool isOption = words[i].size() > 1 && words[i].front() == '-';
        const auto problem =
            isOption ? readOption(arguments, words, i) : readAddress(arguments, words[i]);
        if (problem) {
            return Failure{*problem};
        }
    }
    if (const auto problem = checkTogether(arguments)) {
        return Failure{*problem};
    }
    arguments.timeout = arguments.givenTimeout.value_or(arguments.udpPort ? kUdpTimeout : kTimeout);
    return arguments;
}

const char* ViewerArguments::usage() {
    return R"(Usage: ovelo-viewer [options] [host[:port]]

Watches an Ovelo server. Without a host, servers are looked for on the local network.
The port is 1726 unless given.

  --text               no window: print the server's lines and the headers of its pictures and
                       sound; lines that are typed are sent, for instance "Audio,1"
  --save FILE          no window: write a picture to FILE and end
  --frames N           with --save: write N pictures, numbered before the extension when
                       N is more than 1; with --text alone: end after N pictures
  --save-sound FILE    no window: write sound to FILE (WAV) and end
  --seconds N          with --save-sound: of sound (10)
  --list-recordings    no window: print date and name of each recording and end
  --play NAME          no window: play a recording, for every viewer, and end with it; with --save
                       write its pictures
  --record             no window: have the server record as long as this runs
  --password TEXT      the server's password; other users of this computer may see it in the
                       list of processes, so rather leave it out and type it when asked
  --delay SECONDS      how long the server holds pictures back, 0 (none, the default) to 30
  --frame-rate N       pictures a second, 5 to 20
  --source NAME        choose a camera by its name, for every viewer of this server
  --send LINE          send a line of the protocol; may be given several times
  --udp PORT           over UDP, from this port of ours, to a server behind a router that was told
                       our public address; host:port is the server's own
  --timeout SECONDS    without a window: how long to wait for the connection and for each
                       picture that is to come (10; with --udp 90)
  --help, --version

Exit status: 0 done, 1 failed, 2 wrong usage, 3 the password is missing or wrong.
)";
}

} // namespace ovelo
