#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovelo {

class My_XMLElement;
class XMLDocument;

/// Small things about the XML texts that cameras send and get.
///
/// thread  any
namespace soap {

/// The text with &, <, >, " and ' written so that XML keeps them.
std::string escaped(std::string_view text);

/// The elements of this local name anywhere inside `element`, in document order; whatever prefixes
/// and namespaces a camera uses.
std::vector<My_XMLElement> elements(const My_XMLElement& element, const std::string& localName);

/// The text of the first of them without blanks around it, or "".
std::string firstText(const My_XMLElement& element, const std::string& localName);

/// The words of a text that is a list.
std::vector<std::string> words(std::string_view text);

} // namespace soap

} // namespace ovelo
