#include "platform/CaptureSourceEntry.h"

#include "platform/Utf8.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <utility>

namespace ovelo {

namespace {

std::optional<MediaType> typeOf(std::string_view letter) {
    constexpr std::array<std::pair<std::string_view, MediaType>, 3> kLetters = {
        {{"v", MediaType::Video}, {"a", MediaType::Sound}, {"m", MediaType::Muxed}}};
    for (const auto& [name, type] : kLetters) {
        if (name == letter) {
            return type;
        }
    }
    return std::nullopt;
}

/// Names and sources go out to viewers on one line, so they hold no line feed.
bool hasControls(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

bool isBlank(std::string_view text) {
    return text.find_first_not_of(' ') == std::string_view::npos;
}

/// True when `source` goes on after `scheme`, whose letter case does not matter.
bool hasScheme(std::string_view source, std::string_view scheme) {
    return source.size() > scheme.size() &&
           std::equal(scheme.begin(), scheme.end(), source.begin(), [](char wanted, char there) {
               return std::tolower(static_cast<unsigned char>(there)) == wanted;
           });
}

} // namespace

Result<CaptureSourceEntry> CaptureSourceEntry::parse(std::string_view text) {
    if (!isUtf8(text) || hasControls(text)) {
        return Failure{"it is not one line of UTF-8 text"};
    }
    const auto first = text.find('|');
    const auto second = first == std::string_view::npos ? first : text.find('|', first + 1);
    // A third bar would split the source in the line that viewers get.
    if (second == std::string_view::npos || text.find('|', second + 1) != std::string_view::npos) {
        return Failure{"it is not of the form kind|name|source"};
    }
    const auto type = typeOf(text.substr(0, first));
    if (!type) {
        return Failure{"its kind is not v, a or m"};
    }
    const auto name = text.substr(first + 1, second - first - 1);
    const auto source = text.substr(second + 1);
    if (isBlank(name) || isBlank(source)) {
        return Failure{"its name or its source is empty"};
    }
    return CaptureSourceEntry{*type, std::string(name), std::string(source)};
}

SourceForm formOfSource(std::string_view source) {
    if (hasScheme(source, "file://")) {
        return SourceForm::File;
    }
    constexpr std::array<std::string_view, 4> kNetwork = {"rtsp://", "rtspt://", "http://",
                                                          "https://"};
    const bool isNetwork = std::any_of(kNetwork.begin(), kNetwork.end(),
                                       [&](auto scheme) { return hasScheme(source, scheme); });
    return isNetwork ? SourceForm::Network : SourceForm::Description;
}

} // namespace ovelo
