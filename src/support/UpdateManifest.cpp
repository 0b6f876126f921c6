#include "support/UpdateManifest.h"

#include "platform/Utf8.h"

#include <array>
#include <cstddef>

namespace ovelo {

namespace {

constexpr std::size_t kLinesThatCount = 3;

/// Takes the first line off `text`, and its end.
std::string_view takeLine(std::string_view& text) {
    const std::size_t end = text.find_first_of("\r\n");
    const std::string_view line = text.substr(0, end);
    if (end == std::string_view::npos) {
        text = {};
        return line;
    }
    const bool isPair = text.substr(end).starts_with("\r\n");
    text.remove_prefix(end + (isPair ? 2 : 1));
    return line;
}

} // namespace

Result<UpdateManifest> UpdateManifest::parse(std::string_view text) {
    if (!isUtf8(text)) {
        return Failure{"the manifest is not UTF-8 text"};
    }
    std::array<std::string_view, kLinesThatCount> lines;
    std::size_t count = 0;
    while (count < lines.size() && !text.empty()) {
        lines.at(count++) = takeLine(text);
    }
    if (count < 2) {
        return Failure{"the manifest has no line with a link"};
    }
    return UpdateManifest{std::string(lines.front()), std::string(lines.at(count - 1))};
}

} // namespace ovelo
