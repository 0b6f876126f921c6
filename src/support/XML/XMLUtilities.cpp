#include "support/XML/XMLUtilities.h"

#include <libxml/xmlerror.h>

#include <utility>

namespace ovelo {

std::optional<std::string> XMLUtilities::stringWithXMLChar(const unsigned char* text) {
    if (text == nullptr || *text == 0) {
        return std::nullopt;
    }
    return reinterpret_cast<const char*>(text);
}

XMLError XMLUtilities::errorWithXMLError(const _xmlError* error) {
    XMLError result;
    if (error != nullptr && error->message != nullptr) {
        result.failureReason = error->message;
    }
    return result;
}

void XMLUtilities::setError(XMLError* error, std::string reason) {
    if (error != nullptr) {
        *error = XMLError{};
        error->failureReason = std::move(reason);
    }
}

} // namespace ovelo
