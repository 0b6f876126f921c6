#include "capture/MacRoman.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <set>
#include <string>

namespace ovelo {

namespace {

/// What the system's own tables say of one byte; 0 when they do not know it.
char32_t systemCharacter(char byte) {
    const iconv_t converter = ::iconv_open("UTF-32LE", "MACINTOSH");
    char32_t character = 0;
    char* input = &byte;
    char* output = reinterpret_cast<char*>(&character);
    std::size_t inputLeft = 1;
    std::size_t outputLeft = sizeof character;
    ::iconv(converter, &input, &inputLeft, &output, &outputLeft);
    ::iconv_close(converter);
    return character;
}

} // namespace

TEST(MacRomanTest, AsciiIsItself) {
    EXPECT_EQ(fromMacRoman("Demo Camera 1/31/24"), U"Demo Camera 1/31/24");
}

TEST(MacRomanTest, TheBytesOfUtf8AreCharactersOfTheirOwn) {
    EXPECT_EQ(fromMacRoman("Caf\xC3\xA9"), U"Caf√©");
}

TEST(MacRomanTest, AgreesWithTheSystemsTables) {
    // The system's table is older: since then the Euro sign took the place of the currency sign,
    // and two bytes got code points of their own.
    const std::set<int> newer = {0xC6, 0xDB, 0xF0};
    for (int code = 1; code < 256; ++code) {
        const char byte = static_cast<char>(code);
        const char32_t expected = systemCharacter(byte);
        if (expected != 0 && !newer.contains(code)) {
            EXPECT_EQ(fromMacRoman({&byte, 1}).front(), expected) << std::hex << code;
        }
    }
}

TEST(MacRomanTest, HasTheNewerCharacters) {
    EXPECT_EQ(fromMacRoman("\xC6\xDB\xF0"), U"∆€\uF8FF");
}

} // namespace ovelo
