// ovelo-settings: the settings store from a shell.

#include "platform/IniSettings.h"
#include "platform/Utf8.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <exception>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace ovelo;

using Arguments = std::vector<std::string>;

constexpr const char* kHelp =
    R"(ovelo-settings: shows and changes the settings of Ovelo, also while it runs.

  ovelo-settings read                     all settings as "key = value", passwords included
  ovelo-settings read KEY                 one setting; an array one item a line
  ovelo-settings write KEY VALUE          a text
  ovelo-settings write KEY -string VALUE  the same, for a text that looks like one of these words
  ovelo-settings write KEY -int VALUE     a whole number
  ovelo-settings write KEY -bool VALUE    true or false (also yes or no, 1 or 0)
  ovelo-settings write KEY -array VALUE... any number of texts, none for an empty array
  ovelo-settings delete KEY               takes a setting away, so that its default holds;
                                          nothing happens when it is not there
  ovelo-settings --help

The settings are the file $XDG_CONFIG_HOME/Ovelo/Ovelo.ini (~/.config/Ovelo/Ovelo.ini).
The exit status is 0, or 1 with a message for an unknown key, a value that does not
parse, a wrong call, or a file that cannot be written.
)";

int fail(const std::string& message) {
    fmt::print(stderr, "ovelo-settings: {}\n", message);
    return 1;
}

int wrongCall() {
    return fail("wrong arguments; see ovelo-settings --help");
}

/// A text that stays on its line.
std::string onOneLine(std::string_view text) {
    std::string line;
    for (const char c : text) {
        if (c == '\n') {
            line += "\\n";
        } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            line += fmt::format("\\x{:02x}", c);
        } else {
            line += c;
        }
    }
    return line;
}

std::string readable(const Settings::Array& items) {
    if (items.size() == 1) {
        return onOneLine(items.front());
    }
    std::string text;
    for (const auto& item : items) {
        text += fmt::format("{}\"{}\"", text.empty() ? "" : ", ", onOneLine(item));
    }
    return "[" + text + "]";
}

int readAll(const Settings& settings) {
    for (const auto& key : settings.keys()) {
        fmt::print("{} = {}\n", key, readable(settings.array(key).value_or(Settings::Array())));
    }
    return 0;
}

int readOne(const Settings& settings, const std::string& key) {
    const auto items = settings.array(key);
    if (!items) {
        return fail("there is no setting \"" + key + "\"");
    }
    for (const auto& item : *items) {
        fmt::print("{}\n", item);
    }
    return 0;
}

/// What the store can hold as one key of its own.
bool isKey(const std::string& key) {
    const auto isBad = [](unsigned char c) {
        return c <= ' ' || c == 0x7F || c == '/' || c == '\\';
    };
    return !key.empty() && isUtf8(key) && std::none_of(key.begin(), key.end(), isBad);
}

std::optional<Settings::Array> parseInteger(const std::string& value) {
    int number = 0;
    const auto* end = value.data() + value.size();
    const auto [rest, error] = std::from_chars(value.data(), end, number);
    if (error != std::errc{} || rest != end) {
        return std::nullopt;
    }
    return Settings::Array{std::to_string(number)};
}

std::optional<Settings::Array> parseBoolean(const std::string& value) {
    for (const char* word : {"true", "yes", "1"}) {
        if (::strcasecmp(value.c_str(), word) == 0) {
            return Settings::Array{"true"};
        }
    }
    for (const char* word : {"false", "no", "0"}) {
        if (::strcasecmp(value.c_str(), word) == 0) {
            return Settings::Array{"false"};
        }
    }
    return std::nullopt;
}

/// return  what to store, or nothing when the values do not fit the type
std::optional<Settings::Array> parseValue(const std::string& type, const Arguments& values) {
    if (type == "-array") {
        return values;
    }
    if (values.size() != 1) {
        return std::nullopt;
    }
    if (type == "-int") {
        return parseInteger(values.front());
    }
    return type == "-bool" ? parseBoolean(values.front()) : values;
}

int saved(const IniSettings& settings) {
    return settings.isSaved() ? 0 : fail("nothing was stored");
}

int writeOne(IniSettings& settings, const std::string& key, Arguments values) {
    if (!isKey(key)) {
        return fail("\"" + key + "\" cannot be a key");
    }
    const bool typed = !values.empty() && (values[0] == "-string" || values[0] == "-int" ||
                                           values[0] == "-bool" || values[0] == "-array");
    const std::string type = typed ? values[0] : "-string";
    values.erase(values.begin(), values.begin() + (typed ? 1 : 0));
    const auto items = parseValue(type, values);
    if (!items || !std::all_of(items->begin(), items->end(), isUtf8)) {
        return fail(
            fmt::format("\"{}\" is no value of type {}", fmt::join(values, " "), type.substr(1)));
    }
    settings.setArray(key, *items);
    return saved(settings);
}

int deleteOne(IniSettings& settings, const std::string& key) {
    settings.remove(key);
    return saved(settings);
}

int run(const Arguments& arguments) {
    if (arguments.size() == 1 && (arguments[0] == "--help" || arguments[0] == "-h")) {
        fmt::print("{}", kHelp);
        return 0;
    }
    const std::string command = arguments.empty() ? "" : arguments[0];
    const bool hasKey = arguments.size() >= 2;
    const bool complete = (command == "read" && arguments.size() <= 2) ||
                          (command == "write" && hasKey) ||
                          (command == "delete" && arguments.size() == 2);
    if (!complete) {
        return wrongCall();
    }
    IniSettings settings;
    if (command == "write") {
        return writeOne(settings, arguments[1], Arguments(arguments.begin() + 2, arguments.end()));
    }
    if (command == "delete") {
        return deleteOne(settings, arguments[1]);
    }
    return hasKey ? readOne(settings, arguments[1]) : readAll(settings);
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(Arguments(argv + 1, argv + argc));
    } catch (const std::exception& failure) { // such as a full disk behind the output
        std::fprintf(stderr, "ovelo-settings: %s\n", failure.what());
        return 1;
    }
}
