#include "support/XML/My_XMLElement.h"

#include "platform/Assert.h"
#include "platform/CHandle.h"

#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <string_view>
#include <utility>

namespace ovelo {

namespace {

using Context = CHandle<xmlXPathContext, &::xmlXPathFreeContext>;
using Outcome = CHandle<xmlXPathObject, &::xmlXPathFreeObject>;

const xmlChar* xmlText(const char* text) {
    return reinterpret_cast<const xmlChar*>(text);
}

/// The library would print the error; we report it.
void keepQuiet(void* /*data*/, xmlError* /*error*/) {
}

Context newContext(xmlDoc* document) {
    Context context(::xmlXPathNewContext(document));
    if (context) {
        context->error = &keepQuiet;
    }
    return context;
}

/// return  false when one was refused
bool registerPrefixes(xmlXPathContext* context, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        const std::size_t colon = name.find(':');
        if (colon == std::string::npos) {
            continue;
        }
        const std::string prefix = name.substr(0, colon);
        if (::xmlXPathRegisterNs(context, xmlText(prefix.c_str()), xmlText("")) != 0) {
            return false;
        }
    }
    return true;
}

} // namespace

std::optional<std::vector<My_XMLElement>> My_XMLElement::elementsForXPath(const char* path,
                                                                          XMLError* error) const {
    return elementsForXPath(path, {}, error);
}

std::optional<std::vector<My_XMLElement>>
My_XMLElement::elementsForXPath(const char* path, const std::vector<std::string>& prepareNamespaces,
                                XMLError* error) const {
    Context context = newContext(document());
    if (context && !registerPrefixes(context.get(), prepareNamespaces)) {
        context = newContext(document()); // without any of them
    }
    if (path == nullptr) {
        XMLUtilities::setError(error, "-[XMLElement _nodesForXPath:] XPath argument is nil.");
        return std::nullopt;
    }
    if (!context) {
        XMLUtilities::setError(error,
                               "-[XMLElement _nodesForXPath:] couldn't create an xmlXPathContext.");
        return std::nullopt;
    }
    context->node = node();
    const Outcome outcome(::xmlXPathEvalExpression(xmlText(path), context.get()));
    if (!outcome) {
        XMLUtilities::setError(error, "xmlXPathEvalExpression() failed.");
        return std::nullopt;
    }
    std::vector<My_XMLElement> elements;
    const xmlNodeSet* const found = outcome->nodesetval;
    for (int i = 0; found != nullptr && i < found->nodeNr; ++i) {
        if (found->nodeTab[i]->type == XML_ELEMENT_NODE) {
            elements.emplace_back(found->nodeTab[i], document());
        }
    }
    return elements;
}

std::string My_XMLElement::textContent() const {
    xmlChar* const text = ::xmlNodeGetContent(node());
    auto content = XMLUtilities::stringWithXMLChar(text);
    ::xmlFree(text);
    return std::move(content).value_or("");
}

std::map<std::string, std::string> My_XMLElement::attributes() const {
    std::map<std::string, std::string> result;
    if (node()->type != XML_ELEMENT_NODE) {
        return result;
    }
    for (const xmlAttr* attribute = node()->properties; attribute != nullptr;
         attribute = attribute->next) {
        xmlChar* const text = ::xmlGetProp(node(), attribute->name);
        auto name = XMLUtilities::stringWithXMLChar(attribute->name);
        auto value = XMLUtilities::stringWithXMLChar(text);
        ::xmlFree(text);
        if (name && value) {
            result[std::move(*name)] = std::move(*value);
        }
    }
    return result;
}

std::optional<std::string> My_XMLElement::attributeNamed(const char* name) const {
    OVELO_ASSERT(name != nullptr, "-[XMLElement attributeNamed:] 'name' argument is nil.");
    auto all = attributes();
    const auto found = all.find(name);
    if (found == all.end()) {
        return std::nullopt;
    }
    return std::move(found->second);
}

} // namespace ovelo
