#include "capture/MacRoman.h"

#include <array>

namespace ovelo {

namespace {

constexpr std::size_t kAsciiCount = 128;

// Bytes 0x80 to 0xFF, sixteen a row.
constexpr std::array<char16_t, kAsciiCount> kUpperHalf = {
    u'Ä',      u'Å', u'Ç',      u'É', u'Ñ', u'Ö', u'Ü', u'á',
    u'à',      u'â', u'ä',      u'ã', u'å', u'ç', u'é', u'è', //
    u'ê',      u'ë', u'í',      u'ì', u'î', u'ï', u'ñ', u'ó',
    u'ò',      u'ô', u'ö',      u'õ', u'ú', u'ù', u'û', u'ü', //
    u'†',      u'°', u'¢',      u'£', u'§', u'•', u'¶', u'ß',
    u'®',      u'©', u'™',      u'´', u'¨', u'≠', u'Æ', u'Ø', //
    u'∞',      u'±', u'≤',      u'≥', u'¥', u'µ', u'∂', u'∑',
    u'∏',      u'π', u'∫',      u'ª', u'º', u'Ω', u'æ', u'ø', //
    u'¿',      u'¡', u'¬',      u'√', u'ƒ', u'≈', u'∆', u'«',
    u'»',      u'…', u'\u00A0', u'À', u'Ã', u'Õ', u'Œ', u'œ', //
    u'–',      u'—', u'“',      u'”', u'‘', u'’', u'÷', u'◊',
    u'ÿ',      u'Ÿ', u'⁄',      u'€', u'‹', u'›', u'ﬁ', u'ﬂ', //
    u'‡',      u'·', u'‚',      u'„', u'‰', u'Â', u'Ê', u'Á',
    u'Ë',      u'È', u'Í',      u'Î', u'Ï', u'Ì', u'Ó', u'Ô', //
    u'\uF8FF', u'Ò', u'Ú',      u'Û', u'Ù', u'ı', u'ˆ', u'˜',
    u'¯',      u'˘', u'˙',      u'˚', u'¸', u'˝', u'˛', u'ˇ'};

char32_t characterOf(char byte) {
    const auto code = static_cast<unsigned char>(byte);
    return code < kAsciiCount ? code : kUpperHalf.at(code - kAsciiCount);
}

} // namespace

std::u32string fromMacRoman(std::string_view text) {
    std::u32string characters;
    characters.reserve(text.size());
    for (const char byte : text) {
        characters.push_back(characterOf(byte));
    }
    return characters;
}

} // namespace ovelo
