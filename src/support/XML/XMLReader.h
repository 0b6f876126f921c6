#pragma once

#include "support/XML/XMLUtilities.h"

#include <cstddef>
#include <memory>

namespace ovelo {

class XMLDocument;

/// Reads documents that come from outside.
///
/// Nothing but the text is ever looked at, neither a file nor the network. A text that declares an
/// entity is refused, for a few of them can stand for gigabytes; so is one of more than kMostBytes.
///
/// thread  any
class XMLReader final {
public:
    static constexpr std::size_t kMostBytes = std::size_t{1024} * 1024;

    /// text    UTF-8, ended by a zero byte; null: nothing comes back, without an error
    /// error   may be null; not set for a document without a root element
    static std::unique_ptr<XMLDocument> parseXMLString(const char* text, XMLError* parseError);
};

} // namespace ovelo
