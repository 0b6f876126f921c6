#include "support/XML/XMLDocument.h"

#include "support/XML/XMLReader.h"

#include <libxml/tree.h>

namespace ovelo {

std::unique_ptr<XMLDocument> XMLDocument::documentWithXMLString(const char* text, XMLError* error) {
    return XMLReader::parseXMLString(text, error);
}

std::unique_ptr<XMLDocument> XMLDocument::documentWithXMLDocument(_xmlDoc* document) {
    return std::unique_ptr<XMLDocument>(new XMLDocument(document)); // its constructor is private
}

XMLDocument::XMLDocument(_xmlDoc* document)
    : _xmlDocument_(document)
    , _rootElement_(::xmlDocGetRootElement(document), document) {
}

XMLDocument::~XMLDocument() {
    ::xmlFreeDoc(_xmlDocument_);
}

std::optional<std::string> XMLDocument::XMLString() const {
    xmlChar* text = nullptr;
    int size = 0;
    ::xmlDocDumpMemory(_xmlDocument_, &text, &size);
    auto result = XMLUtilities::stringWithXMLChar(text);
    ::xmlFree(text);
    return result;
}

} // namespace ovelo
