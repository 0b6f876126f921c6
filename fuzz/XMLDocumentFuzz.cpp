// The reply of the rendezvous service, or of whoever answers in its place.

#include "support/XML/XMLDocument.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    ovelo::XMLError error;
    const auto document = ovelo::XMLDocument::documentWithXMLString(text.c_str(), &error);
    if (!document) {
        return 0;
    }
    const auto peers = document->rootElement().elementsForXPath("//Result/Introducer");
    if (!peers || !document->XMLString()) {
        std::abort();
    }
    for (const auto& peer : *peers) {
        const auto port = peer.attributeNamed("mapped_port");
        if (port && port->empty()) {
            std::abort();
        }
    }
    return 0;
}
