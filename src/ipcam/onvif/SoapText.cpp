#include "ipcam/onvif/SoapText.h"

#include "support/XML/My_XMLElement.h"

namespace ovelo::soap {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

} // namespace

std::string escaped(std::string_view text) {
    std::string result;
    for (const char letter : text) {
        switch (letter) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        case '\'':
            result += "&apos;";
            break;
        default:
            result += letter;
        }
    }
    return result;
}

std::vector<My_XMLElement> elements(const My_XMLElement& element, const std::string& localName) {
    const std::string path = ".//*[local-name()='" + localName + "']";
    return element.elementsForXPath(path.c_str()).value_or(std::vector<My_XMLElement>{});
}

std::string firstText(const My_XMLElement& element, const std::string& localName) {
    const auto found = elements(element, localName);
    if (found.empty()) {
        return {};
    }
    const std::string text = found.front().textContent();
    const std::size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

std::vector<std::string> words(std::string_view text) {
    std::vector<std::string> result;
    while (true) {
        const std::size_t begin = text.find_first_not_of(kBlanks);
        if (begin == std::string_view::npos) {
            return result;
        }
        text.remove_prefix(begin);
        const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
        result.emplace_back(word);
        text.remove_prefix(word.size());
    }
}

} // namespace ovelo::soap
