#include "platform/IniText.h"

#include "platform/Utf8.h"

#include <algorithm>

namespace ovelo {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool isBinary(std::string_view text) {
    const auto isControl = [](unsigned char c) {
        return c < 0x20 && c != '\t' && c != '\n' && c != '\r';
    };
    return !isUtf8(text) || std::any_of(text.begin(), text.end(), isControl);
}

struct Line {
    std::string_view text;
    bool hasEquals = false;
    bool quotationOpen = false;

    [[nodiscard]] bool saysSomething() const {
        const bool section = text.front() == '[' && text.find(']') != std::string_view::npos;
        const bool comment = text.front() == ';' || text.front() == '#';
        return hasEquals || section || comment;
    }
};

/// Takes one line off `rest`, which is not empty, with the line's limits where Qt sees them: a
/// backslash takes the next character along, a line end in a quotation ends nothing, and ';' begins
/// a comment.
Line takeLine(std::string_view& rest) {
    Line line;
    bool inComment = false;
    std::size_t i = 0;
    for (; i < rest.size(); ++i) {
        const char c = rest[i];
        if ((c == '\n' || c == '\r') && !line.quotationOpen) {
            break;
        }
        if (inComment) {
            continue;
        }
        if (c == '\\') {
            ++i;
        } else if (c == '"') {
            line.quotationOpen = !line.quotationOpen;
        } else if (!line.quotationOpen) {
            line.hasEquals = line.hasEquals || c == '=';
            inComment = c == ';';
        }
    }
    line.text = rest.substr(0, i);
    rest.remove_prefix(std::min(i, rest.size()));
    return line;
}

void skipBlanks(std::string_view& rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
}

} // namespace

std::optional<std::string> damageOfIniText(std::string_view text) {
    if (isBinary(text)) {
        return "it is not a text";
    }
    std::string_view rest = text;
    for (skipBlanks(rest); !rest.empty(); skipBlanks(rest)) {
        const Line line = takeLine(rest);
        if (line.quotationOpen) {
            return "a quotation in it does not end";
        }
        if (!line.saysSomething()) {
            const auto before = text.substr(0, text.size() - rest.size() - line.text.size());
            const auto number = 1 + std::count(before.begin(), before.end(), '\n');
            return "its line " + std::to_string(number) + " is not \"key=value\"";
        }
    }
    return std::nullopt;
}

} // namespace ovelo
