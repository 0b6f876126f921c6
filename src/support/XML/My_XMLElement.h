#pragma once

#include "support/XML/XMLNode.h"
#include "support/XML/XMLUtilities.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ovelo {

/// An element of a document.
///
/// thread  whoever uses the document
class My_XMLElement final : public XMLNode {
public:
    using XMLNode::XMLNode;

    /// The elements that an XPath expression finds, in document order; an expression that begins
    /// with "/" searches the whole document.
    ///
    /// path    null is an error
    /// error   may be null; why there is no list
    [[nodiscard]] std::optional<std::vector<My_XMLElement>>
    elementsForXPath(const char* path, XMLError* error = nullptr) const;

    /// prepareNamespaces  names as in "prefix:name", whose prefixes the expression may use
    [[nodiscard]] std::optional<std::vector<My_XMLElement>>
    elementsForXPath(const char* path, const std::vector<std::string>& prepareNamespaces,
                     XMLError* error) const;

    /// All text inside the element, as it stands; "" when there is none.
    [[nodiscard]] std::string textContent() const;

    /// The attributes that are not empty, by name.
    [[nodiscard]] std::map<std::string, std::string> attributes() const;

    /// name  not null
    [[nodiscard]] std::optional<std::string> attributeNamed(const char* name) const;
};

} // namespace ovelo
