#include "platform/MailEncoding.h"

#include <algorithm>
#include <array>

namespace ovelo::mailencoding {

namespace {

constexpr std::string_view kBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kLine = 76;      // RFC 2045, 6.7 and 6.8
constexpr std::size_t kLineBytes = 57; // that many make a line of base64
constexpr std::size_t kWordBytes = 42; // in one encoded word: 12 + 56 of its 75 characters
constexpr std::size_t kPlainHeader = 60;
constexpr std::string_view kLineEnd = "\r\n";

bool isPrintable(char character) {
    return character >= ' ' && character <= '~';
}

std::string escaped(char character) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(character);
    return {'=', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
}

/// One line of a text, without its end. Blanks at its end would be lost on the way.
std::string quotedLine(std::string_view line) {
    std::string result;
    std::size_t column = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const bool isLast = i + 1 == line.size();
        const bool isBlank = line[i] == ' ' || line[i] == '\t';
        const bool isPlain =
            (isPrintable(line[i]) && line[i] != '=' && !isBlank) || (isBlank && !isLast);
        const std::string piece = isPlain ? std::string(1, line[i]) : escaped(line[i]);
        if (column + piece.size() > kLine - 1) { // the last place is for the soft line break
            result.append("=").append(kLineEnd);
            column = 0;
        }
        result += piece;
        column += piece.size();
    }
    return result;
}

} // namespace

std::string base64(std::span<const std::uint8_t> bytes) {
    std::string result;
    result.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto rest = std::min<std::size_t>(3, bytes.size() - i);
        std::array<std::uint32_t, 3> group{};
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(i), rest, group.begin());
        const std::uint32_t bits = group[0] << 16U | group[1] << 8U | group[2];
        for (std::size_t digit = 0; digit < 4; ++digit) {
            result += digit <= rest ? kBase64[bits >> (18U - 6U * digit) & 0x3FU] : '=';
        }
    }
    return result;
}

std::string base64(std::string_view text) {
    return base64(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

std::string base64Lines(std::span<const std::uint8_t> bytes) {
    std::string result;
    result.reserve((bytes.size() / kLineBytes + 1) * (kLine + kLineEnd.size()));
    while (!bytes.empty()) {
        const auto line = bytes.first(std::min(kLineBytes, bytes.size()));
        result.append(base64(line)).append(kLineEnd);
        bytes = bytes.subspan(line.size());
    }
    return result;
}

std::string quotedPrintable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        const bool hasEnd = end != std::string_view::npos;
        text.remove_prefix(hasEnd ? end + 1 : text.size());
        if (hasEnd && line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        result.append(quotedLine(line)).append(hasEnd ? kLineEnd : "");
    }
    return result;
}

std::string headerText(std::string_view text) {
    // A text with "=?" could be taken for an encoded word.
    const bool isPlain = text.size() <= kPlainHeader && std::ranges::all_of(text, isPrintable) &&
                         text.find("=?") == std::string_view::npos;
    return isPlain ? std::string(text) : encodedWords(text);
}

std::string encodedWords(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const auto piece = text.substr(0, wholeCharacters(text, kWordBytes));
        result.append(result.empty() ? "" : "\r\n ");
        result.append("=?UTF-8?B?").append(base64(piece)).append("?=");
        text.remove_prefix(piece.size());
    }
    return result;
}

std::size_t wholeCharacters(std::string_view text, std::size_t limit) {
    if (text.size() <= limit) {
        return text.size();
    }
    std::size_t length = limit;
    while (length > 1 && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U) {
        --length;
    }
    return length;
}

} // namespace ovelo::mailencoding
