#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

/// The encodings that carry any text and any file through mail servers. Any thread.
namespace ovelo::mailencoding {

/// In one line, without line ends.
std::string base64(std::span<const std::uint8_t> bytes);
std::string base64(std::string_view text);

/// In lines of 76 characters, each with CR LF.
std::string base64Lines(std::span<const std::uint8_t> bytes);

/// RFC 2045, 6.7: a text whose lines end with LF or CR LF; those of the result are at most 76
/// characters long and end with CR LF, the last one only if the text's does.
std::string quotedPrintable(std::string_view text);

/// RFC 2047: a header field's text as it is when it is short ASCII, else in encoded words, folded.
/// text  UTF-8; what is not is carried over as it is
std::string headerText(std::string_view text);

/// The same, always in encoded words.
std::string encodedWords(std::string_view text);

/// The length of the first piece of a text that is at most `limit` bytes long and ends with a
/// character's last byte.
std::size_t wholeCharacters(std::string_view text, std::size_t limit);

} // namespace ovelo::mailencoding
