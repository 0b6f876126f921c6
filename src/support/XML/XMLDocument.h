#pragma once

#include "support/XML/My_XMLElement.h"
#include "support/XML/XMLUtilities.h"

#include <memory>
#include <optional>
#include <string>

struct _xmlDoc;

namespace ovelo {

/// A document that has been read; owns all its nodes.
///
/// thread  one at a time
class XMLDocument final {
public:
    /// Reads a document; see XMLReader for what is refused.
    ///
    /// text    UTF-8; null: nothing comes back, without an error
    /// error   may be null; why there is no document
    static std::unique_ptr<XMLDocument> documentWithXMLString(const char* text,
                                                              XMLError* error = nullptr);

    /// Takes the library's document over, which has a root element.
    static std::unique_ptr<XMLDocument> documentWithXMLDocument(_xmlDoc* document);

    ~XMLDocument();
    XMLDocument(const XMLDocument&) = delete;
    XMLDocument& operator=(const XMLDocument&) = delete;

    [[nodiscard]] const My_XMLElement& rootElement() const { return _rootElement_; }

    /// The document as text.
    [[nodiscard]] std::optional<std::string> XMLString() const;

private:
    explicit XMLDocument(_xmlDoc* document);

    _xmlDoc* const _xmlDocument_;
    const My_XMLElement _rootElement_;
};

} // namespace ovelo
