#include "support/XML/XMLReader.h"

#include "platform/CHandle.h"
#include "support/XML/XMLDocument.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <cstring>
#include <mutex>

namespace ovelo {

namespace {

using Context = CHandle<xmlParserCtxt, &::xmlFreeParserCtxt>;
using Document = CHandle<xmlDoc, &::xmlFreeDoc>;

// The library prints nothing, and asks nobody.
constexpr int kOptions = XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NONET;

void refuseEntity(void* context, const xmlChar* /*name*/, int /*type*/, const xmlChar* /*publicId*/,
                  const xmlChar* /*systemId*/, xmlChar* /*content*/) {
    auto* const parser = static_cast<xmlParserCtxt*>(context);
    ::xmlStopParser(parser);
    parser->wellFormed = 0; // or what has been read would pass for a document
}

/// Once, before the first of several threads may use the library. Its clean-up is left to the end
/// of the process: other libraries here use it, too.
void prepareLibrary() {
    static std::once_flag prepared;
    std::call_once(prepared, [] { ::xmlInitParser(); });
}

/// Why reading failed.
XMLError failureOf(xmlParserCtxt* context) {
    if (context->errNo == XML_ERR_USER_STOP) {
        XMLError error;
        error.failureReason = "Entity declarations are refused";
        return error;
    }
    return XMLUtilities::errorWithXMLError(::xmlCtxtGetLastError(context));
}

} // namespace

std::unique_ptr<XMLDocument> XMLReader::parseXMLString(const char* text, XMLError* parseError) {
    if (text == nullptr) {
        return nullptr;
    }
    const std::size_t size = ::strnlen(text, kMostBytes + 1);
    if (size > kMostBytes) {
        XMLUtilities::setError(parseError, "The document is too large");
        return nullptr;
    }
    prepareLibrary();
    const Context context(::xmlNewParserCtxt());
    if (!context) {
        XMLUtilities::setError(parseError, "Out of memory");
        return nullptr;
    }
    context->sax->entityDecl = &refuseEntity;
    Document document(::xmlCtxtReadMemory(context.get(), text, static_cast<int>(size), nullptr,
                                          nullptr, kOptions));
    if (!document && parseError != nullptr) {
        *parseError = failureOf(context.get());
    }
    if (!document || ::xmlDocGetRootElement(document.get()) == nullptr) {
        return nullptr;
    }
    return XMLDocument::documentWithXMLDocument(document.release());
}

} // namespace ovelo
